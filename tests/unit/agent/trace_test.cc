// ofa_trace and file_printf: levels, modules, the binary words, sinks by debugOpenflow, bounds.
#include "agent/trace.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "agent/debug_log.h"
#include "platform/evrec.h"
#include "processes.h"

namespace {

std::vector<std::string> g_channel;
void channel(const char* text) {
  g_channel.emplace_back(text);
}

class Trace : public ofa::test::RunDir {
 protected:
  void SetUp() override {
    RunDir::SetUp();
    ASSERT_EQ(openflowAgt_trace_init(), 0);
    for (uint32_t m = 0; m < OFA_TRACE_MODULES; ++m)
      openflow_agt_debug[m] = 9;
    g_channel.clear();
    ofa_trace_set_debug_channel(channel);
  }
  void TearDown() override {
    ofa_trace_set_debug_channel(nullptr);
    openflowAgt_trace_exit();
    evrec_exit();
    RunDir::TearDown();
  }
  std::string log_body() const { return agent_log().substr(128); }
  size_t records(uint32_t module) const {
    return trace_module_records(ofa_trace_handle(module)).size();
  }
};

TEST_F(Trace, StartBitsAreFileOnly) {
  EXPECT_EQ(debugOpenflow, 0xc0080000u);
  file_printf("to the file\n");
  EXPECT_TRUE(g_channel.empty());
  EXPECT_EQ(log_body().substr(24), ": to the file\n");
}

TEST_F(Trace, WordsLevelAndIdStored) {
  const char* s = "text";
  ofa_trace(OFACORE, 5, 3, 13009, "tcam_pid:%d route_pid:%d %s", 7, 3, s);
  auto recs = trace_module_records(ofa_trace_handle(OFACORE));
  ASSERT_EQ(recs.size(), 1u);
  const auto& r = recs[0];
  EXPECT_EQ((std::vector<uint32_t>{r.module, r.id, r.level, r.words[0], r.words[1], r.words[2],
                                   r.words[3]}),
            (std::vector<uint32_t>{335, 13009, 5, 7, 3,
                                   static_cast<uint32_t>(reinterpret_cast<uintptr_t>(s)), 0}));
  EXPECT_EQ(log_body().substr(24), ": 13009: tcam_pid:7 route_pid:3 text\n");
}

// Emitted when not above the module's level: to the ring and to the file.
TEST_F(Trace, LevelsAgainstTheModuleLevel) {
  const struct {
    uint32_t module_level, level;
    bool emitted;
  } cases[] = {{9, 9, true}, {9, 10, false}, {0, 0, true}, {0, 1, false}};
  size_t stored = 0, written = 0;
  for (const auto& c : cases) {
    openflow_agt_debug[OFAMSG] = c.module_level;
    ofa_trace(OFAMSG, c.level, 0, 10001, "m");
    EXPECT_EQ(records(OFAMSG) - stored, c.emitted ? 1u : 0u) << c.module_level << "/" << c.level;
    EXPECT_EQ(log_body().size() > written, c.emitted) << c.module_level << "/" << c.level;
    stored = records(OFAMSG), written = log_body().size();
  }
}

TEST_F(Trace, ModuleAboveFourAndLevelAboveNineIgnored) {
  ofa_trace(5, 0, 0, 1, "nothing");
  EXPECT_TRUE(log_body().empty());
  ofa_trace_set_level(OFACORE, 10);
  EXPECT_EQ(openflow_agt_debug[OFACORE], 9u);
  ofa_trace_set_level(OFACORE, 3);
  EXPECT_EQ(openflow_agt_debug[OFACORE], 3u);
}

TEST_F(Trace, MoreThanSixteenArgumentsCountAsSixteen) {
  ofa_trace(OFAIO, 1, 40, 7, "%d %d %d %d %d %d %d %d %d %d %d %d %d %d %d %d %d", 1, 2, 3, 4, 5, 6,
            7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17);
  auto recs = trace_module_records(ofa_trace_handle(OFAIO));
  ASSERT_EQ(recs.size(), 1u);
  EXPECT_EQ(recs[0].words[15], 16u);
}

TEST_F(Trace, LongTextIsCut) {
  std::string big(1000, 'z');
  ofa_trace(OFACORE, 1, 0, 42, "%s", big.c_str());
  std::string body = log_body();
  // "<time>: 42: " then 199 characters of the 200-byte format buffer.
  EXPECT_EQ(body.substr(24, 6), ": 42: ");
  EXPECT_EQ(body.size(), 230u);
  file_printf("%s", big.c_str());
  EXPECT_EQ(log_body().size(), body.size() + 24 + 2 + 199 + 1);
}

TEST_F(Trace, SinksFollowTheBits) {
  debugOpenflow = OFA_DEBUG_CHANNEL;
  file_printf("chan\n");
  ofa_trace(OFACORE, 1, 1, 9, "t%d\n", 1);
  debug_uprintf("not on the channel");
  EXPECT_EQ(g_channel, (std::vector<std::string>{"chan\n", "t1"}));
  EXPECT_TRUE(log_body().empty());
  debugOpenflow = 0;
  file_printf("nowhere");
  ofa_trace(OFACORE, 1, 0, 9, "nowhere");
  EXPECT_EQ(g_channel.size(), 2u);
  EXPECT_TRUE(log_body().empty());
  EXPECT_EQ(records(OFACORE), 2u);  // the ring does not depend on the sink bits
}

TEST_F(Trace, LogOffOpensNoFileAndLeavesTheOtherSinks) {
  char cwd[4096];
  ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
  ASSERT_EQ(chdir(dir_.c_str()), 0);
  setenv("OFA_DEBUG_LOG", "off", 1);
  ASSERT_EQ(openflowAgt_trace_init(), 0);
  ASSERT_EQ(chdir(cwd), 0);
  EXPECT_FALSE(ofa_debug_log_is_open());
  EXPECT_NE(access(path("off").c_str(), F_OK), 0);  // "off" is no file name
  debugOpenflow |= OFA_DEBUG_CHANNEL;
  file_printf("chan\n");
  EXPECT_EQ(g_channel, (std::vector<std::string>{"chan\n"}));
  EXPECT_TRUE(log_body().empty());
}

}  // namespace
