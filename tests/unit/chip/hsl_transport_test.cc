// The HSL transport: every receive check against a fake peer, the envelope and routing block of a
// request, the status check, the sockets against a run directory without a simulator, and the
// event gates.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <random>
#include <thread>
#include <tuple>

#include "agent/thread.h"
#include "agent/top/rsm.h"
#include "chip/chip_req.h"
#include "chip/nl_module.h"
#include "chip_env.h"
#include "hex.h"
#include "platform/wire.h"
#include "processes.h"

namespace {

using ofa::test::ChipEnv;

// A record: header (length, type, flags 0, seq, pid 0) and `payload` bytes of 0x5A.
std::vector<uint8_t> record(uint32_t length, uint16_t type, uint32_t seq = 1) {
  std::vector<uint8_t> r(std::max<uint32_t>(length, 20), 0x5A);
  ofa::wire::Writer w(r);
  w.u32_at(0, length);
  w.u16_at(4, type);
  w.u16_at(6, 0);
  w.u32_at(8, seq);
  w.u32_at(12, 0);
  return r;
}

std::vector<uint8_t> datagram(const std::vector<uint8_t>& first,
                              const std::vector<uint8_t>& second) {
  std::vector<uint8_t> d = first;
  d.resize((d.size() + 3) / 4 * 4, 0);
  d.insert(d.end(), second.begin(), second.end());
  return d;
}

struct RecvCase {
  std::string name;
  std::vector<uint8_t> bytes;
  int rc;
  std::string words;  // printed
  uint32_t payload = 0;
};
void PrintTo(const RecvCase& c, std::ostream* os) {
  *os << c.name;
}

std::vector<uint8_t> error_record() {
  auto e = record(36, OF_NLMSG_ERROR, 9);
  ofa::wire::Writer w(e);
  w.u32_at(20, static_cast<uint32_t>(-5));
  w.u16_at(28, 203);
  w.u32_at(32, 77);
  return datagram(e, record(20, OF_NLMSG_DONE));
}

std::vector<uint8_t> with_length(std::vector<uint8_t> d, size_t off, uint32_t len) {
  ofa::wire::Writer(d).u32_at(off, len);
  return d;
}

const std::vector<RecvCase> kRecvCases = {
    {"good", datagram(record(60, 203), record(20, OF_NLMSG_DONE)), 0, "", 40},
    {"good_unaligned_first", datagram(record(61, 203), record(20, OF_NLMSG_DONE)), 0, "", 41},
    {"missing_closing_record", record(60, 203), -110,
     "Message length (0) sanity check failed, socket: test"},
    {"closing_record_of_another_type", datagram(record(60, 203), record(20, 3)), -110,
     "Message type is not NLMSG_DONE, socket: test"},
    {"error_record", error_record(), -112,
     "Received error message, error: -5, msg_type: 203, seq: 77, socket: test"},
    {"first_length_below_header", datagram(record(12, 203), record(20, OF_NLMSG_DONE)), -110,
     "Message length (12) sanity check failed, socket: test"},
    {"first_length_past_datagram",
     with_length(datagram(record(60, 203), record(20, OF_NLMSG_DONE)), 0, 500), -110,
     "Message length (500) sanity check failed, socket: test"},
    {"closing_length_past_rest",
     with_length(datagram(record(60, 203), record(20, OF_NLMSG_DONE)), 60, 24), -110,
     "Message length (20) sanity check failed, socket: test"},
    {"closing_record_cut_short", datagram(record(60, 203), std::vector<uint8_t>(8, 0)), -110,
     "Message length (8) sanity check failed, socket: test"},
    {"empty_datagram", {}, -112, "Did not receive anything from socket: test"},
    {"longer_than_the_buffer", datagram(record(600, 203), record(20, OF_NLMSG_DONE)), -110,
     "Received a truncated message from socket: test"},
};

class Receive : public ChipEnv, public ::testing::WithParamInterface<RecvCase> {
 protected:
  void SetUp() override {
    ChipEnv::SetUp();
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM, 0, fds_), 0);
    ofNLSocketInit(&sock_, "test", nullptr);
    sock_.fd = fds_[0];
    ofa::wire::Writer(sock_.addr, sizeof sock_.addr).u32_at(8, 2);
  }
  void TearDown() override {
    close(fds_[0]);
    close(fds_[1]);
    ChipEnv::TearDown();
  }
  int fds_[2] = {-1, -1};
  ofNLSock sock_;
};

TEST_P(Receive, Checks) {
  const RecvCase& c = GetParam();
  ASSERT_EQ(send(fds_[1], c.bytes.data(), c.bytes.size(), 0), static_cast<ssize_t>(c.bytes.size()));
  std::array<uint8_t, 512> buf{};
  uint8_t* p = buf.data();
  uint32_t size = buf.size();
  uint32_t seq = 0;
  uint16_t type = 0;
  int rc = 0;
  std::string out = printed([&] { rc = ofNLRecvMsgBlock(&sock_, &p, &size, &seq, &type); });
  EXPECT_EQ(rc, c.rc);
  EXPECT_NE(out.find(c.words), std::string::npos) << out;
  if (rc == 0) {  // the payload behind the header, its size, type and sequence
    EXPECT_EQ(std::tuple(p - buf.data(), size, type, seq), std::tuple(20, c.payload, 203, 1u));
  }
}

INSTANTIATE_TEST_SUITE_P(Datagrams, Receive, ::testing::ValuesIn(kRecvCases),
                         [](const auto& info) { return info.param.name; });

TEST_F(Receive, MutatedDatagramsAreRefusedOrReadWithinThemselves) {
  std::mt19937 rng(4242);
  auto good = datagram(record(60, 203), record(20, OF_NLMSG_DONE));
  std::array<uint8_t, 512> buf{};
  for (int i = 0; i < 500; ++i) {
    std::vector<uint8_t> d = good;
    d.resize(rng() % 130);
    for (int k = rng() % 6; k > 0 && !d.empty(); --k)
      d[rng() % d.size()] = static_cast<uint8_t>(rng());
    send(fds_[1], d.data(), d.size(), 0);
    uint8_t* p = buf.data();
    uint32_t size = buf.size();
    uint16_t type = 0;
    int rc = ofNLRecvMsgBlock(&sock_, &p, &size, nullptr, &type);
    ASSERT_TRUE(rc == 0 || rc == -110 || rc == -112) << rc;
    if (rc == 0) {
      EXPECT_LE(size + 20, d.size());
    }
  }
}

// ---- requests -----------------------------------------------------------------------------

class Ioctl : public ChipEnv {};

TEST_F(Ioctl, EnvelopeAndRoutingBlockOverARealSocket) {
  int fds[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, fds), 0);
  ofNLSetIoctlHook(nullptr);
  ofHslCmdSock.fd = fds[0];
  ofHslCmdSock.seq = 41;
  std::vector<uint8_t> seen;
  std::thread peer([&] {
    std::array<uint8_t, 4096> in{};
    ssize_t n = recv(fds[1], in.data(), in.size(), 0);
    seen.assign(in.begin(), in.begin() + std::max<ssize_t>(n, 0));
    // First a late answer to an older exchange (sequence 41, a refusal), to be skipped.
    std::vector<uint8_t> stale = seen;
    ofa::wire::Writer(stale).u32_at(8, 41);
    ofa::wire::Writer(stale).u32_at(72, static_cast<uint32_t>(-9));
    send(fds[1], stale.data(), stale.size(), 0);
    std::vector<uint8_t> reply = seen;
    ofa::wire::Writer(reply).u32_at(48 + 28, 0xCAFE);  // the chip's answer in place
    send(fds[1], reply.data(), reply.size(), 0);
  });
  uint32_t len = of_build_region_del_all(ofNLReqArea(), 23);
  uint32_t rsp = 0x44;
  EXPECT_EQ(ofCosIoctl(0x84400000, nullptr, len, nullptr, &rsp), 0);
  peer.join();
  // Envelope (length, type 203, flags, sequence, pid), routing block (target, kind 0, class 16,
  // request and reply sizes), then the request.
  EXPECT_EQ(seen, ofa::test::hex("00000054 00CB0000 0000002A 00000000 00000000 84400000 00000000"
                                 "00000010 00000000 00000000 00000040 00000044 07270229 00000000"
                                 "00000024 00000024 00000000 00000000 00000000 17C00000 00000000"));
  EXPECT_EQ(ofa::wire::Reader(ofNLReqArea()).u32_at(28), 0xCAFEu);  // reply read in place
  EXPECT_EQ(ofHslCmdSock.seq, 42u);
  // The peer goes away: the next request is not sent.
  close(fds[1]);
  std::string out = printed([&] { EXPECT_EQ(ofCosIoctl(1, nullptr, len, nullptr, &rsp), -111); });
  EXPECT_NE(out.find("sendmsg failed for ofCosIoctl cmd 119996969"), std::string::npos) << out;
  close(fds[0]);
  ofHslCmdSock.fd = -1;
}

TEST_F(Ioctl, ChipRefusalIsMinus106) {
  hsl().fail = {0};
  hsl().fail_status = -22;
  uint32_t len = of_build_mgid_del(ofNLReqArea(), 1);
  std::string out =
      printed([&] { EXPECT_EQ(ofCosIoctl(1, nullptr, len, nullptr, nullptr), -106); });
  EXPECT_NE(out.find("Ioctl failed with error -22"), std::string::npos);
  EXPECT_NE(out.find("sendmsg failed for ofCosIoctl cmd 86441994"), std::string::npos);
}

TEST_F(Ioctl, RequestLargerThanTheBufferIsNeverSent) {
  EXPECT_EQ(ofCosIoctl(1, nullptr, OF_NL_MAX_REQUEST + 4, nullptr, nullptr), -111);
  EXPECT_TRUE(hsl().requests.empty());
  EXPECT_EQ(ofCosIoctl(1, nullptr, OF_NL_MAX_REQUEST, nullptr, nullptr), 0);
}

TEST_F(Ioctl, DceRequestReadsNoStatusAndPacketOutWithoutSocketFails) {
  std::array<uint8_t, OF_NL_MSG_BUF_SIZE> buf{};
  of_cos_hdr_init(std::span<uint8_t>(buf).subspan(48), 0x1234, 28, 28);
  hsl().fail = {0};
  EXPECT_EQ(ofDceIoctl(7, buf, 28), 0);
  ASSERT_EQ(hsl().requests.size(), 1u);
  EXPECT_EQ(ofa::wire::Reader(buf).u32_at(24), 1u);  // kind DCE
  EXPECT_EQ(ofa::wire::Reader(buf).u32_at(44), 28u);
  uint8_t data[4] = {1, 2, 3, 4};
  std::string out = printed([&] { EXPECT_EQ(ofSendPktOut(1, data, 4), -111); });
  EXPECT_NE(out.find("Failed to send msg to netlink socket"), std::string::npos);
}

// ---- sockets -----------------------------------------------------------------------------

class Sockets : public ChipEnv {
 protected:
  void SetUp() override {
    ChipEnv::SetUp();
    dir_ = std::filesystem::temp_directory_path() / ("ofa-chip-test-" + std::to_string(getpid()));
    std::filesystem::create_directories(dir_);
    setenv("OFA_RUN_DIR", dir_.c_str(), 1);
  }
  void TearDown() override {
    for (ofNLSock* s : {&ofHslEventSock, &ofHslCmdSock})
      if (s->fd >= 0) ofNLClose(s);
    unsetenv("OFA_RUN_DIR");
    std::filesystem::remove_all(dir_);
    ChipEnv::TearDown();
  }
  std::filesystem::path dir_;
};

TEST_F(Sockets, WithoutTheSimulatorTheCommandSocketFailsAsSocketFailure) {
  openflowAgtPcb.lib = lib_create("chip-test");
  openflowAgtPcb.lib->master = thread_master_create();
  of_corvu_state.is_agent = 1;
  int rc = 0;
  std::string out = printed([&] { rc = ofNLInit(); });
  EXPECT_EQ(rc, -112);
  EXPECT_NE(out.find("Unable to bind netlink socket"), std::string::npos);
  EXPECT_NE(out.find("socket: ofHslCmd"), std::string::npos);
  EXPECT_GE(ofHslEventSock.fd, 0);
  EXPECT_NE(ofHslEventSock.read_thread, nullptr);
  EXPECT_EQ(ofHslCmdSock.fd, -1);
  // A datagram on the event path wakes the reader, which arms itself again after the failed
  // checks.
  int tx = socket(AF_UNIX, SOCK_DGRAM, 0);
  ASSERT_TRUE(ofa::test::send_to(tx, dir_ / "hsl" / "event.1", record(60, 203)));
  close(tx);
  thread t{};
  ASSERT_NE(thread_fetch(openflowAgtPcb.lib, &t), nullptr);
  out = printed([&] { thread_call(&t); });
  EXPECT_NE(out.find("sanity check failed, socket: ofHslEvent"), std::string::npos);
  EXPECT_NE(ofHslEventSock.read_thread, nullptr);
  EXPECT_EQ(ofNLClose(&ofHslEventSock), 0);
  EXPECT_EQ(ofHslEventSock.read_thread, nullptr);
  lib_stop(openflowAgtPcb.lib);
  openflowAgtPcb.lib = nullptr;
}

TEST_F(Sockets, BadArguments) {
  std::string out = printed([] {
    EXPECT_EQ(ofNLSocket(nullptr, 1), -125);
    ofNLSock s;
    s.fd = 5;
    EXPECT_EQ(ofNLSocket(&s, 1), -125);
    s.fd = -1;
    ofNLSocketInit(&s, "x", nullptr);
    EXPECT_EQ(ofNLSocket(&s, 9), -125);
    EXPECT_EQ(ofNLClose(&s), -125);
    EXPECT_EQ(ofNLClose(nullptr), -125);
  });
  EXPECT_NE(out.find("Passed NULL socket for socket type: 1"), std::string::npos);
  EXPECT_NE(out.find("sockId is not -1 (but 5), for socket type: 1"), std::string::npos);
  EXPECT_NE(out.find("Unknown client type (9) for socket: x"), std::string::npos);
  EXPECT_NE(out.find("Invalid sock fd (-1) in socket: x"), std::string::npos);
  EXPECT_NE(out.find("NULL sockp for close"), std::string::npos);
  uint32_t size = 0;
  ofNLSock s;
  ofNLSocketInit(&s, "a-name-longer-than-thirty-two-bytes-for-sure", &size);
  EXPECT_EQ(size, 20u);
  EXPECT_EQ(std::string(s.name).size(), 31u);
}

// ---- events ------------------------------------------------------------------------------

class Events : public ChipEnv {
 protected:
  void SetUp() override {
    ChipEnv::SetUp();
    ofa::test::register_with_stage_driver();
    openflowRsmRecover(1002);  // a cold start: events pass
  }
  static std::vector<uint8_t> event(uint32_t cls, uint32_t ev, uint32_t slot, size_t size = 512) {
    std::vector<uint8_t> p(size, 0);
    ofa::wire::Writer w(p);
    w.u32_at(8, cls);
    if (ev == OF_HSL_EVENT_CHIP_UP || ev == OF_HSL_EVENT_CHIP_DOWN) {
      of_chip_event_record rec;
      rec.event = ev;
      rec.slot = slot;
      rec.ifindex = ofa::platform::chip_ifindex(slot, 0);
      std::vector<uint8_t> raw(OF_CHIP_EVENT_RECORD_SIZE);
      of_chip_event_encode(rec, raw);
      std::copy_n(raw.begin(), std::min(raw.size(), p.size() - 28), p.begin() + 28);
    } else {
      w.u32_at(28, ev);
      w.u32_at(32, slot);
    }
    return p;
  }
  static int deliver(std::vector<uint8_t> p) {
    return ofProcessHslEvent(p.data(), static_cast<uint32_t>(p.size()), 0, 203);
  }
};

TEST_F(Events, ChipAndSlotEventsReachTheTables) {
  EXPECT_EQ(deliver(event(2, OF_HSL_EVENT_CHIP_UP, 1)), 0);
  ASSERT_NE(ofLookupChip(0), nullptr);
  EXPECT_EQ(hsl().requests.size(), 10u);                         // cold: no delete first
  EXPECT_EQ(deliver(event(2, OF_HSL_EVENT_SLOT_UP, 0x301)), 0);  // the low byte is the slot
  EXPECT_EQ(ofLookupSlot(1)->state, 1u);
  EXPECT_EQ(deliver(event(2, OF_HSL_EVENT_SLOT_DOWN, 1)), 0);
  EXPECT_EQ(ofLookupSlot(1)->state, 0u);
  ofa::test::TraceCapture words;
  deliver(event(2, OF_HSL_EVENT_CHIP_DOWN, 1));
  deliver(event(2, 7, 1));
  deliver(event(2, 42, 1));
  EXPECT_TRUE(words.has("Ignoring chip down for chip 1/0"));
  EXPECT_TRUE(words.has("Unknown event 42 from HSL"));
  EXPECT_FALSE(words.has("Unknown event 7"));
  EXPECT_NE(ofLookupChip(0), nullptr);
}

TEST_F(Events, ShortChipRecordIsReadZeroFilled) {
  EXPECT_EQ(deliver(event(2, OF_HSL_EVENT_CHIP_UP, 1, 28 + 24)), 0);
  EXPECT_NE(ofLookupChip(0), nullptr);
  EXPECT_EQ(deliver(std::vector<uint8_t>(16, 0)), 0);  // too short even for the class
  // A slot event that ends before its slot word acts on no slot.
  std::string out = printed([&] { deliver(event(2, OF_HSL_EVENT_SLOT_UP, 0, 32)); });
  EXPECT_NE(out.find("HSL event too short (32 bytes), dropped"), std::string::npos);
  EXPECT_EQ(ofLookupSlot(0)->state, 0u);
}

// An event of another class, or any event while standby.
TEST_F(Events, GatesDropEverything) {
  for (bool standby : {false, true}) {
    SetUp();
    if (standby) of_corvu_state.stage = OFA_STAGE_STANDBY;
    std::string out =
        printed([&] { EXPECT_EQ(deliver(event(standby ? 2 : 3, OF_HSL_EVENT_CHIP_UP, 1)), 0); });
    EXPECT_EQ(ofLookupChip(0), nullptr) << standby;
    EXPECT_TRUE(hsl().requests.empty()) << standby;
    EXPECT_EQ(out.find("Received Chip Up"), std::string::npos) << standby;
  }
  // Registration failed: the handle is -1, and a cold start does not open the gate.
  ofa::test::reset_agent();
  openflowRsmRecover(1002);
  EXPECT_EQ(openflowRsmHandleGet(), -1);
  EXPECT_EQ(deliver(event(2, OF_HSL_EVENT_CHIP_UP, 1)), 0);
  EXPECT_EQ(ofLookupChip(0), nullptr);
}

}  // namespace
