// Test support for the chip layer: the agent globals of an `ard` LP in slot 1, a fake HSL that
// answers ioctls in process (recording each request and failing the ones asked for), and the
// capture of the agent's printed words.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "adapter/chip_up.h"
#include "agent/agent_globals.h"
#include "agent/trace.h"
#include "chip/chip_table.h"
#include "chip/hsl_transport.h"
#include "chip/if_table.h"
#include "platform/ifindex.h"
#include "platform/platform_file.h"
#include "platform/system.h"
#include "platform/wire.h"

namespace chiptest {

struct Request {
  uint32_t target = 0;
  uint32_t command = 0;
  std::vector<uint8_t> bytes;  // the request from its command word, `size` bytes
};

struct FakeHsl {
  std::vector<Request> requests;
  std::set<size_t> fail;  // indexes of requests answered with status -5
  int32_t fail_status = -5;
  bool dead = false;  // the exchange itself fails (no simulator)
  // Called after a request is recorded, to write a reply into the request area.
  void (*reply)(size_t index, std::span<uint8_t> area) = nullptr;
};

inline FakeHsl& fake() {
  static FakeHsl f;
  return f;
}

inline int fake_ioctl(int, uint8_t* buf, uint32_t len, uint32_t cap) {
  FakeHsl& f = fake();
  if (f.dead) return -1;
  ofa::wire::Reader r(buf, cap);
  Request q;
  q.target = r.u32_at(20);
  q.command = r.u32_at(48);
  uint32_t size = len > OF_NL_REQ_OFFSET ? len - OF_NL_REQ_OFFSET : 0;
  q.bytes.assign(buf + OF_NL_REQ_OFFSET, buf + OF_NL_REQ_OFFSET + size);
  size_t index = f.requests.size();
  f.requests.push_back(std::move(q));
  std::span<uint8_t> area(buf + OF_NL_REQ_OFFSET, cap - OF_NL_REQ_OFFSET);
  if (f.reply) f.reply(index, area);
  ofa::wire::Writer w(buf, cap);
  w.u32_at(OF_NL_STATUS_OFFSET, f.fail.count(index) ? static_cast<uint32_t>(f.fail_status) : 0u);
  return 0;
}

inline uint32_t word(const Request& q, size_t off) {
  return ofa::wire::Reader(q.bytes.data(), q.bytes.size()).u32_at(off);
}
inline uint32_t byte(const Request& q, size_t off) {
  return ofa::wire::Reader(q.bytes.data(), q.bytes.size()).u8_at(off);
}

// A platform with `chips` chips in slot 1 (ports 1-24 on chip 0, 25-48 on chip 1, ...) and one
// remote chip in slot 2.
inline ofa::platform::Platform test_platform(int chips = 1) {
  std::string text =
      "[switch]\nmodel = 131\nhw_profile = 7\nl2_tcam_size = 2048\nl3_tcam_size = 2048\n"
      "my_slot = 1\n[ports]\ncount = 96\n[slot 1]\n";
  for (int c = 0; c < chips; ++c)
    text += "chip." + std::to_string(c) + ".type = 1\nchip." + std::to_string(c) +
            ".ports = " + std::to_string(1 + 24 * c) + "-" + std::to_string(24 + 24 * c) + "\n";
  text += "[slot 2]\nchip.0.type = 1\nchip.0.ports = 1-48\n";
  auto parsed = ofa::platform::parse_platform(text, "test");
  if (auto* err = std::get_if<ofa::platform::ParseError>(&parsed)) {
    ADD_FAILURE() << err->message;
    return {};
  }
  return std::get<ofa::platform::Platform>(parsed);
}

// Agent globals of an `ard` LP, empty tables, the fake HSL, the chip-up callbacks of module 2.
class ChipEnv : public ::testing::Test {
 protected:
  void SetUp() override { Reset(1); }
  void TearDown() override {
    ofResetIfTable();
    ofResetChipTables();
    ofNLSetIoctlHook(nullptr);
    for (auto& m : openflow_modules)
      m = openflow_module{};
    debugOpenflow = 0;
  }

  void Reset(int chips, uint32_t model = 131) {
    ofResetIfTable();
    ofResetChipTables();
    ofa_sys_set(test_platform(chips));
    openflowAgtPcb.model = model;
    openflowAgtPcb.my_slot = 1;
    openflowAgtPcb.hw = ofa_hw_resources{};
    openflowAgtPcb.hw.of_flags = OF_PROFILE;
    openflowAgtPcb.hw.l2tcam_size = 2048;
    openflowAgtPcb.hw.l3tcam_size = 2048;
    g_openflow_lp.default_action = 0;
    ofInitSlotTable();
    ofInitChipTable();
    ofInitIfTable();
    for (auto& m : openflow_modules)
      m = openflow_module{};
    openflow_modules[OF_MODULE_AGT].chip_up = ofa_chip_up;
    openflow_modules[OF_MODULE_AGT].chip_warm_up = ofa_region_del;
    fake() = FakeHsl{};
    ofNLSetIoctlHook(fake_ioctl);
    debugOpenflow = 0;
  }

  static of_chip_event_record chip_rec(uint32_t slot, uint32_t local) {
    of_chip_event_record rec;
    rec.event = OF_HSL_EVENT_CHIP_UP;
    rec.slot = slot;
    rec.local_chip_id = local;
    rec.flat_chip_id = static_cast<uint32_t>(ofa_sys_platform().flat_chip_id(slot, local));
    rec.ifindex = ofa::platform::chip_ifindex(slot, local);
    rec.chip_type = 1;
    return rec;
  }

  // Runs fn with the console sink on and returns what it printed.
  template <typename Fn>
  static std::string printed(Fn fn) {
    debugOpenflow = OFA_DEBUG_CONSOLE;
    ::testing::internal::CaptureStdout();
    fn();
    std::string out = ::testing::internal::GetCapturedStdout();
    debugOpenflow = 0;
    return out;
  }

  static std::vector<uint32_t> commands() {
    std::vector<uint32_t> out;
    for (const auto& q : fake().requests)
      out.push_back(q.command);
    return out;
  }
};

}  // namespace chiptest
