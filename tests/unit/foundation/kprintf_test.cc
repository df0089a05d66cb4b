// The formatter's conversions, widths and bounds; console output; text helpers; rate limiters.
#include "foundation/kprintf.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "fake_clock.h"
#include "stdout_capture.h"

namespace {

using ofa::test::stdout_of;

std::string fmt(const char* format, ...) {
  char buf[256];
  va_list ap;
  va_start(ap, format);
  int n = vksnprintf(buf, -1, format, ap);
  va_end(ap);
  EXPECT_EQ(n, static_cast<int>(std::strlen(buf)));
  return buf;
}

const uint8_t kMac[6] = {0x00, 0x12, 0xab, 0xcd, 0x0e, 0xf0};

// Every conversion, with widths, flags and padding, in one table of (printed, expected).
TEST(Ksprintf, Conversions) {
  const std::pair<std::string, std::string> rows[] = {
      {fmt("%c|%d|%i|%u", 'z', -42, 17, 4000000000u), "z|-42|17|4000000000"},
      {fmt("%x|%X|%lx", 0xbeefu, 0xbeefu, 0x123456789abUL), "beef|BEEF|123456789ab"},
      {fmt("%s|%s", "text", static_cast<const char*>(nullptr)), "text|<NULL>"},
      {fmt("%m", kMac), "0012.abcd.0ef0"},
      {fmt("%I|%A", 0x0A000001u, 0xC0A80164u), "10.0.0.1|192.168.1.100"},
      {fmt("%p|%T", 12, 0x1000C), "12|12"},  // low 16 bits
      {fmt("%P", 65533), "65533"},           // no lookup: decimal
      {fmt("%v|%g", 77, 2.5), "77|2.5"},
      {fmt("100%% %y"), "100% y"},  // other letters print themselves
      {fmt("%ld|%hd|% d", -5000000000L, 3, 4), "-5000000000|3|4"},
      {fmt("[%5d][%-5d][%05d][%05d]", 42, 42, 42, -42), "[   42][42   ][00042][-0042]"},
      {fmt("[%2d][%08x][%-4X]", 12345, 0xab, 0xab), "[12345][000000ab][AB  ]"},
      {fmt("[%123d]", 1), "[3d]"},
      {fmt("[%8s][%-8s][%08s]", "ab", "cd", "ef"),
       "[      ab][cd      ][      ef]"},  // zeros: numbers
  };
  for (const auto& [got, want] : rows)
    EXPECT_EQ(got, want);
}

TEST(Ksprintf, AsNumbers) {
  set_as_format(0);
  EXPECT_EQ(fmt("%a|%J", 65536 + 10, 100), "65546|0.100");
  set_as_format(1);
  EXPECT_EQ(fmt("%a|%a", 65536 * 3 + 10, 100), "3.10|100");
  set_as_format(2);
  EXPECT_EQ(fmt("%a", 100), "0.100");
  char buf[16];
  EXPECT_STREQ(asn_to_string(65536 * 2 + 1, buf), "2.1");
  set_as_format(0);
  EXPECT_STREQ(asn_to_string(65536 * 2 + 1, buf), "131073");
}

TEST(Ksnprintf, Bounds) {
  char buf[16];
  std::memset(buf, 'X', sizeof buf);
  EXPECT_EQ(ksnprintf(buf, 4, "%s", "abcdef"), 3);
  EXPECT_STREQ(buf, "abc");
  EXPECT_EQ(buf[4], 'X');  // nothing past the 4 bytes
  EXPECT_EQ(ksnprintf(buf, 0, "abc"), 0);
  EXPECT_EQ(ksnprintf(buf, -2, "abc"), 0);
  EXPECT_EQ(buf[4], 'X');
  EXPECT_EQ(ksnprintf(buf, 8, "%10d", 5), 7);  // padding is bounded too
  EXPECT_STREQ(buf, "       ");
}

TEST(Ksprintf, PortNameFromPlatform) {
  ksprintf_set_port_name_fn([](uint32_t port, char* name, size_t size) {
    if (port != 12) return false;
    std::snprintf(name, size, "ethernet 1/12");
    return true;
  });
  EXPECT_EQ(fmt("%P|%P|%p", 12, 13, 12), "ethernet 1/12|13|12");
  ksprintf_set_port_name_fn([](uint32_t, char* name, size_t size) {
    std::memset(name, 'n', size);  // no terminator: cut at 32
    return true;
  });
  EXPECT_EQ(fmt("%P", 1), std::string(32, 'n'));
  ksprintf_set_port_name_fn(nullptr);
  EXPECT_EQ(fmt("%P", 12), "12");
}

TEST(Console, UprintfAndKprintfGoToStdoutCutAt2047) {
  EXPECT_EQ(stdout_of([] {
              EXPECT_EQ(uprintf("port %p mac %m\n", 3, kMac), 26);
              EXPECT_EQ(kprintf("%d\n", 9), 2);
            }),
            "port 3 mac 0012.abcd.0ef0\n9\n");
  std::string big(3000, 'a');
  EXPECT_EQ(stdout_of([&] { EXPECT_EQ(uprintf("%s", big.c_str()), 2047); }),
            std::string(2047, 'a'));
}

TEST(Console, PrintFromAPortLookupDoesNotDisturbTheOuterText) {
  ksprintf_set_port_name_fn([](uint32_t port, char* name, size_t size) {
    uprintf("lookup %d\n", port);
    std::snprintf(name, size, "eth%u", port);
    return true;
  });
  EXPECT_EQ(stdout_of([] { EXPECT_EQ(uprintf("port %P up\n", 4), 13); }),
            "lookup 4\nport eth4 up\n");
  ksprintf_set_port_name_fn(nullptr);
}

TEST(TextHelpers, MacIpAndQuotedTokens) {
  EXPECT_STREQ(mac2string(kMac), "  12.abcd. ef0");  // "%4x." per two bytes
  EXPECT_STREQ(ip_int2string(0xFFFFFFFF), "255.255.255.255");
  const char* text = "show \"a b\" c";
  EXPECT_EQ(end_of_token(text + 5), text + 10);
  EXPECT_EQ(end_of_token("\"open"), std::string_view("\"open").end());
}

class RateLimit : public ::testing::Test {
 protected:
  void SetUp() override { fake_clock::install(5000000); }
  void TearDown() override { fake_clock::uninstall(); }
  rate_limiter lim_{};
};

TEST_F(RateLimit, PerMessage) {
  EXPECT_EQ(rate_control_mini_sec_per_message(1000, &lim_), 1);  // first call passes
  fake_clock::advance_ms(999);
  EXPECT_EQ(rate_control_mini_sec_per_message(1000, &lim_), 0);
  fake_clock::advance_ms(1);
  EXPECT_EQ(rate_control_mini_sec_per_message(1000, &lim_), 1);
  EXPECT_EQ(lim_.suppressed, 1u);
}

TEST_F(RateLimit, MessagesPerWindow) {
  int passed = 0;
  for (int i = 0; i < 5; ++i)
    passed += rate_control_mini_sec_messages(1000, 3, &lim_);
  EXPECT_EQ(passed, 3);
  EXPECT_EQ(lim_.suppressed, 2u);
  fake_clock::advance_ms(1000);
  EXPECT_EQ(rate_control_mini_sec_messages(1000, 3, &lim_), 1);
  EXPECT_EQ(lim_.in_window, 1u);
}

TEST_F(RateLimit, BackoffGrowsAtEveryCall) {
  struct Step {
    uint64_t advance_ms;
    int result;
    uint32_t backoff;
  };
  // Intervals 2000, 12000, 72000, then 432000 is over the ceiling: pass and start again.
  const Step steps[] = {
      {0, 1, 2000}, {1000, 0, 12000}, {11000, 0, 72000}, {100, 1, 0}, {1999, 0, 2000}};
  for (const Step& s : steps) {
    fake_clock::advance_ms(s.advance_ms);
    EXPECT_EQ(rate_control_mini_sec_per_message_backoff(&lim_), s.result);
    EXPECT_EQ(lim_.backoff, s.backoff);
  }
}

}  // namespace
