#include "server/server.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "common/json.h"
#include "common/line_client.h"
#include "platform/run_dir.h"

namespace ofa::chipsim {

namespace {

constexpr size_t kMaxControlLine = 64 * 1024;

std::string errno_text(const char* what) {
  return std::string(what) + ": " + std::strerror(errno);
}

std::optional<sockaddr_un> unix_address(const std::string& path) {
  sockaddr_un a{};
  if (path.size() > platform::kMaxSocketPath) return std::nullopt;
  a.sun_family = AF_UNIX;
  std::memcpy(a.sun_path, path.c_str(), path.size() + 1);
  return a;
}

// A listening socket of `type` at `path`, replacing a stale file there.
std::optional<std::string> listen_at(const std::string& path, int type, int& fd) {
  if (auto err = platform::ensure_parent_dir(path)) return *err;
  auto addr = unix_address(path);
  if (!addr) return "socket path too long: " + path;
  fd = ::socket(AF_UNIX, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (fd < 0) return errno_text("socket");
  ::unlink(path.c_str());
  if (::bind(fd, reinterpret_cast<const sockaddr*>(&*addr), sizeof *addr) < 0)
    return errno_text(("bind " + path).c_str());
  if (::listen(fd, 16) < 0) return errno_text("listen");
  return std::nullopt;
}

void log_line(const std::string& s) {
  std::fprintf(stderr, "ofa-chipsim: %s\n", s.c_str());
}

}  // namespace

Server::Server(Model& model, Control& control, ServerOptions opts)
    : model_(model), control_(control), opts_(opts) {
  cmd_path_ = platform::hsl_cmd_path(opts_.slot);
  ctl_path_ = platform::hsl_ctl_path(opts_.slot);
  event_path_ = platform::hsl_event_path(opts_.slot);
}

Server::~Server() {
  for (int fd : agents_)
    ::close(fd);
  for (auto& c : controls_)
    ::close(c.fd);
  if (cmd_fd_ >= 0) {
    ::close(cmd_fd_);
    ::unlink(cmd_path_.c_str());
  }
  if (ctl_fd_ >= 0) {
    ::close(ctl_fd_);
    ::unlink(ctl_path_.c_str());
  }
  if (event_fd_ >= 0) ::close(event_fd_);
}

std::optional<std::string> Server::open() {
  if (auto err = listen_at(cmd_path_, SOCK_SEQPACKET, cmd_fd_)) return err;
  if (auto err = listen_at(ctl_path_, SOCK_STREAM, ctl_fd_)) return err;
  event_fd_ = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (event_fd_ < 0) return errno_text("socket");
  return std::nullopt;
}

std::optional<std::string> Server::send_event(std::span<const uint8_t> d) {
  auto addr = unix_address(event_path_);
  if (!addr) return "event socket path too long";
  ssize_t n = ::sendto(event_fd_, d.data(), d.size(), MSG_NOSIGNAL,
                       reinterpret_cast<const sockaddr*>(&*addr), sizeof *addr);
  if (n < 0) return errno_text(("send to " + event_path_).c_str());
  return std::nullopt;
}

void Server::accept_agent() {
  // Non-blocking, so that a client that stops reading its answers cannot stall the simulator.
  int fd = ::accept4(cmd_fd_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
  if (fd < 0) return;
  agents_.push_back(fd);
  ++control_.counters.agent_connections;
  log_line("agent connected on " + cmd_path_);
  if (opts_.auto_events && !auto_done_ && !auto_at_)
    auto_at_ = std::chrono::steady_clock::now() + std::chrono::milliseconds(opts_.event_delay_ms);
}

void Server::accept_control() {
  int fd = ::accept4(ctl_fd_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
  if (fd >= 0) controls_.push_back({fd, {}, {}});
}

bool Server::serve_agent(int fd) {
  std::array<uint8_t, kMaxMessage> buf{};
  iovec iov{buf.data(), buf.size()};
  msghdr mh{};
  mh.msg_iov = &iov;
  mh.msg_iovlen = 1;
  ssize_t n = ::recvmsg(fd, &mh, 0);
  if (n < 0) return errno == EINTR || errno == EAGAIN;
  if (n == 0) {
    log_line("agent disconnected");
    return false;
  }
  size_t got = static_cast<size_t>(n);
  if (mh.msg_flags & MSG_TRUNC) log_line("message longer than 4096 bytes, truncated");
  size_t answer = model_.ioctl(buf, got);
  if (::send(fd, buf.data(), answer, MSG_NOSIGNAL) < 0) {
    if (errno == EAGAIN || errno == EWOULDBLOCK) {
      log_line("reply dropped: the agent is not reading its answers");
      return true;
    }
    log_line(errno_text("reply"));
    return false;
  }
  return true;
}

bool Server::read_control(ControlConn& c) {
  char tmp[4096];
  ssize_t n = ::recv(c.fd, tmp, sizeof tmp, 0);
  if (n < 0) return errno == EINTR || errno == EAGAIN;
  if (n == 0) {
    write_control(c);  // the peer closed its side: flush what is left, then end
    return false;
  }
  c.in.append(tmp, static_cast<size_t>(n));
  size_t nl;
  while ((nl = c.in.find('\n')) != std::string::npos) {
    std::string line = c.in.substr(0, nl);
    c.in.erase(0, nl + 1);
    c.out += control_command(control_, line);
    c.out += '\n';
  }
  if (c.in.size() > kMaxControlLine) {
    c.out += "{\"ok\":false,\"error\":\"line too long\"}\n";
    c.in.clear();
  }
  return write_control(c);
}

bool Server::write_control(ControlConn& c) {
  while (!c.out.empty()) {
    ssize_t n = ::send(c.fd, c.out.data(), c.out.size(), MSG_NOSIGNAL);
    if (n < 0) return errno == EINTR || errno == EAGAIN;
    c.out.erase(0, static_cast<size_t>(n));
  }
  return true;
}

int Server::poll_timeout() const {
  int t = 200;
  if (auto_at_) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                    *auto_at_ - std::chrono::steady_clock::now())
                    .count();
    t = static_cast<int>(std::clamp<long long>(left, 0, t));
  }
  return t;
}

void Server::maybe_send_auto_events() {
  if (!auto_at_ || std::chrono::steady_clock::now() < *auto_at_) return;
  auto_at_.reset();
  auto_done_ = true;
  log_line("start-up events: " + send_startup_events(control_));
}

void Server::run(const std::atomic<bool>& stop) {
  std::vector<pollfd> fds;
  while (!stop) {
    fds.clear();
    fds.push_back({cmd_fd_, POLLIN, 0});
    fds.push_back({ctl_fd_, POLLIN, 0});
    for (int fd : agents_)
      fds.push_back({fd, POLLIN, 0});
    for (auto& c : controls_)
      fds.push_back({c.fd, static_cast<short>(POLLIN | (c.out.empty() ? 0 : POLLOUT)), 0});
    int n = ::poll(fds.data(), fds.size(), poll_timeout());
    maybe_send_auto_events();
    if (n <= 0) continue;
    if (fds[0].revents & POLLIN) accept_agent();
    if (fds[1].revents & POLLIN) accept_control();
    size_t i = 2;
    std::vector<int> gone;
    for (size_t a = 0; a < agents_.size() && i < fds.size(); ++a, ++i) {
      if (fds[i].fd != agents_[a] || !fds[i].revents) continue;
      if (!serve_agent(agents_[a])) gone.push_back(agents_[a]);
    }
    for (size_t k = 0; k < controls_.size() && i < fds.size(); ++k, ++i) {
      auto& c = controls_[k];
      if (fds[i].fd != c.fd || !fds[i].revents) continue;
      bool alive = true;
      if (fds[i].revents & (POLLIN | POLLHUP | POLLERR)) alive = read_control(c);
      if (alive && (fds[i].revents & POLLOUT)) alive = write_control(c);
      if (!alive) gone.push_back(c.fd);
    }
    for (int fd : gone) {
      ::close(fd);
      std::erase(agents_, fd);
      std::erase_if(controls_, [fd](const ControlConn& c) { return c.fd == fd; });
    }
  }
}

int run_control_client(uint32_t slot, const std::string& line) {
  std::string path = platform::hsl_ctl_path(slot);
  auto asked = tools::ask_line(path, line, 10.0);
  if (!asked.ok()) {
    std::fprintf(stderr, "ofa-chipsim: %s\n", asked.error().c_str());
    return 2;
  }
  std::string answer = asked.value() + "\n";
  // A text answer ("show") is printed as the text itself.
  constexpr std::string_view kText = "{\"ok\":true,\"text\":\"";
  constexpr std::string_view kEnd = "\"}\n";
  if (answer.rfind(kText, 0) == 0 && answer.size() >= kText.size() + kEnd.size() &&
      answer.compare(answer.size() - kEnd.size(), kEnd.size(), kEnd) == 0) {
    auto body =
        std::string_view(answer).substr(kText.size(), answer.size() - kText.size() - kEnd.size());
    if (auto text = tools::json_unescape(body)) {
      std::fputs(text->c_str(), stdout);
      return 0;
    }
  }
  std::fputs(answer.c_str(), stdout);
  return answer.rfind("{\"ok\":true", 0) == 0 ? 0 : 1;
}

}  // namespace ofa::chipsim
