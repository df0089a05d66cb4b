// The manager socket: registration bytes, receive paths with their counters, the Standby gate,
// the error queue, source slots.
#include "manager/mxl.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "agent/rsm_state.h"
#include "agent/trace.h"
#include "hex.h"
#include "platform/evrec.h"
#include "platform/run_dir.h"
#include "processes.h"
#include "trace_capture.h"

namespace {

struct Got {
  uint32_t slot;
  std::vector<uint8_t> bytes;
};
std::vector<Got> g_got;

int handler(int, uint32_t slot, const uint8_t* buf, uint32_t size) {
  g_got.push_back({slot, std::vector<uint8_t>(buf, buf + size)});
  return 0;
}

using ofa::test::bind_dgram;

void send_to(int fd, const std::string& path, const std::vector<uint8_t>& bytes) {
  ASSERT_TRUE(ofa::test::send_to(fd, path, bytes));
}

class Mxl : public ofa::test::RunDir {
 protected:
  void SetUp() override {
    RunDir::SetUp();
    ASSERT_EQ(openflowAgt_trace_init(), 0);
    words_.emplace();
    of_corvu_state = of_corvu_state_t{};
    of_corvu_state.is_agent = 1;
    of_corvu_state.stage = OFA_STAGE_ACTIVE;
    of_corvu_state.mi_sock = -1;
    openflowAgtPcb.my_slot = 1;
    g_got.clear();
    ASSERT_EQ(of_register_mxl_module(handler), 0);
    agent_path_ = ofa::platform::pq6_path("ofmgragt", 1);
    mp_path_ = ofa::platform::pq6_mp_path("ofmgragt");
    mp_ = bind_dgram(mp_path_);
    ASSERT_GE(mp_, 0);
  }
  void TearDown() override {
    of_mxl_close();
    words_.reset();
    if (mp_ >= 0) close(mp_);
    unlink(mp_path_.c_str());
    openflowAgt_trace_exit();
    evrec_exit();
    RunDir::TearDown();
  }
  std::string log() const { return words_->text(); }
  int receive() { return of_mxl_process_msg(of_corvu_state.mi_sock); }
  std::optional<ofa::test::TraceCapture> words_;
  std::string agent_path_, mp_path_;
  int mp_ = -1;
};

TEST_F(Mxl, RegistrationIsTwelveBytesDoubleEnvelope) {
  EXPECT_EQ(ofa_send_register_msg(), 0);
  uint8_t buf[64];
  sockaddr_un from{};
  socklen_t flen = sizeof from;
  ssize_t n =
      recvfrom(mp_, buf, sizeof buf, MSG_DONTWAIT, reinterpret_cast<sockaddr*>(&from), &flen);
  ASSERT_EQ(n, 12);
  EXPECT_EQ(std::vector<uint8_t>(buf, buf + 12), ofa::test::hex("02C00008 02C00004 00000001"));
  EXPECT_EQ(std::string(from.sun_path), agent_path_);
  EXPECT_EQ(of_corvu_state.mi.tx_ok, 1u);
  EXPECT_NE(log().find("Sent msg type MXL_MSGTYPE_OPENFLOW_LP_REGISTER_EVENT(11) of length 8"),
            std::string::npos);
}

// What waits is taken in one call and handled in arrival order, each with its own source.
TEST_F(Mxl, WaitingDatagramsAreHandledInOneCallInOrder) {
  int lp3 = bind_dgram(ofa::platform::pq6_path("ofmgragt", 3));
  for (uint8_t i = 0; i < 8; ++i)
    send_to(i % 3 == 2 ? lp3 : mp_, agent_path_, {i});
  EXPECT_EQ(receive(), 0);
  close(lp3);
  ASSERT_EQ(g_got.size(), 8u);
  for (uint8_t i = 0; i < 8; ++i) {
    EXPECT_EQ(g_got[i].bytes, std::vector<uint8_t>{i});
    EXPECT_EQ(g_got[i].slot, i % 3 == 2 ? 3u : 0u);
  }
  EXPECT_EQ(of_corvu_state.mi.rx, 8u);
  EXPECT_EQ(openflow_mi_rxsz, 1u);
  EXPECT_EQ(of_corvu_state.mi.msgdone, 0u);  // not on the data path
  EXPECT_EQ(mxl_pending(of_corvu_state.mi_sock), 0u);
  EXPECT_EQ(receive(), 0);  // nothing left: it would block
  EXPECT_EQ(of_corvu_state.mi.rx_eagain, 1u);
}

TEST_F(Mxl, StandbyCountsAndDrops) {
  of_corvu_state.stage = OFA_STAGE_STANDBY;
  send_to(mp_, agent_path_, {1});
  EXPECT_EQ(receive(), 0);
  EXPECT_TRUE(g_got.empty());
  EXPECT_EQ(of_corvu_state.mi.rx, 1u);
  of_corvu_state.stage = OFA_STAGE_UNKNOWN;  // 12 is not Standby: messages pass
  send_to(mp_, agent_path_, {1});
  EXPECT_EQ(receive(), 0);
  EXPECT_EQ(g_got.size(), 1u);
}

TEST_F(Mxl, EmptyDatagramIsEndOfFile) {
  send_to(mp_, agent_path_, {});
  EXPECT_EQ(receive(), -121);
  EXPECT_TRUE(g_got.empty());
  EXPECT_EQ(of_corvu_state.mi.rx_eof, 1u);
  EXPECT_EQ(of_corvu_state.mi.msgdone, 1u);
  EXPECT_NE(log().find("Eof message received"), std::string::npos);
}

TEST_F(Mxl, MissingDestinationReportedLaterThenDataStillReceived) {
  close(mp_);
  mp_ = -1;
  unlink(mp_path_.c_str());
  uint8_t body[8] = {};
  EXPECT_EQ(of_send_mxl_msg(of_corvu_state.mi_sock, 0, body, sizeof body), 0);
  EXPECT_EQ(of_corvu_state.mi.tx_ok, 1u);
  int lp3 = bind_dgram(ofa::platform::pq6_path("ofmgragt", 3));
  send_to(lp3, agent_path_, {7});
  EXPECT_EQ(receive(), 0);
  close(lp3);
  EXPECT_NE(log().find("Invalid PQ6 destination, addr = [am0 ofmgragt]"), std::string::npos);
  ASSERT_EQ(g_got.size(), 1u);
  EXPECT_EQ(g_got[0].slot, 3u);
}

size_t dgram_qlen() {
  std::ifstream f("/proc/sys/net/unix/max_dgram_qlen");
  size_t n = 10;
  f >> n;
  return n;
}

// A queue that stays full: each send past what it holds waits the bound out, then is reported.
TEST_F(Mxl, FullDestinationWaitsBoundedThenHighThreshold) {
  const size_t refused = 20, sends = dgram_qlen() + 1 + refused;
  std::vector<uint8_t> body(2000);
  auto start = std::chrono::steady_clock::now();
  for (size_t i = 0; i < sends; ++i) {
    ASSERT_EQ(of_send_mxl_msg(of_corvu_state.mi_sock, 0, body.data(), body.size()), 0);
  }
  auto spent = std::chrono::steady_clock::now() - start;
  EXPECT_GE(spent, refused * std::chrono::milliseconds(PQ6_FULL_WAIT_MS));
  EXPECT_LT(spent, 10 * sends * std::chrono::milliseconds(PQ6_FULL_WAIT_MS));
  EXPECT_EQ(receive(), 0);
  EXPECT_NE(log().find("PQ6 Destination [am0 ofmgragt] exceeded High threshold"),
            std::string::npos);
  EXPECT_EQ(of_corvu_state.mi.tx_fail, 0u);
}

TEST(MxlSlot, SourceSlotFromAddress) {
  const struct {
    uint16_t mask;
    uint8_t flags;
    uint32_t slot;
  } cases[] = {{0x4, 0x08, 0}, {0x4, 0x04, 0}, {0x4, 0x02, 3}, {0x6, 0, 2},
               {0x400, 0, 11}, {0x800, 0, 0},  {0, 0, 0}};
  for (const auto& c : cases) {
    pq6_addr a{};
    a.family = AF_PQ6;
    a.slot_mask = c.mask;
    a.flags = c.flags;
    uint32_t slot = 99;
    EXPECT_EQ(of_get_mxl_src_slotid(&a, &slot), 0);
    EXPECT_EQ(slot, c.slot) << "mask " << c.mask << " flags " << int(c.flags);
  }
}

}  // namespace
