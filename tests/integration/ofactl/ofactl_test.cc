// ofactl and a running openflowAgtd: the scheduler's accounting crosses from the agent's main loop
// through its debug client socket, as text and as JSON lines; with the agent gone, ofactl says so.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <thread>

namespace {

struct Outcome {
  int code = -1;
  std::string out;  // stdout and stderr
};

class Ofactl : public ::testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/ofactl-it-XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    dir_ = tmpl;
    agent_ = fork();
    ASSERT_GE(agent_, 0);
    if (agent_ == 0) {
      setenv("OFA_RUN_DIR", dir_.c_str(), 1);
      setenv("OFA_DEBUG_LOG", (dir_ + "/ofastdout").c_str(), 1);
      unsetenv("OFA_PLATFORM");
      int null = open("/dev/null", O_WRONLY);
      dup2(null, 1);
      dup2(null, 2);
      execl(OFA_AGENT_BIN, "openflowAgtd", static_cast<char*>(nullptr));
      _exit(127);
    }
    struct stat st {};
    for (int i = 0; i < 1000 && stat((dir_ + "/qcf/ofagt_p1").c_str(), &st) != 0; ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  void TearDown() override {
    stop_agent();
    std::system(("rm -rf '" + dir_ + "'").c_str());
  }
  void stop_agent() {
    if (agent_ <= 0) return;
    kill(agent_, SIGKILL);
    waitpid(agent_, nullptr, 0);
    agent_ = -1;
  }
  Outcome ofactl(const std::string& args) {
    std::string cmd = std::string(OFACTL_BIN) + " --run-dir " + dir_ + " " + args + " 2>&1";
    Outcome o;
    FILE* p = popen(cmd.c_str(), "r");
    char buf[4096];
    size_t n;
    while ((n = fread(buf, 1, sizeof buf, p)) > 0)
      o.out.append(buf, n);
    int status = pclose(p);
    o.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return o;
  }

  std::string dir_;
  pid_t agent_ = -1;
};

TEST_F(Ofactl, SchedFromTheRunningAgentThenNoAgent) {
  ofactl("sched");  // the request's own callback shows from the next answer on
  Outcome o = ofactl("sched");
  ASSERT_EQ(o.code, 0) << o.out;
  const std::string num = "\\d+\\.\\d{3}";
  const std::regex row("[a-z_]+ +\\d+  +" + num + "  +" + num + "\n");
  std::istringstream lines(o.out);
  std::string line;
  std::getline(lines, line);
  EXPECT_TRUE(std::regex_match(line, std::regex("callback +calls  +total us  +longest us")));
  bool channel = false;
  while (std::getline(lines, line) && !line.starts_with("(loop pass)")) {
    EXPECT_TRUE(std::regex_match(line + "\n", row)) << line;
    channel = channel || line.starts_with("ofa_qcf_channel_read ");
  }
  EXPECT_TRUE(channel) << o.out;
  EXPECT_TRUE(std::regex_match(line + "\n",
                               std::regex("\\(loop pass\\) +\\d+  +" + num + "  +" + num + "\n")));
  EXPECT_FALSE(std::getline(lines, line));

  o = ofactl("--json sched");
  ASSERT_EQ(o.code, 0) << o.out;
  const std::regex object("\\{\"callback\":\"[^\"]+\",\"calls\":\\d+,\"total_us\":" + num +
                          ",\"longest_us\":" + num + "\\}");
  std::istringstream objects(o.out);
  int count = 0;
  while (std::getline(objects, line)) {
    EXPECT_TRUE(std::regex_match(line, object)) << line;
    ++count;
  }
  EXPECT_GE(count, 3);

  std::ifstream log(dir_ + "/ofastdout");
  std::stringstream text;
  text << log.rdbuf();
  EXPECT_NE(text.str().find("OF agent successfully initialized as lumen client"),
            std::string::npos);

  stop_agent();
  o = ofactl("sched");
  EXPECT_EQ(o.code, 1);
  EXPECT_EQ(o.out,
            "ofactl: no agent at " + dir_ + "/qcf/ofagt_p1: is openflowAgtd running for slot 1?\n");
}

}  // namespace
