// The JSON writer of the tools: objects, arrays, strings, numbers and booleans, written into one
// string with commas placed automatically. Strings keep their UTF-8 text as it stands and escape
// every other byte by its value, so that the output is JSON whatever bytes came in.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ofa::tools {

class JsonWriter {
 public:
  JsonWriter& begin_object();
  JsonWriter& end_object();
  JsonWriter& begin_array();
  JsonWriter& end_array();
  // The name of the next value inside an object.
  JsonWriter& key(std::string_view k);

  JsonWriter& value(std::string_view s);
  JsonWriter& value(const char* s) { return value(std::string_view(s)); }
  JsonWriter& value(int64_t v);
  JsonWriter& value(uint64_t v);
  JsonWriter& value(int32_t v) { return value(static_cast<int64_t>(v)); }
  JsonWriter& value(uint32_t v) { return value(static_cast<uint64_t>(v)); }
  JsonWriter& boolean(bool b);
  // A value that is already JSON text (a nested document made by another writer).
  JsonWriter& raw(std::string_view json);

  // key(k).value(v) in one call.
  template <typename T>
  JsonWriter& field(std::string_view k, const T& v) {
    key(k);
    return value(v);
  }

  const std::string& str() const { return out_; }
  std::string take() { return std::move(out_); }
  void clear();

 private:
  void separate();

  std::string out_;
  std::vector<bool> first_;  // per open container: no member written yet
  bool after_key_ = false;
};

// The string with JSON escapes applied (no surrounding quotes).
std::string json_escape(std::string_view s);
// The same with the surrounding quotes: a JSON string literal.
std::string json_quote(std::string_view s);

// The text of a JSON string's contents (no surrounding quotes), escapes resolved; \u escapes
// above 0x7f become '?'. Nothing when the text is not a well-formed string body.
std::optional<std::string> json_unescape(std::string_view s);

}  // namespace ofa::tools
