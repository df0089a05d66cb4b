// Helpers of the agent-process and manager-link tests: a temporary folder, file contents, UNIX
// datagram end points.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace spine_test {

// A folder under /tmp, removed with everything in it.
class TempDir {
 public:
  explicit TempDir(const char* prefix) {
    std::string tmpl = std::string("/tmp/") + prefix + "_XXXXXX";
    std::vector<char> buf(tmpl.begin(), tmpl.end());
    buf.push_back('\0');
    if (mkdtemp(buf.data())) path_ = buf.data();
  }
  ~TempDir() {
    if (path_.empty()) return;
    std::string cmd = "rm -rf '" + path_ + "'";
    [[maybe_unused]] int rc = std::system(cmd.c_str());
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::string& path() const { return path_; }
  std::string operator/(const std::string& leaf) const { return path_ + "/" + leaf; }

 private:
  std::string path_;
};

inline std::string read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

inline void write_file(const std::string& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << text;
}

inline sockaddr_un unix_addr(const std::string& path) {
  sockaddr_un sun{};
  sun.sun_family = AF_UNIX;
  std::snprintf(sun.sun_path, sizeof sun.sun_path, "%s", path.c_str());
  return sun;
}

// A datagram socket bound at `path` (a stale file is removed first); -1 on failure.
inline int bind_dgram(const std::string& path) {
  int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return -1;
  sockaddr_un sun = unix_addr(path);
  unlink(path.c_str());
  if (bind(fd, reinterpret_cast<sockaddr*>(&sun), sizeof sun) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

inline bool send_to(int fd, const std::string& path, const std::vector<uint8_t>& bytes) {
  sockaddr_un sun = unix_addr(path);
  return sendto(fd, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr*>(&sun), sizeof sun) ==
         static_cast<ssize_t>(bytes.size());
}

}  // namespace spine_test
