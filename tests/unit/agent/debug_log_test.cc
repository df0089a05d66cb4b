// The debug-log file: fresh head byte for byte, resuming, replacing a foreign file, wrapping.
#include "agent/debug_log.h"

#include <gtest/gtest.h>

#include <cstdio>

#include <regex>
#include <string>

#include "processes.h"

namespace {

class DebugLog : public ofa::test::RunDir {
 protected:
  void SetUp() override {
    RunDir::SetUp();
    path_ = path("ofastdout");
  }
  void TearDown() override {
    ofa_debug_log_close();
    RunDir::TearDown();
  }
  std::string contents() const { return ofa::test::read_file(path_); }
  void put(const std::string& text) const { write("ofastdout", text); }
  // Replaces the fixed-width head field that begins with `label`.
  void set_field(const std::string& label, int value) {
    std::string c = contents();
    size_t at = c.find(label);
    ASSERT_NE(at, std::string::npos);
    char digits[9];
    std::snprintf(digits, sizeof digits, "%08d", value);
    c.replace(at + label.size(), 8, digits);
    put(c);
  }
  std::string path_;
};

const std::regex kFreshHead(
    "Openflow Agent Log\n"
    "Last Execution time:  [A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9]\\d \\d\\d:\\d\\d:\\d\\d \\d{4}\n"
    "Wrap Count: 00000000\n"
    "Cur line: 00000005\n"
    "Curr Offset: 00000130\n");

TEST_F(DebugLog, FirstLineAtByte128AndHeadCounts) {
  ASSERT_EQ(ofa_debug_log_open(path_), 0);
  ofa_debug_log_write("hello\n");
  std::string c = contents();
  // "<24-char time>: hello\n"
  ASSERT_EQ(c.size(), 160u);
  EXPECT_EQ(c.substr(152), ": hello\n");
  EXPECT_NE(c.find("Cur line: 00000006\nCurr Offset: 00000160\n"), std::string::npos);
}

TEST_F(DebugLog, ResumesAtStoredOffset) {
  ASSERT_EQ(ofa_debug_log_open(path_), 0);
  ofa_debug_log_write("one");
  ofa_debug_log_write("two");
  ofa_debug_log_close();
  std::string before = contents();
  ASSERT_EQ(ofa_debug_log_open(path_), 0);
  ofa_debug_log_write("three");
  std::string c = contents();
  EXPECT_EQ(c.substr(0, before.size()).substr(128), before.substr(128));
  EXPECT_EQ(c.substr(before.size() + 24), ": three\n");
  EXPECT_NE(c.find("Cur line: 00000008\n"), std::string::npos);
}

TEST_F(DebugLog, RestartWithoutLinesResumesAt130) {
  ASSERT_EQ(ofa_debug_log_open(path_), 0);
  ofa_debug_log_close();
  ASSERT_EQ(ofa_debug_log_open(path_), 0);
  ofa_debug_log_write("x");
  std::string c = contents();
  EXPECT_EQ(c.substr(128, 2), std::string(2, '\0'));
  EXPECT_EQ(c.substr(154), ": x\n");
}

// No file, or one without this log's head: a fresh head of 128 bytes, the pattern's fixed width.
TEST_F(DebugLog, ForeignFileReplacedByFreshHead) {
  for (const char* text :
       {"" /* no file yet */, "123456789", "some other program's log\nline two\n",
        "Openflow Agent Log\ngarbage\n"}) {
    if (*text) put(text);
    ASSERT_EQ(ofa_debug_log_open(path_), 0);
    EXPECT_TRUE(std::regex_match(contents(), kFreshHead)) << text;
    ofa_debug_log_close();
  }
}

TEST_F(DebugLog, WrapsAfterLastLineBackTo130) {
  ASSERT_EQ(ofa_debug_log_open(path_), 0);
  ofa_debug_log_close();
  set_field("Cur line: ", 149998);
  ASSERT_EQ(ofa_debug_log_open(path_), 0);
  ofa_debug_log_write("line 149999");
  EXPECT_NE(contents().find("Wrap Count: 00000000\n"), std::string::npos);
  ofa_debug_log_write("line 150000");
  std::string c = contents();
  EXPECT_NE(c.find("Wrap Count: 00000001\nCur line: 00000005\nCurr Offset: 00000130\n"),
            std::string::npos);
  size_t size_before = c.size();
  ofa_debug_log_write("after wrap");
  c = contents();
  EXPECT_EQ(c.size(), size_before);  // the file does not shrink or grow: old text is overwritten
  EXPECT_EQ(c.substr(154, 13), ": after wrap\n");
  EXPECT_NE(c.find("Cur line: 00000006\n"), std::string::npos);
}

}  // namespace
