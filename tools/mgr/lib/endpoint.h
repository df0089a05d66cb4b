// The manager's end of the manager socket: an AF_UNIX datagram socket bound at
// pq6/ofmgragt.mp under the run directory; the agent of slot s listens at pq6/ofmgragt.<s>.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>

#include "codec.h"

namespace ofa::mgr {

inline constexpr const char* kSocketName = "ofmgragt";

class MpEndpoint {
 public:
  // Binds `path` (creating its folder). A stale socket file is replaced; one that another
  // process still serves is refused, so two managers never share the end point.
  static Result<std::unique_ptr<MpEndpoint>> bind(const std::string& path);
  // A socket with no name, for sending only (replies then go to whoever holds the end point).
  static Result<std::unique_ptr<MpEndpoint>> unbound();
  ~MpEndpoint();
  MpEndpoint(const MpEndpoint&) = delete;
  MpEndpoint& operator=(const MpEndpoint&) = delete;

  // Sends one datagram to `to`; the error says why it did not go. A receiver whose queue is
  // full refuses at once: full() then tells, and the caller may try again.
  std::optional<std::string> send(const std::string& to, std::span<const uint8_t> datagram);
  bool full() const { return full_; }
  // Sends the datagrams in order, as many as the receiver's queue takes, in one system call (a
  // receiver woken by the first does not run before the last is sent): how many went, and why
  // the rest did not (full() as for send()).
  size_t send_run(const std::string& to, std::span<const std::span<const uint8_t>> datagrams,
                  std::optional<std::string>* error);
  // Connects to `to`, for a run that talks to that one agent only: sends to it skip the path
  // lookup, its answers are not held to the kernel's bound of 10 queued datagrams (the agent never
  // waits for room), and wait() learns when its queue has room again. Datagrams from anyone else
  // are dropped from then on.
  std::optional<std::string> connect(const std::string& to);
  // What ends a wait: a datagram, room again in the connected agent's queue, or either.
  enum class Wake { datagram, room, either };
  // Waits at most `seconds` for what `wake` names (room only counts when connected).
  void wait(double seconds, Wake wake = Wake::either);
  // Waits at most `seconds` for one datagram (0: only what is already there).
  std::optional<Bytes> receive(double seconds);
  const std::string& path() const { return path_; }
  bool bound() const { return !path_.empty(); }

 private:
  MpEndpoint(int fd, std::string path) : fd_(fd), path_(std::move(path)) {}
  int fd_;
  std::string path_;
  bool full_ = false;
  std::string peer_;  // the path connected to, if any
  Bytes buf_;         // one datagram's room, kept between receives
};

// Paths of the two ends under the current run directory.
std::string mp_path();
std::string agent_path(uint32_t slot);

}  // namespace ofa::mgr
