// The real openflowAgtd on a temporary run directory: registration after the cold and warm stage
// walks, dormancy without the OpenFlow profile, the Standby gate, the IPC end point, and the
// signals that stop it.
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
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "../../unit/agent/spine_test_util.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kWait = std::chrono::seconds(10);

using spine_test::bind_dgram;
using spine_test::send_to;

// One datagram within `ms`, or nothing.
std::optional<std::vector<uint8_t>> recv_within(int fd, int ms, std::string* from = nullptr) {
  pollfd p{fd, POLLIN, 0};
  if (poll(&p, 1, ms) != 1) return std::nullopt;
  std::vector<uint8_t> buf(9000);
  sockaddr_un sun{};
  socklen_t len = sizeof sun;
  ssize_t n = recvfrom(fd, buf.data(), buf.size(), 0, reinterpret_cast<sockaddr*>(&sun), &len);
  if (n < 0) return std::nullopt;
  if (from) *from = sun.sun_path;
  buf.resize(static_cast<size_t>(n));
  return buf;
}

class Agent : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(tmp_.path().empty());
    dir_ = tmp_.path();
    ASSERT_EQ(mkdir((dir_ + "/pq6").c_str(), 0700), 0);
    mgr_ = bind_dgram(dir_ + "/pq6/ofmgragt.mp");
    ASSERT_GE(mgr_, 0);
    env_["OFA_RUN_DIR"] = dir_;
    env_["OFA_DEBUG_LOG"] = dir_ + "/ofastdout";
  }
  void TearDown() override {
    if (pid_ > 0) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
    if (mgr_ >= 0) close(mgr_);
  }

  void start() {
    pid_ = fork();
    ASSERT_GE(pid_, 0);
    if (pid_ == 0) {
      for (const auto& [k, v] : env_)
        setenv(k.c_str(), v.c_str(), 1);
      int null = open("/dev/null", O_WRONLY);
      dup2(null, 1);
      dup2(null, 2);
      execl(OFA_AGENT_BIN, "openflowAgtd", static_cast<char*>(nullptr));
      _exit(127);
    }
  }
  // Exit status after `sig`, within the bound.
  int stop(int sig) {
    kill(pid_, sig);
    auto end = Clock::now() + kWait;
    int status = 0;
    while (Clock::now() < end) {
      pid_t r = waitpid(pid_, &status, WNOHANG);
      if (r == pid_) {
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return -1;
  }
  bool alive() const { return pid_ > 0 && waitpid(pid_, nullptr, WNOHANG) == 0; }

  std::string log() const { return spine_test::read_file(dir_ + "/ofastdout"); }
  bool wait_log(const std::string& text) const {
    auto end = Clock::now() + kWait;
    while (Clock::now() < end) {
      if (log().find(text) != std::string::npos) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
  }
  bool wait_path(const std::string& path) const {
    auto end = Clock::now() + kWait;
    struct stat st {};
    while (Clock::now() < end) {
      if (stat(path.c_str(), &st) == 0) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return false;
  }
  // The stages the agent walked, in order, as its log tells them.
  std::vector<int> stages() const {
    std::vector<int> out;
    std::string l = log();
    const std::string key = "Current Stage  ";
    for (size_t at = l.find(key); at != std::string::npos; at = l.find(key, at + 1)) {
      out.push_back(std::atoi(l.c_str() + at + key.size()));
    }
    return out;
  }
  size_t count(const std::string& text) const {
    std::string l = log();
    size_t n = 0;
    for (size_t at = l.find(text); at != std::string::npos; at = l.find(text, at + 1))
      ++n;
    return n;
  }
  void platform_with_profile(int profile) {
    std::string path = dir_ + "/platform.conf";
    std::ofstream out(path);
    out << "[switch]\nmodel = 131\nhw_profile = " << profile
        << "\nroute_profile = 0\nl2_tcam_size = 4096\nl3_tcam_size = 4096\nmy_slot = 1\n"
           "boot = cold\n[resources]\nmgid_start = 8000\nmgid_end = 8999\niivid_min = 4000\n"
           "iivid_max = 4999\npolicer_start = 1\npolicer_end = 3960\n[ports]\ncount = 48\n"
           "[slot 1]\nchip.0.type = 1\nchip.0.ports = 1-48\n";
    env_["OFA_PLATFORM"] = path;
  }

  const std::vector<uint8_t> kRegistration{0x02, 0xc0, 0x00, 0x08, 0x02, 0xc0,
                                           0x00, 0x04, 0,    0,    0,    1};
  spine_test::TempDir tmp_{"ofa_spine"};
  std::string dir_;
  int mgr_ = -1;
  pid_t pid_ = -1;
  std::map<std::string, std::string> env_;
};

TEST_F(Agent, ColdStartRegistersAfterTheStagesAndStopsOnSigterm) {
  start();
  std::string from;
  auto reg = recv_within(mgr_, 10000, &from);
  ASSERT_TRUE(reg.has_value());
  EXPECT_EQ(*reg, kRegistration);
  EXPECT_EQ(from, dir_ + "/pq6/ofmgragt.1");
  ASSERT_TRUE(wait_log("Current Stage  1000, Next Stage 0"));
  EXPECT_EQ(stages(), (std::vector<int>{1002, 1, 1001, 1000}));
  EXPECT_FALSE(recv_within(mgr_, 50).has_value());  // one registration only

  // The worker thread answers on the IPC end point.
  int client = bind_dgram(dir_ + "/ipc/client");
  ASSERT_GE(client, 0);
  ASSERT_TRUE(send_to(client, dir_ + "/ipc/IPCOPENFLOWAGT.1", {0, 0, 0, 1, 0, 0, 0, 42}));
  auto answer = recv_within(client, 10000);
  close(client);
  ASSERT_TRUE(answer.has_value());
  EXPECT_EQ(*answer, (std::vector<uint8_t>{0xba, 0xad, 0xba, 0xbe}));

  EXPECT_EQ(stop(SIGTERM), 0);
  EXPECT_TRUE(wait_log("stopped by signal 15"));
  struct stat st {};
  EXPECT_NE(stat((dir_ + "/pq6/ofmgragt.1").c_str(), &st), 0);  // socket removed
}

TEST_F(Agent, WarmStartWalksWarmStagesAndRegisters) {
  env_["OFA_BOOT"] = "warm";
  start();
  auto reg = recv_within(mgr_, 10000);
  ASSERT_TRUE(reg.has_value());
  EXPECT_EQ(*reg, kRegistration);
  ASSERT_TRUE(wait_log("Current Stage  1000, Next Stage 0"));
  EXPECT_EQ(stages(), (std::vector<int>{1003, 2, 1001, 1000}));
  EXPECT_EQ(stop(SIGTERM), 0);
}

TEST_F(Agent, OtherHardwareProfileStaysUpAndSendsNothing) {
  platform_with_profile(5);
  start();
  ASSERT_TRUE(wait_log("Current Stage  1000, Next Stage 0"));
  EXPECT_FALSE(recv_within(mgr_, 200).has_value());
  EXPECT_TRUE(alive());
  EXPECT_EQ(count("OPENFLOW Agent register with manager"), 0u);
  EXPECT_EQ(stop(SIGINT), 0);
}

TEST_F(Agent, DatagramInStandbyIsCountedNotHandled) {
  env_["OFA_RSM_DELAY_MS"] = "1500";
  start();
  ASSERT_TRUE(wait_path(dir_ + "/pq6/ofmgragt.1"));
  // A status message (type 3, length 4): traced when handled, never acted on.
  const std::vector<uint8_t> status{0x00, 0xc0, 0x00, 0x04, 0, 0, 0, 0};
  ASSERT_TRUE(send_to(mgr_, dir_ + "/pq6/ofmgragt.1", status));
  auto reg = recv_within(mgr_, 10000);
  ASSERT_TRUE(reg.has_value());
  EXPECT_EQ(*reg, kRegistration);
  EXPECT_EQ(count("10001: Received msg type"), 0u);
  ASSERT_TRUE(send_to(mgr_, dir_ + "/pq6/ofmgragt.1", status));
  ASSERT_TRUE(wait_log("10001: Received msg type MSGTYPE_OPENFLOW_FLOW_STATUS(3) of len 8"));
  EXPECT_EQ(stop(SIGTERM), 0);
  EXPECT_EQ(count("10001: Received msg type"), 1u);
  EXPECT_TRUE(wait_log("manager socket: received 2, sent 1"));
}

TEST_F(Agent, BadPlatformFileRefused) {
  std::string path = dir_ + "/bad.conf";
  std::ofstream(path) << "[switch]\nmodel = banana\n";
  env_["OFA_PLATFORM"] = path;
  start();
  auto end = Clock::now() + kWait;
  int status = 0;
  while (Clock::now() < end && waitpid(pid_, &status, WNOHANG) != pid_) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  pid_ = -1;
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 2);
}

}  // namespace
