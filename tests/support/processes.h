// The harness of the integration tests: a private run directory, child processes with their
// environment and output file, bounded waits, file and log readers, UNIX datagram end points and
// the simulator's control socket.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace ofa::test {

inline std::string read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

inline std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> out;
  std::stringstream ss(text);
  for (std::string l; std::getline(ss, l);)
    if (!l.empty()) out.push_back(l);
  return out;
}

inline size_t count(const std::string& text, const std::string& part) {
  size_t n = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
    ++n;
  return n;
}

inline bool exists(const std::string& path) {
  struct stat st {};
  return stat(path.c_str(), &st) == 0;
}

// Polls `pred` every 10 ms for at most `limit`.
template <typename Pred>
bool wait_for(Pred pred, std::chrono::milliseconds limit = std::chrono::seconds(10)) {
  auto end = std::chrono::steady_clock::now() + limit;
  while (std::chrono::steady_clock::now() < end) {
    if (pred()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return pred();
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
  sockaddr_un sun = unix_addr(path);
  unlink(path.c_str());
  if (fd >= 0 && bind(fd, reinterpret_cast<sockaddr*>(&sun), sizeof sun) == 0) return fd;
  if (fd >= 0) close(fd);
  return -1;
}

inline bool send_to(int fd, const std::string& path, const std::vector<uint8_t>& bytes) {
  sockaddr_un sun = unix_addr(path);
  return sendto(fd, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr*>(&sun), sizeof sun) ==
         static_cast<ssize_t>(bytes.size());
}

// One datagram within `ms`, or nothing.
inline std::optional<std::vector<uint8_t>> recv_within(int fd, int ms) {
  pollfd p{fd, POLLIN, 0};
  if (poll(&p, 1, ms) != 1) return std::nullopt;
  std::vector<uint8_t> buf(9000);
  ssize_t n = recv(fd, buf.data(), buf.size(), 0);
  if (n < 0) return std::nullopt;
  buf.resize(static_cast<size_t>(n));
  return buf;
}

// A child process, its output appended to `out` (and its errors to `err` when named); killed
// when the object goes.
class Child {
 public:
  ~Child() { kill_now(); }
  void start(const std::string& bin, const std::vector<std::string>& args,
             const std::map<std::string, std::string>& env, const std::string& out,
             const std::string& err = "") {
    pid_ = fork();
    ASSERT_GE(pid_, 0);
    if (pid_ != 0) return;
    for (const auto& [k, v] : env)
      v.empty() ? unsetenv(k.c_str()) : setenv(k.c_str(), v.c_str(), 1);
    int fd = open(out.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    dup2(fd, 1);
    dup2(err.empty() ? fd : open(err.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600), 2);
    std::vector<char*> argv{const_cast<char*>(bin.c_str())};
    for (const auto& a : args)
      argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    execv(bin.c_str(), argv.data());
    _exit(127);
  }
  bool alive() const { return pid_ > 0 && waitpid(pid_, nullptr, WNOHANG) == 0; }
  // The exit code (128 + signal when killed by one) within `limit`, or -1.
  int wait_exit(std::chrono::milliseconds limit = std::chrono::seconds(10)) {
    int status = 0;
    if (pid_ <= 0 || !wait_for([&] { return waitpid(pid_, &status, WNOHANG) == pid_; }, limit))
      return -1;
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  int stop(int sig = SIGTERM) {
    if (pid_ > 0) kill(pid_, sig);
    return wait_exit();
  }
  void kill_now() {
    if (pid_ <= 0) return;
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
  }

 private:
  pid_t pid_ = -1;
};

// A fresh run directory (mode 0700) for each case, removed after it. OFA_RUN_DIR and
// OFA_DEBUG_LOG point into it, for the programs the case starts and for the test process itself
// until the case ends; the caller's OFA_PLATFORM, OFA_SLOT and OFA_BOOT do not pass to programs.
class RunDir : public ::testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/ofa_it_XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    dir_ = tmpl;
    env_ = {{"OFA_RUN_DIR", dir_},
            {"OFA_DEBUG_LOG", path("ofastdout")},
            {"OFA_PLATFORM", ""},
            {"OFA_SLOT", ""},
            {"OFA_BOOT", ""}};
    for (const char* name : {"OFA_RUN_DIR", "OFA_DEBUG_LOG"})
      setenv(name, env_[name].c_str(), 1);
  }
  void TearDown() override {
    unsetenv("OFA_RUN_DIR");
    unsetenv("OFA_DEBUG_LOG");
    if (!dir_.empty()) {
      ASSERT_EQ(std::system(("rm -rf '" + dir_ + "'").c_str()), 0);
    }
  }
  std::string path(const std::string& leaf) const { return dir_ + "/" + leaf; }
  std::string write(const std::string& leaf, const std::string& text) const {
    std::ofstream(path(leaf)) << text;
    return path(leaf);
  }
  std::string agent_log() const { return read_file(path("ofastdout")); }
  bool wait_agent_log(const std::string& words) const {
    return wait_for([&] { return agent_log().find(words) != std::string::npos; });
  }

  // One line to the simulator's control socket of slot 1, its one-line answer.
  std::string ctl(const std::string& command) const {
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un sun = unix_addr(path("hsl/ctl.1"));
    std::string answer;
    if (connect(fd, reinterpret_cast<sockaddr*>(&sun), sizeof sun) == 0) {
      std::string line = command + "\n";
      (void)!::write(fd, line.data(), line.size());
      char c;
      pollfd p{fd, POLLIN, 0};
      while (poll(&p, 1, 5000) == 1 && read(fd, &c, 1) == 1 && c != '\n')
        answer.push_back(c);
    }
    close(fd);
    return answer;
  }

  std::string dir_;
  std::map<std::string, std::string> env_;
};

}  // namespace ofa::test
