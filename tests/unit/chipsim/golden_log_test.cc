// The request log of an ard chip up, byte for byte against a golden file: the log is read by
// tests and people, so a change of its form must be deliberate (OFA_UPDATE_GOLDEN=1 rewrites it).
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "chipsim_test_util.h"

namespace ofa::chipsim::test {
namespace {

// The six regions and four default entries with default action 0 (drop), as a freshly started
// agent sends them before the manager has configured anything.
std::vector<Req> ard_chip_up() {
  return {
      region_add(10, 10, 24, 2, 4), region_add(10, 20, 4072, 254, 16), region_add(10, 30, 24, 1, 4),
      region_add(23, 10, 24, 0, 4), region_add(23, 20, 4072, 254, 16), region_add(23, 30, 24, 1, 4),
      l2_add(1, 30, 0, 0).u32(96, 0xFFE01).u32(112, 0x2).u8(160, 2).u32(164, 0x1),
      l2_add(1, 10, 0, 0).u16(56, 8188).u32(112, (0x1FFCu << 18) | 0x100).u8(160, 3).u32(164, 1),
      l2_add(2, 10, 0, 0).u16(56, 8187).u32(112, (0x1FFFu << 18) | 0x100).u8(160, 3).u32(164, 1),
      l3_add(1, 30, 0, 0).u32(104, 0xFFE02).u32(116, 0x4).u8(168, 3).u32(184, 0x200),
      // And one refused request: a region made twice.
      region_add(10, 10, 24, 2, 4)};
}

TEST(GoldenLog, ArdChipUp) {
  Model m(config(Family::ard));
  std::string log;
  m.set_request_log([&log](const std::string& line) { log += line + "\n"; });
  std::vector<uint8_t> buf(kMaxMessage);
  for (const Req& r : ard_chip_up()) {
    auto msg = message(kChip, r.b);
    std::fill(buf.begin(), buf.end(), 0);
    std::copy(msg.begin(), msg.end(), buf.begin());
    m.ioctl(buf, msg.size());
  }
  std::string path = std::string(OFA_CHIPSIM_GOLDEN) + "/ard_chip_up.jsonl";
  if (const char* u = std::getenv("OFA_UPDATE_GOLDEN"); u && std::string(u) == "1") {
    std::ofstream(path) << log;
    GTEST_SKIP() << "rewrote " << path;
  }
  std::ifstream in(path);
  ASSERT_TRUE(in) << path;
  std::stringstream golden;
  golden << in.rdbuf();
  EXPECT_EQ(log, golden.str());
}

}  // namespace
}  // namespace ofa::chipsim::test
