// The ofa-mgr program itself: exit codes, "file:line: reason" on stderr, help for each command,
// and listen/encode/decode output. No agent needed: a plain socket stands in where one must.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

struct Outcome {
  int code = -1;
  std::string out, err;
};

class Cli : public ::testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/ofa-mgr-cli-XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    dir_ = tmpl;
  }
  void TearDown() override { std::system(("rm -rf '" + dir_ + "'").c_str()); }

  pid_t spawn(const std::vector<std::string>& args) {
    pid_t pid = fork();
    if (pid != 0) return pid;
    setenv("OFA_RUN_DIR", dir_.c_str(), 1);
    unsetenv("OFA_PLATFORM");
    unsetenv("OFA_SLOT");
    int out = open((dir_ + "/out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    int err = open((dir_ + "/err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(out, 1);
    dup2(err, 2);
    std::vector<char*> argv{const_cast<char*>(OFA_MGR_BIN)};
    for (const auto& a : args)
      argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    execv(OFA_MGR_BIN, argv.data());
    _exit(127);
  }
  Outcome finish(pid_t pid) {
    int status = 0;
    waitpid(pid, &status, 0);
    return Outcome{WIFEXITED(status) ? WEXITSTATUS(status) : -1, slurp("out"), slurp("err")};
  }
  Outcome mgr(const std::vector<std::string>& args) { return finish(spawn(args)); }
  std::string slurp(const std::string& name) {
    std::ifstream in(dir_ + "/" + name);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
  }
  std::string write(const std::string& name, const std::string& text) {
    std::ofstream(dir_ + "/" + name) << text;
    return dir_ + "/" + name;
  }
  std::string dir_;
};

TEST_F(Cli, ABadScenarioLineIsFileLineReasonAndExitCode2) {
  std::string file =
      write("bad.scn", "# two good lines\nsleep 0\nflow add priority=3 actions=drop\n");
  auto r = mgr({"run", file});
  EXPECT_EQ(r.code, 2);
  EXPECT_EQ(r.err, file + ":3: flow add needs id=<flow id>\n");
  EXPECT_EQ(r.out, "");
}

TEST_F(Cli, UsageErrorsExitWith2) {
  EXPECT_EQ(mgr({"frobnicate"}).code, 2);
  EXPECT_EQ(mgr({"run"}).code, 2);
  EXPECT_EQ(mgr({"run", dir_ + "/missing.scn"}).err,
            dir_ + "/missing.scn:0: cannot read the file\n");
  EXPECT_EQ(mgr({"send", "vlan", "add", "vlan=1"}).code, 2);
  EXPECT_EQ(mgr({"listen", "--slot", "12"}).code, 2);
  EXPECT_EQ(mgr({"listen", "--timeout", "soon"}).code, 2);
  EXPECT_EQ(mgr({"--frob"}).code, 2);
  EXPECT_EQ(mgr({}).code, 2);
}

TEST_F(Cli, HelpForEachCommand) {
  for (const char* cmd : {"listen", "send", "run", "encode", "decode", "bench"}) {
    auto r = mgr({cmd, "--help"});
    EXPECT_EQ(r.code, 0) << cmd;
    EXPECT_EQ(r.out.rfind(std::string("usage: ofa-mgr ") + cmd, 0), 0u) << r.out;
  }
  auto r = mgr({"--help"});
  EXPECT_EQ(r.code, 0);
  EXPECT_NE(r.out.find("exit codes"), std::string::npos);
}

TEST_F(Cli, NoAgentMeansExitCode1) {
  std::string file = write("one.scn", "vlan add vlan=1 iivid=4010\n");
  auto r = mgr({"run", file});
  EXPECT_EQ(r.code, 1);
  EXPECT_NE(r.out.find(file + ":1: no agent at " + dir_ + "/pq6/ofmgragt.1"), std::string::npos)
      << r.out;
}

TEST_F(Cli, EncodeAndDecode) {
  auto e = mgr({"encode", "vlan", "add", "vlan=100", "iivid=4000"});
  EXPECT_EQ(e.code, 0);
  EXPECT_EQ(e.out, "02800010000000000000001c00000fa000000064\n");
  auto d = mgr({"decode", "02c00008", "02c00004", "00000001"});
  EXPECT_EQ(d.code, 0);
  EXPECT_EQ(d.out, "REGISTER     slot 1\n  slot  1\n");
  auto bad = mgr({"decode", "00c00010", "0000"});
  EXPECT_EQ(bad.code, 1);
  EXPECT_NE(bad.out.find("length 16 overruns the datagram (2 bytes left)"), std::string::npos)
      << bad.out;
}

TEST_F(Cli, ListenPrintsJsonLines) {
  pid_t pid = spawn({"listen", "--json", "--count", "2", "--timeout", "10"});
  std::string mp = dir_ + "/pq6/ofmgragt.mp";
  struct stat st {};
  for (int i = 0; i < 1000 && stat(mp.c_str(), &st) != 0; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  int fd = socket(AF_UNIX, SOCK_DGRAM, 0);
  sockaddr_un a{};
  a.sun_family = AF_UNIX;
  std::snprintf(a.sun_path, sizeof a.sun_path, "%s", mp.c_str());
  const uint8_t reg[] = {0x02, 0xc0, 0, 8, 0x02, 0xc0, 0, 4, 0, 0, 0, 2};
  const uint8_t bad[] = {0xff, 0xff, 0, 0};
  ASSERT_EQ(sendto(fd, reg, sizeof reg, 0, reinterpret_cast<sockaddr*>(&a), sizeof a), 12);
  ASSERT_EQ(sendto(fd, bad, sizeof bad, 0, reinterpret_cast<sockaddr*>(&a), sizeof a), 4);
  close(fd);
  auto r = finish(pid);
  EXPECT_EQ(r.code, 0);
  std::istringstream lines(r.out);
  std::string first, second;
  std::getline(lines, first);
  std::getline(lines, second);
  EXPECT_NE(first.find(",\"kind\":\"register\",\"type\":11,\"slot\":2}"), std::string::npos)
      << first;
  EXPECT_NE(second.find("\"kind\":\"error\",\"offset\":0,\"reason\":\"type 1023 is not a message "
                        "type\",\"bytes\":\"ffff0000\"}"),
            std::string::npos)
      << second;
}

}  // namespace
