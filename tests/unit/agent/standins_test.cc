// The platform stand-ins the agent runs on: queue bounds, trace rings, the refusals of the system
// parameters. (The worker's IPC end point: AgentStart.Cold in tests/integration.)
#include <gtest/gtest.h>

#include <cstring>
#include <variant>

#include "platform/evrec.h"
#include "platform/msg_queue.h"
#include "platform/platform_file.h"
#include "platform/system.h"

namespace {

TEST(MsgQueue, BoundsAndOrder) {
  MSG_Q_ID q = msgQCreate(2, 20, 0, "q");
  ASSERT_NE(q, nullptr);
  EXPECT_STREQ(msgQName(q), "q");
  uint8_t m[21] = {};
  EXPECT_EQ(msgQSend(q, m, 21), -1);  // longer than a message
  m[0] = 1;
  EXPECT_EQ(msgQSend(q, m, 4), 0);
  m[0] = 2;
  EXPECT_EQ(msgQSend(q, m, 20), 0);
  EXPECT_EQ(msgQSend(q, m, 20), -1);  // full
  EXPECT_EQ(msgQNumMsgs(q), 2);
  uint8_t out[32];
  std::memset(out, 0xff, sizeof out);
  EXPECT_EQ(msgQReceive(q, out, sizeof out, 0), 4);
  EXPECT_EQ(out[0], 1);
  EXPECT_EQ(out[4], 0);  // the rest of the buffer is cleared
  EXPECT_EQ(msgQReceive(q, out, sizeof out, 0), 20);
  EXPECT_EQ(out[0], 2);
  EXPECT_EQ(msgQReceive(q, out, sizeof out, 0), -1);
  EXPECT_EQ(msgQCreate(0, 20, 0, "none"), nullptr);
  msgQDelete(q);
}

TEST(TraceRing, KeepsTheNewestRecords) {
  ASSERT_EQ(evrec_init("ethsw", 0, "T"), 0);
  int h = -1;
  trace_attr attr{0, 32, 0, 0};
  ASSERT_EQ(trace_module_init(&h, 335, 4096, "R", &attr), 0);
  const size_t cap = 4096 / sizeof(trace_record);
  uint32_t words[16] = {};
  for (uint32_t i = 0; i < cap + 5; ++i) {
    words[0] = i;
    ASSERT_EQ(trace_module_store_lvl(h, 335, 100 + i, 1, words), 0);
  }
  auto recs = trace_module_records(h);
  ASSERT_EQ(recs.size(), cap);
  EXPECT_EQ(recs.front().words[0], 5u);
  EXPECT_EQ(recs.back().id, 100 + cap + 4);
  EXPECT_EQ(trace_module_store_lvl(h + 1, 335, 1, 1, words), -1);
  evrec_exit();
  EXPECT_EQ(evrec_log2("closed"), -1);
}

// The answers themselves reach the agent's hardware resources (rsm_test); here the refusals.
TEST(System, RefusalsAndBounds) {
  auto r = ofa::platform::parse_platform(ofa::platform::default_platform_text(), "<default>");
  ofa_sys_set(std::get<ofa::platform::Platform>(r));
  EXPECT_EQ(platsys_get_tcam_size_by_pid(7, 11), 0u);
  EXPECT_EQ(ip_get_number_of_phy_ports(), 49u);  // port ids 0 to 48
  char name[8];
  ASSERT_EQ(l3_get_ifname_from_port_num(5, name, sizeof name), 0);
  EXPECT_STREQ(name, "etherne");  // cut to the buffer
  EXPECT_EQ(l3_get_ifname_from_port_num(49, name, sizeof name), -1);
  void* h = nullptr;
  ASSERT_EQ(sysModInit(&h), 0);
  uint8_t rec[SYS_RESOURCE_RECORD_SIZE];
  EXPECT_EQ(sysCtrlGetResourceLimits(h, 1, rec, sizeof rec), -1);
  sys_slot_params sp{};
  EXPECT_EQ(sysCtrlGetSlotParameters(h, 2, &sp), -1);
  EXPECT_EQ(sysModClose(&h), 0);
  EXPECT_EQ(sysModClose(&h), -1);
}

}  // namespace
