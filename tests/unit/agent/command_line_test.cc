// The command line: options, the process name record, the RSM identity fields.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "agent/agent_globals.h"
#include "agent/top/openflow_agt_main.h"
#include "platform/asp.h"

namespace {

void parse(std::vector<std::string> args) {
  openflowAgtPcb = openflow_agt_pcb{};
  of_corvu_state = of_corvu_state_t{};
  std::vector<char*> argv;
  for (auto& a : args)
    argv.push_back(a.data());
  argv.push_back(nullptr);
  openflowAgt_parse_command_line(static_cast<int>(args.size()), argv.data());
}

TEST(CommandLine, NoOptions) {
  parse({"/usr/sbin/openflowAgtd"});
  EXPECT_STREQ(openflowAgtPcb.name, "openflowAgtd");
  EXPECT_EQ(openflowAgtPcb.state, &of_corvu_state);
  EXPECT_EQ(of_corvu_state.is_agent, 1u);
  EXPECT_STREQ(of_corvu_state.rsm_svc, "");
  EXPECT_STREQ(of_corvu_state.rsm_inst, "");
  EXPECT_EQ(of_corvu_state.rsm_group, 0);
  EXPECT_EQ(std::memcmp(of_corvu_state.rsm_atom, "openflowagt", 12), 0);
}

TEST(CommandLine, OptionsTakenAndOthersIgnored) {
  parse({"openflowAgtd", "-S", "ofsvc", "-x", "-s", "3", "-v", "1", "-g", "5", "-c", "c", "-m", "m",
         "-i", "i", "-d", "1"});
  EXPECT_STREQ(of_corvu_state.rsm_svc, "ofsvc");
  EXPECT_STREQ(of_corvu_state.rsm_inst, "3");
  EXPECT_EQ(getMySwitch(), 3);
  EXPECT_EQ(of_corvu_state.rsm_group, 5);
}

TEST(CommandLine, LongProgramNameFillsTheRecordWithoutTerminator) {
  std::string name(100, 'n');
  parse({"/bin/" + name});
  EXPECT_EQ(std::string(openflowAgtPcb.name, sizeof openflowAgtPcb.name), std::string(80, 'n'));
  EXPECT_EQ(openflowAgtPcb.model, 0u);  // the next field is untouched
}

}  // namespace
