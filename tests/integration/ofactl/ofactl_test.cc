// ofactl and a running openflowAgtd: the scheduler's accounting crosses from the agent's main loop
// through its debug client socket, as text and as JSON lines; with the agent gone, ofactl says so;
// every program refuses a run directory others may write.
#include <regex>

#include "processes.h"

namespace {

using namespace ofa::test;

class Ofactl : public RunDir {
 protected:
  // Exit code and output (stdout and stderr) of one ofactl run.
  std::pair<int, std::string> ofactl(const std::vector<std::string>& args) {
    Child c;
    std::string out = path("ofactl.out");
    std::remove(out.c_str());
    c.start(OFACTL_BIN, args, env_, out);
    int code = c.wait_exit();
    return {code, read_file(out)};
  }
};

TEST_F(Ofactl, SchedFromTheRunningAgentThenNoAgent) {
  Child agent;
  agent.start(OFA_AGENT_BIN, {}, env_, path("agent.out"));
  ASSERT_TRUE(wait_for([&] { return exists(path("qcf/ofagt_p1")); }));
  ofactl({"sched"});  // the request's own callback shows from the next answer on
  auto [code, out] = ofactl({"sched"});
  ASSERT_EQ(code, 0) << out;
  const std::string num = "\\d+\\.\\d{3}";
  std::vector<std::string> rows = lines(out);
  ASSERT_GE(rows.size(), 3u) << out;
  EXPECT_TRUE(
      std::regex_match(rows.front(), std::regex("callback +calls  +total us  +longest us")));
  EXPECT_TRUE(
      std::regex_match(rows.back(), std::regex("\\(loop pass\\) +\\d+  +" + num + "  +" + num)));
  const std::regex row("[a-z_]+ +\\d+  +" + num + "  +" + num);
  for (size_t i = 1; i + 1 < rows.size(); ++i)
    EXPECT_TRUE(std::regex_match(rows[i], row)) << rows[i];
  EXPECT_NE(out.find("\nofa_qcf_channel_read "), std::string::npos) << out;

  std::tie(code, out) = ofactl({"--json", "sched"});
  ASSERT_EQ(code, 0) << out;
  const std::regex object("\\{\"callback\":\"[^\"]+\",\"calls\":\\d+,\"total_us\":" + num +
                          ",\"longest_us\":" + num + "\\}");
  EXPECT_EQ(lines(out).size(), rows.size() - 1);
  for (const std::string& l : lines(out))
    EXPECT_TRUE(std::regex_match(l, object)) << l;
  EXPECT_NE(agent_log().find("OF agent successfully initialized as lumen client"),
            std::string::npos);

  agent.kill_now();
  EXPECT_EQ(ofactl({"sched"}), std::make_pair(1, "ofactl: no agent at " + dir_ +
                                                     "/qcf/ofagt_p1: is openflowAgtd running for "
                                                     "slot 1?\n"));
}

// Whoever can write in the run directory could speak as the manager or as the chip: each of the
// four programs refuses one that group or others may write, before it binds anything there.
TEST_F(Ofactl, EveryProgramRefusesARunDirectoryOthersMayWrite) {
  ASSERT_EQ(chmod(dir_.c_str(), 0777), 0);
  const std::string why =
      dir_ + ": run directory refused: writable by group or others (mode 0777)\n";
  const struct {
    const char* bin;
    std::vector<std::string> args;
    std::string prefix;
  } programs[] = {
      {OFA_AGENT_BIN, {}, ""},
      {OFA_CHIPSIM_BIN, {}, "ofa-chipsim: "},
      {OFA_MGR_BIN, {"listen"}, "ofa-mgr: "},
      {OFACTL_BIN, {"sched"}, "ofactl: "},
  };
  for (const auto& p : programs) {
    Child c;
    std::string out = path("refused." + std::to_string(&p - programs));
    c.start(p.bin, p.args, env_, out);
    EXPECT_EQ(c.wait_exit(), 2) << p.bin;
    EXPECT_EQ(read_file(out), p.prefix + why) << p.bin;
  }
  EXPECT_FALSE(exists(path("pq6"))) << "nothing may be made in a refused run directory";
}

}  // namespace
