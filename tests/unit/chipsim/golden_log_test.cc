// An ard chip up and two flows, byte for byte against golden files: the request log, the dump and
// the aligned `show` text are read by tests and people, so a change of their form must be
// deliberate (OFA_UPDATE_GOLDEN=1 rewrites them).
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

#include "chipsim_test_util.h"
#include "model/show.h"
#include "processes.h"

namespace ofa::chipsim::test {
namespace {

// The six regions and four default entries with default action 0 (drop), as a freshly started
// agent sends them before the manager has configured anything; then two flows, the second placed
// before the first, so that chip order differs from handle order.
std::vector<Req> ard_chip_up() {
  return {
      region_add(10, 10, 24, 2, 4), region_add(10, 20, 4072, 254, 16), region_add(10, 30, 24, 1, 4),
      region_add(23, 10, 24, 0, 4), region_add(23, 20, 4072, 254, 16), region_add(23, 30, 24, 1, 4),
      l2_add(1, 30, 0, 0).u32(96, 0xFFE01).u32(112, 0x2).u8(160, 2).u32(164, 0x1),
      l2_add(1, 10, 0, 0).u16(56, 8188).u32(112, (0x1FFCu << 18) | 0x100).u8(160, 3).u32(164, 1),
      l2_add(2, 10, 0, 0).u16(56, 8187).u32(112, (0x1FFFu << 18) | 0x100).u8(160, 3).u32(164, 1),
      flow_add(true, 1, 30, 0, 0).u32(104, 0xFFE02).u32(116, 0x4).u8(168, 3).u32(184, 0x200),
      // And one refused request: a region made twice.
      region_add(10, 10, 24, 2, 4), l2_add(7, 20, 0, 0), l2_add(9, 20, 7, 0)};
}

void expect_golden(const std::string& name, const std::string& text) {
  std::string path = std::string(OFA_CHIPSIM_GOLDEN) + "/" + name;
  if (const char* u = std::getenv("OFA_UPDATE_GOLDEN"); u && std::string(u) == "1") {
    std::ofstream(path) << text;
    return;
  }
  EXPECT_EQ(text, ofa::test::read_file(path)) << path;
}

TEST(Golden, ArdChipUpLogDumpAndShow) {
  ModelConfig cfg = config(Family::ard);
  cfg.chips.push_back({2, 1, 7});  // a chip without regions
  Model m(cfg);
  std::string log;
  for (const Req& r : ard_chip_up())
    log += call(m, r.b).log + "\n";
  expect_golden("ard_chip_up.jsonl", log);
  expect_golden("ard_chip_up.dump.json", m.dump_json() + "\n");
  expect_golden("ard_chip_up.show.txt", show_text(m));
}

}  // namespace
}  // namespace ofa::chipsim::test
