// The platform stand-ins the agent runs on: queue bounds, the worker's timer and IPC end point,
// trace rings, system parameters from the platform file.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>
#include <variant>

#include "platform/evio.h"
#include "platform/evrec.h"
#include "platform/msg_queue.h"
#include "platform/platform_file.h"
#include "platform/system.h"
#include "platform/wire.h"
#include "processes.h"

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

std::atomic<int> g_fired{0};
void fire(void*) {
  g_fired++;
}

int echo(uint32_t, const ipc_src* src, const uint8_t* msg, size_t len) {
  return ipcSend(src, msg, len);
}

using Worker = ofa::test::RunDir;

TEST_F(Worker, TimerAndIpcOnTheWorkerThread) {
  evio* e = nullptr;
  ioss* timer = nullptr;
  ioss* ipc = nullptr;
  ASSERT_EQ(evio_create(&e), 0);
  ASSERT_EQ(timer_ioss_create(&timer, evio_wakeup, e), 0);
  ASSERT_EQ(ipc_ioss_create(&ipc, "IPCTEST", 0, ipc_max_msg_size(0), 1), 0);
  ASSERT_EQ(evio_register(e, ipc), 0);
  ASSERT_EQ(evio_register(e, timer), 0);
  ASSERT_EQ(ipcRegisterCB(0, echo, nullptr), 0);
  EXPECT_EQ(ipcRegisterCB(16, echo, nullptr), -1);
  wt* w = nullptr;
  ASSERT_EQ(wt_exec(evio_run, e, &w), 0);

  g_fired = 0;
  ASSERT_EQ(timer_ioss_add(timer, 1, fire, nullptr), 0);
  int client = ofa::test::bind_dgram(path("ipc/client"));
  ASSERT_GE(client, 0);
  std::string slot = std::to_string(dpx_ni_my_slot());
  ASSERT_TRUE(ofa::test::send_to(client, path("ipc/IPCTEST." + slot), {1, 2, 3}));
  timeval tv{10, 0};
  setsockopt(client, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
  uint8_t buf[8];
  EXPECT_EQ(recv(client, buf, sizeof buf, 0), 3);
  EXPECT_EQ(buf[2], 3);
  for (int i = 0; i < 1000 && g_fired == 0; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  EXPECT_EQ(g_fired, 1);

  evio_stop(e);
  EXPECT_EQ(wt_join(w), 0);
  close(client);
  ipcRegisterCB(0, nullptr, nullptr);
  ioss_destroy(ipc);
  ioss_destroy(timer);
  evio_destroy(e);
}

TEST(System, AnswersFromThePlatformFile) {
  auto r = ofa::platform::parse_platform(ofa::platform::default_platform_text(), "<default>");
  ofa_sys_set(std::get<ofa::platform::Platform>(r));
  EXPECT_EQ(sysconModel(), 131u);
  EXPECT_EQ(platsys_get_hwprofile(), 7);
  EXPECT_EQ(platsys_get_tcam_size_by_pid(7, 23), 4096u);
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
  ASSERT_EQ(sysCtrlGetResourceLimits(h, 2, rec, sizeof rec), 0);
  EXPECT_EQ(ofa::wire::Reader(rec, sizeof rec).u32_at(104), 7168u);
  sys_slot_params sp{};
  EXPECT_EQ(sysCtrlGetSlotParameters(h, 2, &sp), -1);
  ASSERT_EQ(sysCtrlGetSlotParameters(h, 1, &sp), 0);
  EXPECT_EQ(sp.chip_count, 1u);
  EXPECT_EQ(sp.chips[0].type, 1u);
  EXPECT_EQ(sysModClose(&h), 0);
  EXPECT_EQ(sysModClose(&h), -1);
}

}  // namespace
