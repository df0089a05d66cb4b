// Refusals: every bad scenario line is reported as "file:line: reason", and the decoders refuse
// short, over-long and inconsistent messages with a reason that names what is wrong. Every
// scenario under examples/scenarios reads, so the demo and the docs never drift from the syntax.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <ostream>
#include <sstream>

#include "codec.h"
#include "hex.h"
#include "scenario.h"

namespace ofa::mgr {
namespace {

struct BadLine {
  const char* line;
  const char* reason;  // a part of the reason
};
void PrintTo(const BadLine& c, std::ostream* os) {
  *os << c.line;
}

class SyntaxErrors : public ::testing::TestWithParam<BadLine> {};

// The bad line stands third, after a comment and a good line, so the number must be 3.
TEST_P(SyntaxErrors, NameTheFileAndLine) {
  std::string text =
      "# scenario\nvlan add vlan=1 iivid=2\n" + std::string(GetParam().line) + "\nsleep 1\n";
  auto sc = parse_scenario(text, "bad.scn", {});
  ASSERT_FALSE(sc.ok()) << GetParam().line;
  EXPECT_TRUE(sc.error().starts_with("bad.scn:3: ")) << sc.error();
  EXPECT_NE(sc.error().find(GetParam().reason), std::string::npos) << sc.error();
}

INSTANTIATE_TEST_SUITE_P(
    Lines, SyntaxErrors,
    ::testing::Values(
        BadLine{"frobnicate 3", "unknown operation 'frobnicate'"},
        BadLine{"flow", "flow: what to do?"},
        BadLine{"flow add priority=1 actions=drop", "needs id="},
        BadLine{"flow add id=x actions=drop", "id: 'x' is not a number"},
        BadLine{"flow add id=1 in_port=289 actions=drop", "in_port: 289 is out of range"},
        BadLine{"flow add id=1 dl_vlan=4096 actions=drop", "dl_vlan: 4096 is out of range"},
        BadLine{"flow add id=1 dl_dst=00:11:22 actions=drop", "not a MAC address"},
        BadLine{"flow add id=1 nw_src=10.0.0/8 actions=drop", "not an IPv4 address"},
        BadLine{"flow add id=1 nw_src=10.0.0.0/33 actions=drop", "33 is out of range"},
        BadLine{"flow add id=1 colour=red actions=drop", "unknown flow field 'colour'"},
        BadLine{"flow add id=1 bogus actions=drop", "'bogus' is neither a match field"},
        BadLine{"flow add id=1 actions=output:300", "output: 300 is out of range"},
        BadLine{"flow add id=1 actions=teleport:3", "unknown action 'teleport:3'"},
        BadLine{"flow add id=1 actions=output:3,set_ttl:9",
                "'set_ttl:9' rides on an output or group written after it"},
        BadLine{"flow add id=1 actions=output", "output needs a value"},
        BadLine{"flow add id=1 actions=drop,output:3", "drop cannot be combined"},
        BadLine{"flow add id=1 version=1 actions=group:3", "group needs version 4"},
        BadLine{"flow add id=1 version=2 actions=output:3", "need version 1 or 4"},
        BadLine{"flow add id=1 actions=output:1 actions=output:2", "actions= given twice"},
        BadLine{"flow add id=1 fragment=0 actions=drop", "fragment: at least 1 member"},
        BadLine{"group add id=1 type=fancy", "group type"},
        BadLine{"group add id=1 bucket=vlan:3", "bucket needs output:"},
        BadLine{"group add id=1 bucket=output:1,weight:2", "unknown item 'weight:2'"},
        BadLine{"meter add id=1 band=type=dscp_remark,rate=3", "needs a drop band"},
        BadLine{"meter add id=1 band=type=drop,rate=1 band=type=drop,rate=2", "second drop band"},
        BadLine{"vlan add vlan=100 iivid=5 colour=red", "vlan: unknown field 'colour'"},
        BadLine{"port enable", "needs the port id(s)"},
        BadLine{"port enable 3-1", "runs backwards"},
        BadLine{"port online 3 4", "takes one port id"},
        BadLine{"port enable 3 ifname=abcdefghijabcdefghijabcdefghijabc", "longer than 31"},
        BadLine{"default-action flood", "controller or drop"},
        BadLine{"openflow maybe", "enable or disable"},
        BadLine{"raw 01c", "odd number of hex digits"}, BadLine{"raw zz", "'z' is not a hex digit"},
        BadLine{"raw", "no bytes given"}, BadLine{"raw 00 fill=3", "raw: unknown option 'fill'"},
        BadLine{"wait for-godot", "only 'wait registration'"},
        BadLine{"wait registration timeout=soon", "not a duration"},
        BadLine{"expect status 10", "needs a flow id and success"},
        BadLine{"expect status 10 maybe", "'maybe' is not success, failure or pseudo"},
        BadLine{"expect status 10 failure text =", "or text = \"the whole reason\""},
        BadLine{"barrier now", "barrier: unexpected 'now'"},
        BadLine{"expect registration", "expect: status, no status, flow-stats"},
        BadLine{"expect flow-stats 3 drop_bytes=1", "'drop_bytes=1' is not a condition on packets"},
        BadLine{"expect queue-stats 3 queue=8", "queue: 8 is out of range"},
        BadLine{"expect tick meters=1-70000", "more than 65536 ids"},
        BadLine{"sleep", "needs one duration"},
        BadLine{"vlan add vlan=\"100 iivid=3", "unterminated quote"},
        BadLine{"end", "'end' without 'pack'"}, BadLine{"chip", "which control command?"},
        BadLine{"expect chip", "expect chip: port ID, vlan ID"},
        BadLine{"expect chip xlate 3", "expect chip xlate: which one?"},
        BadLine{"expect chip port 3", "nothing to check"},
        BadLine{"expect chip port 3 absent pvid=1", "absent and field values do not go together"},
        BadLine{"expect chip vlan 100 bogus", "'bogus' is not field=value, absent or chip="},
        BadLine{"expect log \"x\"", "write expect log ~"},
        BadLine{"expect show \"vlan all\" \"x\"", "write expect show"}));

TEST(SyntaxErrors, PackBlocks) {
  auto unclosed = parse_scenario("\npack\nvlan add vlan=1 iivid=2\n", "p", {});
  ASSERT_FALSE(unclosed.ok());
  EXPECT_EQ(unclosed.error(), "p:2: pack without 'end'");
  auto mixed = parse_scenario("pack\nsleep 1\nend\n", "p", {});
  ASSERT_FALSE(mixed.ok());
  EXPECT_TRUE(mixed.error().starts_with("p:2: only messages go into a pack")) << mixed.error();
  auto empty = parse_scenario("pack\n# nothing\nend\n", "p", {});
  ASSERT_FALSE(empty.ok());
  EXPECT_TRUE(empty.error().starts_with("p:3: empty pack")) << empty.error();
}

TEST(SyntaxErrors, CommentsBlankLinesAndQuotedHashesAreFine) {
  auto sc = parse_scenario(
      "  # indented comment\n\n\t\nflow add id=1 actions=drop # trailing comment\n"
      "expect status 1 failure text ~ \"# not a comment\" timeout=250ms\n",
      "ok", {});
  ASSERT_TRUE(sc.ok()) << sc.error();
  ASSERT_EQ(sc.value().steps.size(), 2u);
  const auto& e = std::get<ExpectStatusStep>(sc.value().steps[1].action);
  EXPECT_EQ(e.text, "# not a comment");
  EXPECT_DOUBLE_EQ(*e.timeout, 0.25);
}

TEST(Scenarios, EveryExampleParses) {
  size_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(OFA_SCENARIOS)) {
    if (entry.path().extension() != ".scn") continue;
    std::stringstream text;
    text << std::ifstream(entry.path()).rdbuf();
    auto sc = parse_scenario(text.str(), entry.path().filename().string(), {});
    ASSERT_TRUE(sc.ok()) << sc.error();
    EXPECT_FALSE(sc.value().steps.empty()) << entry.path();
    ++files;
  }
  EXPECT_GE(files, 2u);
}

// ---- decoder refusals -------------------------------------------------------------------

struct BadDatagram {
  const char* name;
  std::vector<uint8_t> bytes;
  const char* reason;
};
void PrintTo(const BadDatagram& c, std::ostream* os) {
  *os << c.name;
}

// `size` bytes that open with the header word `header` (type in bits 31-22, length in 15-0).
std::vector<uint8_t> with_header(size_t size, std::string header) {
  return ofa::test::sparse(size, "0: " + header);
}

class DecodeErrors : public ::testing::TestWithParam<BadDatagram> {};

TEST_P(DecodeErrors, RefuseWithAReason) {
  auto d = decode_datagram(GetParam().bytes);
  ASSERT_FALSE(d.empty());
  ASSERT_TRUE(std::holds_alternative<DecodeError>(d.back()));
  EXPECT_NE(std::get<DecodeError>(d.back()).reason.find(GetParam().reason), std::string::npos)
      << std::get<DecodeError>(d.back()).reason;
}

const BadDatagram kBadDatagrams[] = {
    {"short_header", {0x00, 0xc0}, "too short for a 4-byte header"},
    {"bad_type", {0x03, 0x40, 0x00, 0x00}, "type 13 is not a message type"},
    {"overrun", with_header(14, "00C0007C"), "overruns the datagram (10 bytes left)"},
    {"status_short", with_header(124, "00C00078"),
     "flow status: body of 120 bytes, too short: expected 124"},
    {"status_long", with_header(134, "00C00082"), "too long: expected 124"},
    {"register_long", with_header(16, "02C0000C"), "registration: body of 12"},
    {"register_inner", ofa::test::hex("02C00008 02C00005 00000000"), "is not type 11 of length 4"},
    {"flow_stats_short", with_header(28, "01400018"), "flow statistics"},
    {"queue_stats_long", with_header(340, "01800150"), "queue statistics"},
    {"meter_stats_short", with_header(1704, "010006A4"), "meter statistics"},
    {"meter_stats_count", with_header(1736, "010006C4 0000001C"), "count 28 exceeds the 27"},
    {"flow_short", with_header(204, "01C000C8"), "needs at least 236"},
    // One v4 member in 4 bytes.
    {"flow_member", with_header(244, "01C000F0 | 12: 04 | 140: 0001"),
     "member 0 at offset 236 needs 80"},
    {"group_short", with_header(1059, "0240041F"), "group operation"},
    {"meter_short", with_header(43, "00800027"), "needs at least 40"},
    {"config_short", with_header(3723, "00000E87"), "needs at least 3720"}};

INSTANTIATE_TEST_SUITE_P(Datagrams, DecodeErrors, ::testing::ValuesIn(kBadDatagrams),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(DecodeErrors, MessagesBeforeABadOneAreKept) {
  auto b = encode(RegisterMsg{3}).value();
  b.insert(b.end(), {0xff, 0xff, 0x00, 0x00});
  auto d = decode_datagram(b);
  ASSERT_EQ(d.size(), 2u);
  EXPECT_EQ(std::get<Message>(d[0]), Message{RegisterMsg{3}});
  EXPECT_EQ(std::get<DecodeError>(d[1]).offset, 12u);
  EXPECT_TRUE(decode_datagram({}).empty());
}

TEST(EncodeErrors, LimitsOfTheMessages) {
  GroupMsg g;
  g.buckets.resize(65);  // past 64 the message grows
  EXPECT_EQ(encode(g).value().size(), 4 + 32 + 65 * 16u);
  g.buckets.resize(4094);
  EXPECT_NE(encode(g).error().find("room for 4093"), std::string::npos);
  FlowMsg f;
  f.version = 3;
  f.members.resize(1);
  EXPECT_NE(encode(f).error().find("no action member layout"), std::string::npos);
  FlowMsg big;
  big.members.resize(900);
  EXPECT_NE(encode(big).error().find("exceed the 65535"), std::string::npos);
}

}  // namespace
}  // namespace ofa::mgr
