// The chip simulator's and the agent log's side of a scenario run: control commands, one-item
// queries and counters through the simulator's control socket, and lines of the agent's log file.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "scenario.h"

namespace ofa::mgr {

// The simulator's counters of a `stats` answer ("requests", "errors", ...).
using ChipCounters = std::map<std::string, uint64_t>;
std::optional<ChipCounters> chip_counters(std::string_view stats_answer);

// The string value of the first "key":"..." of a JSON answer, escapes resolved.
std::optional<std::string> json_string_field(std::string_view json, std::string_view key);

// The control line that asks for the step's item: "query port 3 chip 2218786816".
std::string query_line(const ExpectChipStep& s);

// The verdict on a query answer: empty when the item meets the step, else what was found.
std::string check_item(const ExpectChipStep& s, std::string_view answer);
// The same for counters, less those at the base.
std::string check_counters(const ExpectChipStep& s, const ChipCounters& now,
                           const ChipCounters& base);

class ChipSide {
 public:
  // `control`: the simulator's control socket, empty for none; `agent_log`: the agent's log
  // file, empty for none. The log is read from its end as it is now.
  ChipSide(std::string control, std::string agent_log);

  // Sends a control command; the reason when it is not carried out.
  std::optional<std::string> control(const std::string& command);
  // Takes the simulator's counters as the base of `expect chip COUNTER=N` (at a barrier, when a
  // simulator answers; after `chip reset` the base is zero).
  void rebase();
  // One look at the item or counters: empty when the step is met, else what was found.
  std::string check(const ExpectChipStep& s);
  // One look at the log from the end of the last match: empty when a line after it has the text
  // (and the next look starts behind it), else why not.
  std::string check_log(const ExpectLogStep& s);

 private:
  std::string control_;
  std::string log_;
  ChipCounters base_;
  uint64_t log_offset_ = 0;
};

}  // namespace ofa::mgr
