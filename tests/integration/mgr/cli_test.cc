// The ofa-mgr program itself: exit codes, "file:line: reason" on stderr, and listen/encode/decode
// output. No agent needed: a plain socket stands in where one must.
#include "processes.h"

namespace {

struct Outcome {
  int code = -1;
  std::string out, err;
  std::pair<int, std::string> code_and_out() const { return {code, out}; }
};

class Cli : public ofa::test::RunDir {
 protected:
  void spawn(const std::vector<std::string>& args) {
    unlink(path("out").c_str());
    unlink(path("err").c_str());
    child_.start(OFA_MGR_BIN, args, env_, path("out"), path("err"));
  }
  Outcome finish() {
    int code = child_.wait_exit();
    return {code, ofa::test::read_file(path("out")), ofa::test::read_file(path("err"))};
  }
  Outcome mgr(const std::vector<std::string>& args) {
    spawn(args);
    return finish();
  }
  ofa::test::Child child_;
};

TEST_F(Cli, ABadScenarioLineIsFileLineReasonAndExitCode2) {
  std::string file =
      write("bad.scn", "# two good lines\nsleep 0\nflow add priority=3 actions=drop\n");
  auto r = mgr({"run", file});
  EXPECT_EQ(std::tie(r.code, r.out, r.err),
            std::make_tuple(2, "", file + ":3: flow add needs id=<flow id>\n"));
  EXPECT_EQ(mgr({"run", path("missing.scn")}).err,
            path("missing.scn") + ":0: cannot read the file\n");
}

TEST_F(Cli, UsageErrorsExitWith2) {
  for (const auto& args : std::vector<std::vector<std::string>>{
           {"frobnicate"}, {"run"}, {"send", "vlan", "add", "vlan=1"}, {"--frob"}, {}})
    EXPECT_EQ(mgr(args).code, 2) << (args.empty() ? "" : args[0]);
}

TEST_F(Cli, NoAgentMeansExitCode1) {
  EXPECT_EQ(mgr({"run", write("one.scn", "vlan add vlan=1 iivid=4010\n")}).code, 1);
}

TEST_F(Cli, EncodeAndDecode) {
  EXPECT_EQ(mgr({"encode", "vlan", "add", "vlan=100", "iivid=4000"}).code_and_out(),
            std::make_pair(0, std::string("02800010000000000000001c00000fa000000064\n")));
  EXPECT_EQ(mgr({"decode", "02c00008", "02c00004", "00000001"}).code_and_out(),
            std::make_pair(0, std::string("REGISTER     slot 1\n  slot  1\n")));
  EXPECT_EQ(mgr({"decode", "00c00010", "0000"}).code, 1);
}

TEST_F(Cli, ListenPrintsJsonLines) {
  spawn({"listen", "--json", "--count", "2", "--timeout", "10"});
  std::string mp = path("pq6/ofmgragt.mp");
  ASSERT_TRUE(ofa::test::wait_for([&] { return ofa::test::exists(mp); }));
  int fd = socket(AF_UNIX, SOCK_DGRAM, 0);
  ASSERT_TRUE(ofa::test::send_to(fd, mp, {0x02, 0xc0, 0, 8, 0x02, 0xc0, 0, 4, 0, 0, 0, 2}));
  ASSERT_TRUE(ofa::test::send_to(fd, mp, {0xff, 0xff, 0, 0}));
  close(fd);
  auto r = finish();
  EXPECT_EQ(r.code, 0);
  EXPECT_NE(r.out.find(",\"kind\":\"register\",\"type\":11,\"slot\":2}\n{"), std::string::npos);
  EXPECT_NE(r.out.find("\"kind\":\"error\",\"offset\":0,"), std::string::npos) << r.out;
}

}  // namespace
