// How the runner judges what came from the agent against what a scenario expects.
#pragma once

#include <map>
#include <optional>
#include <string>

#include "messages.h"
#include "scenario.h"

namespace ofa::mgr {

// success, failure (status 0) or pseudo (status 1 with a "PSEUDO_SUCCESS" text).
std::string status_outcome(const StatusMsg& s);

// The verdict on one status: empty when it meets the expectation, else what differs.
std::string check_status(const ExpectStatusStep& want, const StatusMsg& got);

// The counters of a statistics message when it is of the step's kind and id, else nothing.
using Counters = std::map<std::string, uint64_t>;
std::optional<Counters> counters_of(const ExpectStatsStep& want, const Message& m);

// True when every condition of the step holds for the counters.
bool meets(const ExpectStatsStep& want, const Counters& c);

// "packets 5 bytes 320", for reports.
std::string counters_text(const Counters& c);
// The step's conditions as written: "packets>=1 bytes=64", or "any counters".
std::string conditions_text(const ExpectStatsStep& want);

// True for flow, queue and meter statistics messages.
bool is_statistics(const Message& m);
// The verdict on one tick's statistics messages, in arrival order: empty when they come flows,
// then meters, then queues, with the ids the step lists; else what differs.
std::string check_tick(const ExpectTickStep& want, const std::vector<Message>& tick);
// "flows 1-100 meters 1-25 (records 25) queues 3,5", for reports.
std::string tick_text(const std::vector<Message>& tick);

}  // namespace ofa::mgr
