// Every scenario under examples/scenarios reads without error, so the demo and the docs never
// drift from the syntax.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "scenario.h"

namespace ofa::mgr {
namespace {

TEST(ExampleScenarios, AllParse) {
  size_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(OFA_SCENARIOS)) {
    if (entry.path().extension() != ".scn") continue;
    std::ifstream in(entry.path());
    std::stringstream text;
    text << in.rdbuf();
    auto sc = parse_scenario(text.str(), entry.path().filename().string(), {});
    ASSERT_TRUE(sc.ok()) << sc.error();
    EXPECT_FALSE(sc.value().steps.empty()) << entry.path();
    ++files;
  }
  EXPECT_GE(files, 2u);
}

}  // namespace
}  // namespace ofa::mgr
