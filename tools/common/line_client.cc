#include "common/line_client.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace ofa::tools {

Result<std::string> ask_line(const std::string& path, std::string_view line, double timeout) {
  sockaddr_un addr{};
  if (path.size() >= sizeof addr.sun_path) return Result<std::string>::fail("path too long");
  addr.sun_family = AF_UNIX;
  std::memcpy(addr.sun_path, path.c_str(), path.size() + 1);
  int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0 || ::connect(fd, reinterpret_cast<const sockaddr*>(&addr), sizeof addr) < 0) {
    std::string why = "cannot reach " + path + ": " + std::strerror(errno);
    if (fd >= 0) ::close(fd);
    return Result<std::string>::fail(why);
  }
  std::string msg = std::string(line) + "\n";
  if (::send(fd, msg.data(), msg.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(msg.size())) {
    std::string why = "send to " + path + ": " + std::strerror(errno);
    ::close(fd);
    return Result<std::string>::fail(why);
  }
  std::string answer;
  char buf[65536];
  while (answer.find('\n') == std::string::npos) {
    pollfd p{fd, POLLIN, 0};
    if (::poll(&p, 1, static_cast<int>(timeout * 1000)) <= 0) break;
    ssize_t n = ::recv(fd, buf, sizeof buf, 0);
    if (n <= 0) break;
    answer.append(buf, static_cast<size_t>(n));
  }
  ::close(fd);
  size_t nl = answer.find('\n');
  if (nl == std::string::npos) return Result<std::string>::fail("no answer from " + path);
  answer.resize(nl);
  return answer;
}

}  // namespace ofa::tools
