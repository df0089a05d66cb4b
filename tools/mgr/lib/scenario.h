// Scenario files: one operation per line, read into steps that the runner carries out.
//
//   # comment                               blank lines are skipped
//   wait registration [timeout=10]
//   flow add id=10 priority=100 in_port=3 actions=output:5      (any operation: operations.h)
//   flow add id=11 fragment=2 actions=output:1,output:2,output:3  (2 members a message)
//   raw 001000a4 0000...                    bytes as they stand, for malformed input
//   pack ... end                            the messages between go out in one datagram
//   expect status 10 success|failure|pseudo [text ~ "words" | text = "whole text"] [timeout=2]
//   expect no status 11 [timeout=1]
//   expect flow-stats 10 packets>=1 | queue-stats 3 [queue=2] bytes=0 | meter-stats 1 drop_bytes>=1
//   sleep 500ms
//   barrier [timeout=D]                     wait until the agent has handled all sent before
//   chip fault port_vpn -5                  a control command to the chip simulator
//   expect chip port 3 pvid=4004 nhop=- [chip=IFINDEX] [timeout=D]   (or: absent)
//   expect chip vlan 100 mgid=8010 flood=3,5 | xlate 3 4005 vlan=all tagged=1
//   expect chip xlate port=3 iivid=4005 tagged=1 | l2 iivid=4011 mac=00:00:00:00:00:01 port=5
//   expect chip mgid 8100 ports=3,5 | nhop 268435457 kind=1 | policer 1 0 rate=125000
//   expect chip requests=0                  simulator counters since the last barrier
//   expect log ~ "enabled openflow port: 3" [timeout=D]   the agent's log file
//   expect show "vlan all" ~ "Vlan Id: 100" [timeout=D]    the agent's answer to a show request
//   expect show "flow_tree" == golden/tree.txt           ... whole, as the file (next to this one)
#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "codec.h"
#include "operations.h"

namespace ofa::mgr {

// One or more datagrams sent in a row (a flow split into fragments is one message each).
struct SendStep {
  std::vector<Datagram> datagrams;
  size_t bytes() const {
    size_t n = 0;
    for (const auto& d : datagrams)
      n += d.bytes().size();
    return n;
  }
};
struct WaitRegistrationStep {
  std::optional<double> timeout;  // seconds; the run's default when absent
};
enum class Outcome { success, failure, pseudo };
std::string_view outcome_name(Outcome o);
struct ExpectStatusStep {
  uint32_t flow_id = 0;
  Outcome outcome = Outcome::success;
  std::optional<std::string> text;  // the status text must contain it
  bool exact = false;               // ... or be it, whole
  std::optional<double> timeout;
};
// expect no status ID: no status for the flow arrives within the time (default 1 s).
struct ExpectNoStatusStep {
  uint32_t flow_id = 0;
  std::optional<double> timeout;
};
// expect flow-stats ID | queue-stats PORT [queue=Q] | meter-stats METER, with conditions on the
// counters (packets=N, bytes>=N, ...; a meter's `records`, the count of its message): the first
// message of that kind and id that meets them.
enum class StatsKind { flow, queue, meter };
struct CounterCondition {
  std::string counter;    // packets, bytes; meters: in_packets, in_bytes, drop_bytes, ...
  bool at_least = false;  // >= instead of =
  uint64_t value = 0;
};
struct ExpectStatsStep {
  StatsKind kind = StatsKind::flow;
  uint32_t id = 0;                // flow id, port id or meter id
  std::optional<uint32_t> queue;  // queue-stats: one queue instead of the sum of the eight
  std::vector<CounterCondition> conditions;
  std::optional<double> timeout;
  bool none = false;  // expect no ...: no such message within the time (default 1 s)
};
// expect tick [flows=IDS] [meters=IDS] [queues=PORTS] [records=N,...] [gap=D] [timeout=D]: the
// first statistics tick that starts after the step, its statistics messages being those that
// arrive less than `gap` (default 0.1 s) after the one before. It carries flow messages, then meter
// messages, then queue messages; each list given is the ids of that kind in arrival order
// (IDS: N, A-B, comma-separated, or none; queue ports in any order), `records` the record count
// of each meter message.
struct ExpectTickStep {
  std::optional<std::vector<uint32_t>> flows, meters, queues, records;
  double gap = 0.1;
  std::optional<double> timeout;
};
struct SleepStep {
  double seconds = 0;
};
// barrier: an ADD_FLOW with flow id 0, which the agent refuses at once with a status; once that
// status is back, the agent has handled everything sent before.
struct BarrierStep {
  std::optional<double> timeout;
};
// The barrier's message; its xid tells its status from that of another flow id 0.
FlowMsg barrier_flow(uint32_t xid);
// chip CTL...: one line to the chip simulator's control socket.
struct ChipControlStep {
  std::string command;
};
// expect chip port|vlan|xlate|region|l2|mgid|nhop|policer ...: one item of the simulator (xlate and
// l2 name their key positionally or as port=, iivid= and mac= fields), asked until its fields have
// the values (as the simulator shows them) or it is absent; expect chip COUNTER=N: a barrier of its
// own (which moves no base), then the simulator's counters less what they were at the last
// barrier line.
enum class ChipItem { port, vlan, xlate, region, l2, mgid, nhop, policer, counters };
struct ExpectChipStep {
  ChipItem item = ChipItem::port;
  std::vector<std::string> ids;  // port; VLAN or "all"; port and IIVID; IIVID and MAC
  std::optional<std::string> chip;
  bool absent = false;
  std::vector<std::pair<std::string, std::string>> fields;  // name, value
  std::optional<double> timeout;
};
// expect log ~ "words": the agent's log file gets a line with the words, after the last match.
struct ExpectLogStep {
  std::string text;
  std::optional<double> timeout;
};
// expect show "REQUEST" ~ "words" | == FILE: the agent's answer to the show request, asked on its
// debug client socket until it holds the words or is the file's text (a path relative to the
// scenario file's folder).
struct ExpectShowStep {
  std::string request;
  std::string text;  // the words, or the file's path
  bool file = false;
  std::optional<double> timeout;
};
using StepAction =
    std::variant<SendStep, WaitRegistrationStep, ExpectStatusStep, ExpectNoStatusStep,
                 ExpectStatsStep, SleepStep, BarrierStep, ChipControlStep, ExpectChipStep,
                 ExpectLogStep, ExpectShowStep, ExpectTickStep>;

struct Step {
  int line = 0;
  std::string source;  // the line as written, trimmed
  StepAction action;
};

struct Scenario {
  std::string file;
  std::vector<Step> steps;
};

// Parses a whole file. The error is "file:line: reason" for the first bad line.
Result<Scenario> parse_scenario(std::string_view text, std::string_view file,
                                const ParseContext& ctx);

// Parses one line (for `ofa-mgr send`); pack blocks are not allowed here. An empty or comment
// line yields no step.
Result<std::optional<StepAction>> parse_step(std::string_view line, const ParseContext& ctx);

}  // namespace ofa::mgr
