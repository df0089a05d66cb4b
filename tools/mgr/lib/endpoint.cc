#include "endpoint.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>

#include "platform/run_dir.h"

namespace ofa::mgr {
namespace {

using EndpointResult = Result<std::unique_ptr<MpEndpoint>>;

std::optional<sockaddr_un> address(const std::string& path) {
  sockaddr_un a{};
  a.sun_family = AF_UNIX;
  if (path.size() > platform::kMaxSocketPath) return std::nullopt;
  std::memcpy(a.sun_path, path.c_str(), path.size() + 1);
  return a;
}

std::string sys_error(const std::string& what) {
  return what + ": " + std::strerror(errno);
}

// True when a process still serves the socket at `path`.
bool in_use(const sockaddr_un& a) {
  int fd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return false;
  bool used = ::connect(fd, reinterpret_cast<const sockaddr*>(&a), sizeof a) == 0;
  ::close(fd);
  return used;
}

}  // namespace

std::string mp_path() {
  return platform::pq6_mp_path(kSocketName);
}
std::string agent_path(uint32_t slot) {
  return platform::pq6_path(kSocketName, slot);
}

EndpointResult MpEndpoint::bind(const std::string& path) {
  auto a = address(path);
  if (!a) return EndpointResult::fail(path + ": path too long for a UNIX socket");
  if (auto e = platform::ensure_parent_dir(path)) return EndpointResult::fail(*e);
  if (in_use(*a)) {
    return EndpointResult::fail(path +
                                ": another manager is bound there (is an ofa-mgr listen "
                                "running?)");
  }
  ::unlink(path.c_str());  // a stale file from a manager that did not clean up
  int fd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return EndpointResult::fail(sys_error("socket"));
  if (::bind(fd, reinterpret_cast<const sockaddr*>(&*a), sizeof *a) != 0) {
    auto e = sys_error("bind " + path);
    ::close(fd);
    return EndpointResult::fail(e);
  }
  return std::unique_ptr<MpEndpoint>(new MpEndpoint(fd, path));
}

EndpointResult MpEndpoint::unbound() {
  int fd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return EndpointResult::fail(sys_error("socket"));
  return std::unique_ptr<MpEndpoint>(new MpEndpoint(fd, ""));
}

MpEndpoint::~MpEndpoint() {
  ::close(fd_);
  if (!path_.empty()) ::unlink(path_.c_str());
}

std::optional<std::string> MpEndpoint::send(const std::string& to,
                                            std::span<const uint8_t> datagram) {
  std::optional<std::string> error;
  send_run(to, std::span(&datagram, 1), &error);
  return error;
}

size_t MpEndpoint::send_run(const std::string& to,
                            std::span<const std::span<const uint8_t>> datagrams,
                            std::optional<std::string>* error) {
  constexpr size_t kMax = 64;
  auto a = address(to);
  if (!a) {
    *error = to + ": path too long for a UNIX socket";
    return 0;
  }
  full_ = false;
  size_t sent = 0;
  while (sent < datagrams.size()) {
    size_t n = std::min(kMax, datagrams.size() - sent);
    std::array<mmsghdr, kMax> vec{};
    std::array<iovec, kMax> iov{};
    for (size_t i = 0; i < n; ++i) {
      const auto& d = datagrams[sent + i];
      iov[i] = {const_cast<uint8_t*>(d.data()), d.size()};
      vec[i].msg_hdr.msg_iov = &iov[i];
      vec[i].msg_hdr.msg_iovlen = 1;
      if (to != peer_) {
        vec[i].msg_hdr.msg_name = &*a;
        vec[i].msg_hdr.msg_namelen = sizeof *a;
      }
    }
    int got = ::sendmmsg(fd_, vec.data(), static_cast<unsigned>(n), MSG_DONTWAIT);
    if (got > 0) {
      sent += static_cast<size_t>(got);
      continue;
    }
    if (errno == ENOENT || errno == ECONNREFUSED) {
      *error = "no agent at " + to + " (is openflowAgtd running for that slot and run directory?)";
    } else if (errno == EAGAIN) {
      full_ = true;
      *error = "the agent's queue is full";
    } else {
      *error = sys_error("send to " + to);
    }
    break;
  }
  return sent;
}

std::optional<std::string> MpEndpoint::connect(const std::string& to) {
  auto a = address(to);
  if (!a) return to + ": path too long for a UNIX socket";
  if (::connect(fd_, reinterpret_cast<const sockaddr*>(&*a), sizeof *a) != 0) {
    return sys_error("connect " + to);
  }
  peer_ = to;
  return std::nullopt;
}

void MpEndpoint::wait(double seconds, Wake wake) {
  // Unconnected, the socket is always writable: only a datagram can end the wait.
  bool room = wake != Wake::datagram && !peer_.empty();
  short events =
      static_cast<short>((wake != Wake::room || !room ? POLLIN : 0) | (room ? POLLOUT : 0));
  pollfd p{fd_, events, 0};
  ::poll(&p, 1, static_cast<int>(std::max(0.0, seconds * 1000)));
}

std::optional<Bytes> MpEndpoint::receive(double seconds) {
  using clock = std::chrono::steady_clock;
  auto deadline = clock::now() + std::chrono::duration<double>(seconds);
  if (buf_.empty()) buf_.resize(1 << 16);
  // Without time to wait, what is there is taken without a poll; else the poll comes first.
  bool look = seconds <= 0;
  for (;;) {
    if (!look) {
      auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - clock::now());
      pollfd p{fd_, POLLIN, 0};
      int r = ::poll(&p, 1, static_cast<int>(std::max<int64_t>(0, left.count())));
      if (r < 0 && errno == EINTR) return std::nullopt;  // a signal: let the caller look
      if (r <= 0) return std::nullopt;
    }
    ssize_t n = ::recv(fd_, buf_.data(), buf_.size(), MSG_DONTWAIT);
    if (n >= 0) return Bytes(buf_.begin(), buf_.begin() + n);
    if ((errno != EAGAIN && errno != EINTR) || look) return std::nullopt;
  }
}

}  // namespace ofa::mgr
