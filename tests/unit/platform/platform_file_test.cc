#include "platform/platform_file.h"

#include <gtest/gtest.h>

#include <ostream>

#include <cstdlib>
#include <string>
#include <tuple>

#include "hex.h"

namespace {

using namespace ofa::platform;

// The platform of a result that must be one; a refusal fails the test with its message.
Platform accepted(const ParseResult& r) {
  if (auto* e = std::get_if<ParseError>(&r)) ADD_FAILURE() << e->message;
  return std::get_if<Platform>(&r) ? std::get<Platform>(r) : Platform{};
}

Platform parse_ok(std::string_view text) {
  return accepted(parse_platform(text, "t.conf"));
}

TEST(PlatformFile, DefaultIsOneArdSwitchWithOneChip) {
  Platform p = parse_ok(default_platform_text());
  EXPECT_EQ(std::make_tuple(p.model, p.hw_profile, p.my_slot, p.boot, p.slots.size(), p.phy_ports),
            std::make_tuple(131u, 7u, 1u, BootMode::cold, size_t{1}, 48u));
  ASSERT_EQ(p.slots[0].chips.size(), 1u);
  EXPECT_EQ(p.slots[0].chips[0].ports.size(), 48u);
  EXPECT_EQ(p.port_name(7), "ethernet1/7");
}

TEST(PlatformFile, ChipsPortsAndNames) {
  Platform p = parse_ok(R"(
[switch]
model = 1004   # zim
my_slot = 2
boot = warm
[ports]
count = 0x20
name.5 = uplink5
[slot 2]
chip.1.type = 7
chip.1.ports = 17-20, 3
chip.0.ports = 1-2
[slot 0]
chip.0.type = 1
)");
  EXPECT_EQ(std::make_tuple(p.boot, p.phy_ports, p.port_name(5), p.port_name(6)),
            std::make_tuple(BootMode::warm, 32u, "uplink5", "ethernet2/6"));
  // Sorted slots, chips and ports, and the chip of each port: the parser fuzzer's invariants.
  ASSERT_EQ(p.slots.size(), 2u);
  ASSERT_EQ(p.slots[1].chips.size(), 2u);
  EXPECT_EQ(p.slots[1].chips[1].ports, (std::vector<uint32_t>{3, 17, 18, 19, 20}));
  EXPECT_EQ(p.chip_for_port(2, 4), nullptr);
  EXPECT_EQ(slot_parameters(p, 2), (std::vector<uint32_t>{2, 2, 0, 0, 7, 1}));
}

TEST(PlatformFile, ResourceRecordWordsAtTheirOffsets) {
  Platform p = parse_ok(default_platform_text());
  // Two limits at 52, then the MGID, IIVID and policer ranges from 96.
  EXPECT_EQ(resource_record(p),
            ofa::test::sparse(128,
                              "52: 00001000 00001000 | "
                              "96: 00001F40 0000233A 00001C00 00001FFA 00000001 00000F78"));
}

struct BadCase {
  const char* name;
  const char* text;
  const char* error;
};
void PrintTo(const BadCase& c, std::ostream* os) {
  *os << c.name;
}

// Slots 0 to 2 with 32 chips each, then the 97th chip, on line 103.
const std::string kNinetySevenChips = [] {
  std::string t = "[switch]\nmodel = 131\n";
  for (int slot = 0; slot < 3; ++slot) {
    t += "[slot " + std::to_string(slot) + "]\n";
    for (int c = 0; c < 32; ++c)
      t += "chip." + std::to_string(c) + ".type = 1\n";
  }
  return t + "[slot 3]\nchip.0.type = 1\n";
}();

class PlatformFileErrors : public ::testing::TestWithParam<BadCase> {};

TEST_P(PlatformFileErrors, NamesFileLineAndReason) {
  auto r = parse_platform(GetParam().text, "bad.conf");
  auto* e = std::get_if<ParseError>(&r);
  ASSERT_NE(e, nullptr) << "accepted: " << GetParam().text;
  EXPECT_EQ(e->message, GetParam().error);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, PlatformFileErrors,
    ::testing::Values(
        BadCase{"OutsideSection", "model = 1\n", "bad.conf:1: 'model' outside any section"},
        BadCase{"NoEquals", "[switch]\nmodel 131\n",
                "bad.conf:2: expected 'key = value' or '[section]'"},
        BadCase{"NotANumber", "[switch]\nmodel = abc\n",
                "bad.conf:2: 'model' needs a number, not 'abc'"},
        BadCase{"MissingValue", "[switch]\nmodel = \n", "bad.conf:2: missing value for 'model'"},
        BadCase{"DuplicateKey", "[switch]\nmodel = 1\nmodel = 2\n",
                "bad.conf:3: duplicate key 'model'"},
        BadCase{"DuplicateChipKeyWrittenTwoWays", "[slot 1]\nchip.1.type = 1\nchip.01.type = 2\n",
                "bad.conf:3: duplicate key 'chip.01.type'"},
        BadCase{"Unterminated", "[switch\n", "bad.conf:1: unterminated section header"},
        BadCase{"UnknownSection", "[fans]\n", "bad.conf:1: unknown section 'fans'"},
        BadCase{"SlotRange", "[slot 10]\n", "bad.conf:1: slot number must be 0 to 9"},
        BadCase{"UnknownSwitchKey", "[switch]\ncolour = red\n",
                "bad.conf:2: unknown key 'colour' in [switch]"},
        BadCase{"BadBoot", "[switch]\nboot = hot\n", "bad.conf:2: boot must be 'cold' or 'warm'"},
        BadCase{"NoModel", "[switch]\nmy_slot = 1\n[slot 1]\n",
                "bad.conf:3: no 'model' in [switch]"},
        BadCase{"MySlotUndescribed", "[switch]\nmodel = 131\nmy_slot = 3\n[slot 1]\n",
                "bad.conf:3: my_slot 3 has no [slot 3] section"},
        BadCase{"SlotTwice", "[switch]\nmodel = 1\n[slot 1]\n[slot 1]\n",
                "bad.conf:4: slot 1 described twice"},
        BadCase{"SectionTwice", "[switch]\nmodel = 1\n[switch]\n",
                "bad.conf:3: section 'switch' appears twice"},
        BadCase{"PortCount", "[ports]\ncount = 300\n",
                "bad.conf:2: port count must be at most 289"},
        BadCase{"PortNameNumber", "[ports]\nname.x = a\n",
                "bad.conf:2: bad port number in 'name.x'"},
        BadCase{"ChipRange", "[slot 1]\nchip.32.type = 1\n", "bad.conf:2: chip id must be 0 to 31"},
        BadCase{"ReversedRange", "[slot 1]\nchip.0.ports = 5-2\n",
                "bad.conf:2: bad port list item '5-2'"},
        BadCase{"PortZero", "[slot 1]\nchip.0.ports = 0-2\n",
                "bad.conf:2: port numbers run from 1 to 127"},
        BadCase{"PortTwice", "[slot 1]\nchip.0.ports = 1-4\nchip.1.ports = 4\n",
                "bad.conf:3: port 4 already served by chip 0"},
        BadCase{"ChipAttribute", "[slot 1]\nchip.0.speed = 1\n",
                "bad.conf:2: unknown chip attribute 'speed'"},
        BadCase{"UnknownSlotKey", "[slot 1]\nfan = 1\n",
                "bad.conf:2: unknown key 'fan' in [slot 1]"},
        BadCase{"NinetySevenChips", kNinetySevenChips.c_str(),
                "bad.conf:103: more than 96 chips in the switch"}),
    [](const ::testing::TestParamInfo<BadCase>& info) { return std::string(info.param.name); });

TEST(PlatformFile, UnreadableFileIsLineZero) {
  EXPECT_EQ(std::get<ParseError>(load_platform("/nonexistent/ofa.conf")).message,
            "/nonexistent/ofa.conf:0: cannot open the file");
}

// The agent's warm start (an integration case) takes OFA_BOOT; here the refusals.
TEST(PlatformFile, EnvironmentRefusesAnUndescribedSlotAndAnUnknownBoot) {
  ::unsetenv("OFA_PLATFORM");
  ::setenv("OFA_SLOT", "4", 1);
  EXPECT_EQ(std::get<ParseError>(platform_from_env()).message,
            "OFA_SLOT:0: slot '4' is not described by <default>");
  ::unsetenv("OFA_SLOT");
  ::setenv("OFA_BOOT", "tepid", 1);
  EXPECT_TRUE(std::holds_alternative<ParseError>(platform_from_env()));
  ::unsetenv("OFA_BOOT");
}

// Every example file parses, its IIVIDs all match its family's OpenFlow IIVID pattern (the
// pattern is also its mask) below the chip's reserved ones, and the ard example says what the
// embedded default says.
TEST(PlatformFile, ExamplesParse) {
  struct Example {
    const char* name;
    uint32_t pattern;
    uint32_t highest;
  };
  for (const Example& x : {Example{"ard.conf", 0x1C00, 8186}, Example{"ard2.conf", 0x3C00, 16383},
                           Example{"zim.conf", 0x1C00, 8186}}) {
    auto res =
        accepted(load_platform(std::string(OFA_EXAMPLES_DIR) + "/platforms/" + x.name)).resources;
    EXPECT_EQ(res.iivid_min & x.pattern, x.pattern) << x.name;
    EXPECT_LE(res.iivid_min, res.iivid_max) << x.name;
    EXPECT_LE(res.iivid_max, x.highest) << x.name;
  }
  Platform ex = accepted(load_platform(std::string(OFA_EXAMPLES_DIR) + "/platforms/ard.conf"));
  Platform def = parse_ok(default_platform_text());
  EXPECT_EQ(resource_record(ex), resource_record(def));
  EXPECT_EQ(std::tie(ex.model, ex.l2_tcam_size, ex.l3_tcam_size),
            std::tie(def.model, def.l2_tcam_size, def.l3_tcam_size));
  EXPECT_EQ(slot_parameters(ex, 1), slot_parameters(def, 1));
}

}  // namespace
