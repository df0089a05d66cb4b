// ofa-mgr against the real openflowAgtd on a temporary run directory with the default platform:
// `listen` shows the agent's registration, `run` of the example scenarios delivers every
// datagram (the agent's debug log traces each message it receives), and malformed datagrams
// leave the agent running.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

std::string slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

size_t count(const std::string& text, const std::string& what) {
  size_t n = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
    ++n;
  return n;
}

class AgentSession : public ::testing::Test {
 protected:
  void SetUp() override {
    if (std::string(OFA_AGENT_BIN).empty()) {
      GTEST_SKIP() << "the openflowAgtd target is not part of this build";
    }
    char tmpl[] = "/tmp/ofa-mgr-it-XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    dir_ = tmpl;
    env_ = {{"OFA_RUN_DIR", dir_}, {"OFA_DEBUG_LOG", dir_ + "/ofastdout"}};
  }
  void TearDown() override {
    for (pid_t pid : {mgr_, agent_}) {
      if (pid > 0) {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
      }
    }
    if (!dir_.empty()) std::system(("rm -rf '" + dir_ + "'").c_str());
  }

  // Starts a program with the test's environment, its output in `out` under the run directory.
  pid_t spawn(const std::string& bin, const std::vector<std::string>& args,
              const std::string& out) {
    pid_t pid = fork();
    if (pid != 0) return pid;
    for (const auto& [k, v] : env_)
      setenv(k.c_str(), v.c_str(), 1);
    unsetenv("OFA_PLATFORM");
    unsetenv("OFA_SLOT");
    unsetenv("OFA_BOOT");
    int fd = open((dir_ + "/" + out).c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(fd, 1);
    dup2(fd, 2);
    std::vector<char*> argv{const_cast<char*>(bin.c_str())};
    for (const auto& a : args)
      argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    execv(bin.c_str(), argv.data());
    _exit(127);
  }
  void start_mgr(const std::vector<std::string>& args, const std::string& out) {
    mgr_ = spawn(OFA_MGR_BIN, args, out);
    ASSERT_GT(mgr_, 0);
  }
  void start_agent() {
    agent_ = spawn(OFA_AGENT_BIN, {}, "agent.out");
    ASSERT_GT(agent_, 0);
  }
  // Exit code of the manager tool, or -1 if it is still running after `seconds`.
  int wait_mgr(int seconds) {
    auto end = Clock::now() + std::chrono::seconds(seconds);
    int status = 0;
    while (Clock::now() < end) {
      if (waitpid(mgr_, &status, WNOHANG) == mgr_) {
        mgr_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return -1;
  }
  bool wait_for(const std::function<bool()>& done, int seconds = 10) {
    auto end = Clock::now() + std::chrono::seconds(seconds);
    while (Clock::now() < end) {
      if (done()) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
  }
  bool mp_bound() {
    struct stat st {};
    return stat((dir_ + "/pq6/ofmgragt.mp").c_str(), &st) == 0;
  }
  std::string debug_log() { return slurp(dir_ + "/ofastdout"); }
  std::string file(const std::string& name) { return slurp(dir_ + "/" + name); }
  bool agent_alive() { return agent_ > 0 && waitpid(agent_, nullptr, WNOHANG) == 0; }

  std::string dir_;
  std::map<std::string, std::string> env_;
  pid_t mgr_ = -1, agent_ = -1;
};

const std::string kScenarios = OFA_SCENARIOS;

TEST_F(AgentSession, ListenShowsTheRegistrationAndMalformedInputIsSurvived) {
  start_mgr({"listen", "--json", "--count", "1", "--timeout", "30"}, "listen.out");
  ASSERT_TRUE(wait_for([&] { return mp_bound(); }));
  start_agent();
  ASSERT_EQ(wait_mgr(40), 0) << file("listen.out");
  std::string listen = file("listen.out");
  EXPECT_NE(listen.find("\"kind\":\"register\",\"type\":11,\"slot\":1}"), std::string::npos)
      << listen;

  start_mgr({"run", "--timeout", "0.3", kScenarios + "/malformed.scn"}, "malformed.out");
  int rc = wait_mgr(60);
  std::string run = file("malformed.out");
  EXPECT_TRUE(rc == 0 || rc == 1) << rc << "\n" << run;  // 1 while no flow handler answers
  EXPECT_EQ(count(run, " ERROR "), 0u) << run;
  EXPECT_NE(run.find("12 datagrams sent"), std::string::npos) << run;
  ASSERT_TRUE(wait_for([&] {
    return debug_log().find("Invalid msg type 13") != std::string::npos;
  })) << debug_log();
  EXPECT_NE(debug_log().find("runs past the datagram"), std::string::npos);
  EXPECT_NE(debug_log().find("MSGTYPE_OPENFLOW_FLOW_STATUS(3)"), std::string::npos);
  EXPECT_TRUE(agent_alive());
}

TEST_F(AgentSession, RunOfTheBasicScenarioDeliversEveryDatagram) {
  start_mgr({"run", "--timeout", "0.3", kScenarios + "/basic.scn"}, "basic.out");
  ASSERT_TRUE(wait_for([&] { return mp_bound(); }));
  start_agent();
  int rc = wait_mgr(90);
  std::string run = file("basic.out");
  EXPECT_TRUE(rc == 0 || rc == 1) << rc << "\n" << run;  // 1 while no flow handler answers
  EXPECT_NE(run.find("slot 1 registered"), std::string::npos) << run;
  EXPECT_EQ(count(run, " ERROR "), 0u) << run;
  size_t sent = count(run, "  sent  ");
  EXPECT_EQ(sent, 21u) << run;
  // Every datagram of the scenario holds one message, and the agent traces each it receives.
  ASSERT_TRUE(wait_for([&] { return count(debug_log(), "Received msg type") >= sent; }))
      << debug_log();
  std::string log = debug_log();
  for (const char* type :
       {"MSGTYPE_OPENFLOW_CONFIG(0) of len 3724", "MSGTYPE_OPENFLOW_SYNC_COMPLETE(1) of len 320",
        "MSGTYPE_OPENFLOW_METER_OPERATION(2) of len 44",
        "MSGTYPE_OPENFLOW_FLOW_OPERATION(7) of len 320",
        "MSGTYPE_OPENFLOW_PORT_VLAN_UPD(8) of len 20",
        "MSGTYPE_OPENFLOW_GROUP_OPERATION(9) of len 1060",
        "MSGTYPE_OPENFLOW_VLAN_IVID_UPD(10) of len 20",
        "MXL_MSGTYPE_OPENFLOW_EVT_OPERATION(12) of len 48"}) {
    EXPECT_NE(log.find(type), std::string::npos) << type;
  }
  EXPECT_TRUE(agent_alive());
}

}  // namespace
