// ofa-chipsim and openflowAgtd as child processes on a temporary run directory, with the
// simulator's control socket, its request log and the agent's debug log at hand.
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
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace chipit {

using Clock = std::chrono::steady_clock;
constexpr auto kWait = std::chrono::seconds(10);

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

template <typename Pred>
bool wait_for(Pred pred, std::chrono::milliseconds limit = kWait) {
  auto end = Clock::now() + limit;
  while (Clock::now() < end) {
    if (pred()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return pred();
}

class Child {
 public:
  ~Child() { kill_now(); }
  void start(const std::string& bin, const std::vector<std::string>& args,
             const std::map<std::string, std::string>& env, const std::string& out) {
    pid_ = fork();
    ASSERT_GE(pid_, 0);
    if (pid_ == 0) {
      for (const auto& [k, v] : env)
        setenv(k.c_str(), v.c_str(), 1);
      int fd = open(out.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
      dup2(fd, 1);
      dup2(fd, 2);
      std::vector<char*> argv;
      argv.push_back(const_cast<char*>(bin.c_str()));
      for (const auto& a : args)
        argv.push_back(const_cast<char*>(a.c_str()));
      argv.push_back(nullptr);
      execv(bin.c_str(), argv.data());
      _exit(127);
    }
  }
  bool alive() const { return pid_ > 0 && waitpid(pid_, nullptr, WNOHANG) == 0; }
  void kill_now() {
    if (pid_ <= 0) return;
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
  }
  void stop() {
    if (pid_ <= 0) return;
    kill(pid_, SIGTERM);
    if (!wait_for([&] { return waitpid(pid_, nullptr, WNOHANG) == pid_; })) kill_now();
    pid_ = -1;
  }

 private:
  pid_t pid_ = -1;
};

class ChipProcesses : public ::testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/ofa_chip_it_XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    dir_ = tmpl;
    env_["OFA_RUN_DIR"] = dir_;
    env_["OFA_DEBUG_LOG"] = dir_ + "/ofastdout";
  }
  void TearDown() override {
    agent_.kill_now();
    sim_.stop();
    std::string cmd = "rm -rf '" + dir_ + "'";
    ASSERT_EQ(std::system(cmd.c_str()), 0);
  }

  // A platform file in the run directory; OFA_PLATFORM points at it for both processes.
  void use_platform(const std::string& text) {
    std::ofstream(dir_ + "/platform.conf") << text;
    env_["OFA_PLATFORM"] = dir_ + "/platform.conf";
  }

  void start_sim() {
    sim_.start(OFA_CHIPSIM_BIN, {"--no-auto-events", "--log", log_path()}, env_, dir_ + "/sim.out");
    ASSERT_TRUE(wait_for([&] { return exists(dir_ + "/hsl/ctl.1"); }))
        << read_file(dir_ + "/sim.out");
  }
  // Starts the agent and waits until it has registered with the manager (stage active), from
  // when on HSL events pass its gates.
  void start_agent(const std::string& boot = "cold") {
    auto env = env_;
    env["OFA_BOOT"] = boot;
    size_t before = registrations();
    agent_.start(OFA_AGENT_BIN, {}, env, dir_ + "/agent.out");
    ASSERT_TRUE(wait_for([&] { return registrations() > before; })) << agent_log();
  }
  size_t registrations() const {
    std::string log = agent_log();
    size_t n = 0;
    for (size_t at = log.find("OPENFLOW Agent register with manager"); at != std::string::npos;
         at = log.find("OPENFLOW Agent register with manager", at + 1))
      ++n;
    return n;
  }

  // One control command, its one-line JSON answer.
  std::string ctl(const std::string& command) {
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un sun{};
    sun.sun_family = AF_UNIX;
    std::string path = dir_ + "/hsl/ctl.1";
    std::snprintf(sun.sun_path, sizeof sun.sun_path, "%s", path.c_str());
    if (connect(fd, reinterpret_cast<sockaddr*>(&sun), sizeof sun) != 0) {
      close(fd);
      return "";
    }
    std::string line = command + "\n";
    (void)!write(fd, line.data(), line.size());
    std::string answer;
    char c;
    pollfd p{fd, POLLIN, 0};
    while (poll(&p, 1, 5000) == 1 && read(fd, &c, 1) == 1 && c != '\n')
      answer.push_back(c);
    close(fd);
    return answer;
  }

  std::string log_path() const { return dir_ + "/requests.jsonl"; }
  std::vector<std::string> request_log() const { return lines(read_file(log_path())); }
  bool wait_requests(size_t n) {
    return wait_for([&] { return request_log().size() >= n; });
  }
  std::string agent_log() const { return read_file(dir_ + "/ofastdout"); }
  static bool exists(const std::string& path) {
    struct stat st {};
    return stat(path.c_str(), &st) == 0;
  }

  std::string dir_;
  std::map<std::string, std::string> env_;
  Child sim_;
  Child agent_;
};

}  // namespace chipit
