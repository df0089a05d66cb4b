#include "client.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/run_dir.h"
#include "platform/wire.h"

namespace ofa::ofactl {
namespace {

using Clock = std::chrono::steady_clock;

class Fd {
 public:
  explicit Fd(int fd) : fd_(fd) {}
  ~Fd() {
    if (fd_ >= 0) ::close(fd_);
  }
  Fd(const Fd&) = delete;
  Fd& operator=(const Fd&) = delete;
  int get() const { return fd_; }

 private:
  int fd_;
};

// Reads exactly out.size() bytes before `deadline`; an error text, or nothing.
std::optional<std::string> read_exact(int fd, std::span<uint8_t> out, Clock::time_point deadline,
                                      const std::string& path) {
  size_t got = 0;
  while (got < out.size()) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    pollfd p{fd, POLLIN, 0};
    int n = left.count() > 0 ? ::poll(&p, 1, static_cast<int>(left.count())) : 0;
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return "no answer from " + path + " in time";
    ssize_t r = ::recv(fd, out.data() + got, out.size() - got, 0);
    if (r < 0 && errno == EINTR) continue;
    if (r <= 0) return "the agent at " + path + " closed the connection without an answer";
    got += static_cast<size_t>(r);
  }
  return std::nullopt;
}

}  // namespace

std::string agent_path(uint32_t slot) {
  return platform::qcf_path("ofagt_p" + std::to_string(slot));
}

namespace {

// A connection to the agent with the request sent, or why there is none.
std::variant<int, Failure> connect_and_send(uint32_t slot, uint32_t code, const std::string& text) {
  const std::string path = agent_path(slot);
  if (text.size() > kRequestMax - 4) return Failure{"request longer than 4092 bytes"};
  const std::string no_agent =
      "no agent at " + path + ": is openflowAgtd running for slot " + std::to_string(slot) + "?";
  sockaddr_un sun{};
  sun.sun_family = AF_UNIX;
  if (path.size() >= sizeof sun.sun_path) return Failure{path + ": path too long for a socket"};
  std::memcpy(sun.sun_path, path.c_str(), path.size() + 1);
  int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return Failure{std::string("socket: ") + std::strerror(errno)};
  std::vector<uint8_t> frame(8 + text.size());
  wire::Writer(frame).u32(static_cast<uint32_t>(4 + text.size())).u32(code).text(text, text.size());
  if (::connect(fd, reinterpret_cast<sockaddr*>(&sun), sizeof sun) != 0 ||
      ::send(fd, frame.data(), frame.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(frame.size())) {
    ::close(fd);
    return Failure{no_agent};
  }
  return fd;
}

// One frame of `code` before `deadline`.
std::variant<Reply, Failure> read_frame(int fd, uint32_t code, Clock::time_point deadline,
                                        const std::string& path) {
  uint8_t head[8];
  if (auto err = read_exact(fd, head, deadline, path)) return Failure{*err};
  wire::Reader r(head, sizeof head);
  uint32_t length = r.u32();
  uint32_t got_code = r.u32();
  if (length < 4 || length > kReplyMax || got_code != code) {
    return Failure{"unreadable answer from " + path + " (length " + std::to_string(length) +
                   ", code " + std::to_string(got_code) + ")"};
  }
  std::string body(length - 4, '\0');
  if (auto err =
          read_exact(fd, {reinterpret_cast<uint8_t*>(body.data()), body.size()}, deadline, path)) {
    return Failure{*err};
  }
  return Reply{std::move(body)};
}

Clock::time_point after(double seconds) {
  return Clock::now() +
         std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

}  // namespace

std::variant<Reply, Failure> ask(uint32_t slot, uint32_t code, const std::string& text,
                                 double timeout) {
  auto c = connect_and_send(slot, code, text);
  if (auto* f = std::get_if<Failure>(&c)) return *f;
  Fd fd(std::get<int>(c));
  return read_frame(fd.get(), code, after(timeout), agent_path(slot));
}

Failure follow(uint32_t slot, uint32_t code, const std::string& text, double timeout,
               const std::function<void(const std::string&)>& on_frame) {
  auto c = connect_and_send(slot, code, text);
  if (auto* f = std::get_if<Failure>(&c)) return *f;
  Fd fd(std::get<int>(c));
  auto deadline = after(timeout);
  for (;;) {
    auto frame = read_frame(fd.get(), code, deadline, agent_path(slot));
    if (auto* f = std::get_if<Failure>(&frame)) return *f;
    on_frame(std::get<Reply>(frame).text);
    deadline = Clock::time_point::max();
  }
}

std::variant<uint32_t, Failure> ping(uint32_t slot, double timeout) {
  const std::string to = platform::ipc_path("IPCOPENFLOWAGT", slot);
  const std::string me = platform::ipc_path("ofactl", static_cast<uint32_t>(::getpid()));
  sockaddr_un dst{}, src{};
  dst.sun_family = src.sun_family = AF_UNIX;
  if (to.size() >= sizeof dst.sun_path || me.size() >= sizeof src.sun_path)
    return Failure{to + ": path too long for a socket"};
  std::memcpy(dst.sun_path, to.c_str(), to.size() + 1);
  std::memcpy(src.sun_path, me.c_str(), me.size() + 1);
  Fd fd(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  ::unlink(me.c_str());
  if (fd.get() < 0 || ::bind(fd.get(), reinterpret_cast<sockaddr*>(&src), sizeof src) != 0)
    return Failure{me + ": " + std::strerror(errno)};
  uint8_t msg[8];
  wire::Writer(msg, sizeof msg).u32(0).u32(0x0f0a0001);
  bool sent = ::sendto(fd.get(), msg, sizeof msg, 0, reinterpret_cast<sockaddr*>(&dst),
                       sizeof dst) == static_cast<ssize_t>(sizeof msg);
  uint8_t answer[4];
  std::optional<std::string> err;
  if (!sent) {
    err = "no agent at " + to + ": is openflowAgtd running for slot " + std::to_string(slot) + "?";
  } else {
    err = read_exact(fd.get(), answer, after(timeout), to);
  }
  ::unlink(me.c_str());
  if (err) return Failure{*err};
  return wire::Reader(answer, sizeof answer).u32();
}

}  // namespace ofa::ofactl
