// Carries out scenario steps against a running agent: sends datagrams, collects what the agent
// sends back, waits for registrations and checks expected statuses; asks the chip simulator and
// reads the agent's log for the lines about them.
#pragma once

#include <chrono>
#include <cstdio>
#include <deque>
#include <functional>
#include <string>

#include "endpoint.h"
#include "scenario.h"

namespace ofa::mgr {

struct RunOptions {
  std::string agent;     // the agent's end point
  double timeout = 5.0;  // seconds, for waits and expectations without their own
  bool verbose = false;  // also print every message that arrives
  bool summary = true;   // a closing line with the counts
  FILE* out = stdout;
  std::string chip_control;  // the chip simulator's control socket, for chip lines; "" none
  std::string agent_log;     // the agent's log file, for expect log; "" none
  uint32_t slot = 1;         // the agent's slot, for expect show
};

// What came from the agent and has not been claimed by a wait or an expectation yet.
class Inbox {
 public:
  Inbox(MpEndpoint& ep, const RunOptions& opt) : ep_(ep), opt_(opt) {}
  // Reads what arrives within `seconds` (0: only what is there).
  void collect(double seconds);
  // Takes the first message that `want` accepts, waiting at most `seconds` for one.
  std::optional<Message> take(double seconds, const std::function<bool(const Message&)>& want);
  // Takes the statistics messages of the first tick that starts from now on: those that arrive
  // less than `gap` seconds after the one before, the first at least `gap` after any earlier one.
  // Nothing when no whole tick came within `seconds`.
  std::optional<std::vector<Message>> take_tick(double seconds, double gap);
  // A message with the time it was read from the socket.
  struct Arrived {
    Message msg;
    std::chrono::steady_clock::time_point at;
  };
  const std::deque<Arrived>& pending() const { return pending_; }

 private:
  void accept(const Bytes& datagram);
  MpEndpoint& ep_;
  const RunOptions& opt_;
  std::deque<Arrived> pending_;
};

// The xid of a run's first barrier; each further one takes the next.
inline constexpr uint32_t kBarrierXid = 0xba770000;

struct RunSummary {
  size_t sent = 0;          // datagrams
  size_t expectations = 0;  // waits and expects
  size_t failed = 0;
  bool aborted = false;  // a send or a chip control command failed: the run stopped there
  int exit_code() const { return (failed || aborted) ? 1 : 0; }
};

// Runs the steps in order, printing one line per step. Failed expectations are reported and the
// run goes on; a datagram that cannot be sent ends it.
RunSummary run_steps(const Scenario& sc, MpEndpoint& ep, const RunOptions& opt);

}  // namespace ofa::mgr
