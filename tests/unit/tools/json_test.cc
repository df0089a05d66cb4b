// The JSON writer both tools print with: escaping of every byte, nesting, and reading back.
#include <gtest/gtest.h>

#include "common/json.h"

namespace ofa::tools {
namespace {

TEST(Json, EscapesAndNests) {
  const std::pair<std::string, std::string> rows[] = {
      {"a\"b\\c", "a\\\"b\\\\c"},
      {"line\nnext\ttab\r\b\f", "line\\nnext\\ttab\\r\\b\\f"},
      {std::string("\0\x01\x1f\x7f", 4), "\\u0000\\u0001\\u001f\\u007f"},
      // UTF-8 text passes as it stands (two bytes: in the writer below).
      {"\xe2\x82\xac", "\xe2\x82\xac"},
      {"\xf0\x9f\x98\x80", "\xf0\x9f\x98\x80"},
      // Bytes that are not UTF-8 text: a lead byte cut short,
      // overlong, a surrogate, above U+10FFFF.
      {"1\xd9", "1\\u00d9"},
      {"\xc0\xaf", "\\u00c0\\u00af"},
      {"\xed\xa0\x80", "\\u00ed\\u00a0\\u0080"},
      {"\xf4\x90\x80\x80", "\\u00f4\\u0090\\u0080\\u0080"}};
  for (const auto& [in, out] : rows)
    EXPECT_EQ(json_escape(in), out) << in;
  JsonWriter j;
  j.begin_object().field("a", 1u).key("b").begin_array().value(-2).value("\xc3\xa9").begin_object();
  j.end_object().end_array().key("c").boolean(false).key("d").raw("{\"e\":[]}").end_object();
  EXPECT_EQ(j.str(), "{\"a\":1,\"b\":[-2,\"\xc3\xa9\",{}],\"c\":false,\"d\":{\"e\":[]}}");
}

TEST(Json, UnescapeUndoesEscape) {
  for (std::string s :
       {std::string("plain"), std::string("a\"b\\c\nd\te\r"), std::string("\x01\x1f\x7f", 3)})
    EXPECT_EQ(json_unescape(json_escape(s)), s);
  EXPECT_EQ(json_unescape("\\u00e9\\/\\b\\f"), std::string("?/\b\f"));
  for (const char* bad : {"\\", "\\x", "\\u12", "\\u12g4", "a\"b"})
    EXPECT_FALSE(json_unescape(bad)) << bad;
}

}  // namespace
}  // namespace ofa::tools
