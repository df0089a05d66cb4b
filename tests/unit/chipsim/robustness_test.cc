// The model survives random and mutated requests and keeps its tables consistent.
#include <gtest/gtest.h>

#include <random>

#include "chipsim_test_util.h"
#include "model/commands.h"

namespace ofa::chipsim::test {
namespace {

class Fuzzer {
 public:
  Fuzzer(Model& m, uint32_t seed) : m_(m), rng_(seed) {}

  uint32_t pick(uint32_t n) { return std::uniform_int_distribution<uint32_t>(0, n - 1)(rng_); }

  // A request that is well-formed more often than not, so that the tables fill.
  Req plausible() {
    static const uint8_t kRegions[] = {10, 20, 30};
    uint8_t region = kRegions[pick(3)];
    bool l3 = pick(2);
    switch (pick(12)) {
      case 0:
        return region_add(l3 ? 23 : 10, region, pick(40), pick(8), pick(20));
      case 1:
        if (pick(8) != 0) return region_add(l3 ? 23 : 10, region, 8 + pick(40), pick(8), pick(20));
        return Req(0x07270229, 36).u32(28, ((l3 ? 23u : 10u) << 24) | 0x00C00000u);
      case 2:
      case 3:
      case 4: {
        // Neighbours from the current order most of the time.
        auto h = order(m_, l3 ? 23 : 10, region);
        uint32_t after = 0, before = 0;
        if (!h.empty() && pick(4) != 0) {
          size_t i = pick(static_cast<uint32_t>(h.size() + 1));
          after = i > 0 ? h[i - 1] : 0;
          before = i < h.size() ? h[i] : 0;
        } else if (!h.empty()) {
          after = h[pick(static_cast<uint32_t>(h.size()))];
        }
        uint32_t handle = 1 + pick(60);
        return l3 ? l3_add(handle, region, before, after) : l2_add(handle, region, before, after);
      }
      case 5:
        return flow_del(l3, 1 + pick(60), region);
      case 6:
        return Req(l3 ? 0x072700B9 : 0x07270051, l3 ? 80 : 84)
            .u32(28, 1 + pick(60))
            .u8(32, region)
            .u8(33, 1);
      case 7: {
        uint32_t n = pick(4);
        Req r(0x05270008, 36 + 20 + 4 * n);
        r.u32(28, pick(10))
            .u32(32, 1)
            .u32(36, 0xFFFFFFFFu)
            .u8(48, 1)
            .u16(50, static_cast<uint16_t>(n));
        return r;
      }
      case 8:
        return Req(0x0427180C, 56)
            .u32(28, pick(10))
            .u8(33, 1)
            .u8(34, 1)
            .u8(35, m_.family() == Family::zim ? 1 : 0);
      case 9:
        return Req(0x09270002, 88).u32(28, 0x80000000u).u32(76, pick(4) << 28).u32(80, pick(10));
      case 10: {
        // A container of plausible sub-requests (which may be containers themselves).
        Req b(0x00070000, 36);
        for (uint32_t i = 0, n = 1 + pick(4); i < n && b.b.size() < 3000; ++i) {
          Req sub = pick(3) ? plausible()
                            : Req(0x09270003, 36).u32(28, 1).u32(32, (pick(2) << 28) | pick(10));
          if (b.b.size() + sub.b.size() < 4000) b.sub(sub);
        }
        return b;
      }
      default: {
        // Any command, any length, random body.
        auto cmds = all_commands();
        uint32_t len = 28 + 4 * pick(80);
        Req r(cmds[pick(static_cast<uint32_t>(cmds.size()))].code, len,
              pick(3) ? len : 4 * pick(600));
        for (size_t i = 28; i < len; ++i)
          r.b[i] = static_cast<uint8_t>(pick(4) ? 0 : pick(256));
        return r;
      }
    }
  }

  // The message of one ioctl, mutated in one of several ways.
  std::vector<uint8_t> message_for(const Req& r) {
    uint32_t target = pick(10) ? kChip : pick(0x10000000) | 0x80000000u;
    auto msg = message(target, r.b);
    switch (pick(6)) {
      case 0: {  // flip a few bytes anywhere
        for (uint32_t i = 0, n = 1 + pick(6); i < n; ++i)
          msg[pick(static_cast<uint32_t>(msg.size()))] ^= static_cast<uint8_t>(1 + pick(255));
        break;
      }
      case 1:  // cut the message
        msg.resize(pick(static_cast<uint32_t>(msg.size())));
        break;
      case 2:  // a lying length word in the request
        if (msg.size() >= 60) wire::Writer(msg).u32_at(48 + 8 + 4 * pick(2), pick(5000));
        break;
      default:
        break;
    }
    return msg;
  }

  Model& m_;
  std::mt19937 rng_;
};

class Robustness : public ::testing::TestWithParam<Family> {};

TEST_P(Robustness, SurvivesRandomAndMutatedRequests) {
  ModelConfig cfg = config(GetParam(), 64);
  cfg.chips.push_back({2, 3, 1});
  Model m(cfg);
  Fuzzer fz(m, 20261122);
  size_t errors_logged = 0;
  m.set_error_log([&](const std::string&) { ++errors_logged; });
  constexpr int kRequests = 4000;
  std::vector<uint8_t> buf(kMaxMessage);
  size_t most_entries = 0;
  auto entries = [&] {
    size_t n = 0;
    for (const auto& [ifx, c] : m.chips())
      for (const auto& [k, r] : c.regions)
        n += r.entries.size();
    return n;
  };
  for (int i = 0; i < kRequests; ++i) {
    auto msg = fz.message_for(fz.plausible());
    std::fill(buf.begin(), buf.end(), 0);
    size_t n = std::min(msg.size(), buf.size());
    std::copy_n(msg.begin(), n, buf.begin());
    size_t answer = m.ioctl(buf, n);
    ASSERT_LE(answer, kMaxMessage);
    ASSERT_GE(answer, std::min<size_t>(76, buf.size()));
    if (i % 100 == 0) most_entries = std::max(most_entries, entries());
    if (i % 500 == 0) {
      auto bad = check_invariants(m);
      ASSERT_TRUE(bad.empty()) << "after " << i << ": " << bad.front();
    }
  }
  auto bad = check_invariants(m);
  EXPECT_TRUE(bad.empty()) << (bad.empty() ? "" : bad.front());
  const Stats& s = m.stats();
  EXPECT_EQ(s.messages, static_cast<uint64_t>(kRequests));
  // Every refusal drew a log line, and some requests of each kind went through.
  EXPECT_EQ(errors_logged, s.errors);
  EXPECT_GT(s.errors, 0u);
  EXPECT_GT(s.requests - s.errors, 500u);
  EXPECT_GT(most_entries, 10u);
  // Its dump stays printable JSON of balanced brackets.
  std::string dump = m.dump_json();
  EXPECT_EQ(std::count(dump.begin(), dump.end(), '{'), std::count(dump.begin(), dump.end(), '}'));
}

INSTANTIATE_TEST_SUITE_P(AllFamilies, Robustness,
                         ::testing::Values(Family::ard, Family::ard2, Family::zim),
                         [](const auto& info) { return std::string(family_name(info.param)); });

}  // namespace
}  // namespace ofa::chipsim::test
