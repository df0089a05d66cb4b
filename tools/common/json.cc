#include "common/json.h"

#include <cstdio>

namespace ofa::tools {

namespace {

// Bytes of the well-formed UTF-8 sequence at s[i] (2 to 4), or 0: no stray continuation bytes,
// no overlong forms, no surrogates, nothing above U+10FFFF.
size_t utf8_sequence(std::string_view s, size_t i) {
  auto c = static_cast<unsigned char>(s[i]);
  size_t n = (c & 0xE0) == 0xC0 ? 2 : (c & 0xF0) == 0xE0 ? 3 : (c & 0xF8) == 0xF0 ? 4 : 0;
  if (n == 0 || s.size() - i < n) return 0;
  uint32_t cp = c & (0x7Fu >> n);
  for (size_t k = 1; k < n; ++k) {
    auto d = static_cast<unsigned char>(s[i + k]);
    if ((d & 0xC0) != 0x80) return 0;
    cp = (cp << 6) | (d & 0x3Fu);
  }
  static constexpr uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
  if (cp < kLeast[n] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return 0;
  return n;
}

}  // namespace

std::string json_escape(std::string_view s) {
  std::string out;
  out.reserve(s.size());
  for (size_t i = 0; i < s.size(); ++i) {
    char c = s[i];
    auto u = static_cast<unsigned char>(c);
    if (u >= 0x80) {
      // UTF-8 text passes as it stands; any other byte is escaped by its value, so that the
      // answer stays JSON whatever bytes came in.
      if (size_t n = utf8_sequence(s, i)) {
        out.append(s.substr(i, n));
        i += n - 1;
      } else {
        char buf[8];
        std::snprintf(buf, sizeof buf, "\\u%04x", u);
        out += buf;
      }
      continue;
    }
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      case '\b':
        out += "\\b";
        break;
      case '\f':
        out += "\\f";
        break;
      default:
        if (u < 0x20 || u == 0x7f) {
          char buf[8];
          std::snprintf(buf, sizeof buf, "\\u%04x", u);
          out += buf;
        } else {
          out += c;
        }
    }
  }
  return out;
}

std::string json_quote(std::string_view s) {
  return '"' + json_escape(s) + '"';
}

void JsonWriter::clear() {
  out_.clear();
  first_.clear();
  after_key_ = false;
}

void JsonWriter::separate() {
  if (after_key_) {
    after_key_ = false;
    return;
  }
  if (!first_.empty()) {
    if (!first_.back()) out_ += ',';
    first_.back() = false;
  }
}

JsonWriter& JsonWriter::begin_object() {
  separate();
  out_ += '{';
  first_.push_back(true);
  return *this;
}

JsonWriter& JsonWriter::end_object() {
  out_ += '}';
  if (!first_.empty()) first_.pop_back();
  return *this;
}

JsonWriter& JsonWriter::begin_array() {
  separate();
  out_ += '[';
  first_.push_back(true);
  return *this;
}

JsonWriter& JsonWriter::end_array() {
  out_ += ']';
  if (!first_.empty()) first_.pop_back();
  return *this;
}

JsonWriter& JsonWriter::key(std::string_view k) {
  separate();
  out_ += json_quote(k);
  out_ += ':';
  after_key_ = true;
  return *this;
}

JsonWriter& JsonWriter::value(std::string_view s) {
  separate();
  out_ += json_quote(s);
  return *this;
}

JsonWriter& JsonWriter::value(int64_t v) {
  separate();
  out_ += std::to_string(v);
  return *this;
}

JsonWriter& JsonWriter::value(uint64_t v) {
  separate();
  out_ += std::to_string(v);
  return *this;
}

JsonWriter& JsonWriter::boolean(bool b) {
  separate();
  out_ += b ? "true" : "false";
  return *this;
}

JsonWriter& JsonWriter::raw(std::string_view json) {
  separate();
  out_ += json;
  return *this;
}

std::optional<std::string> json_unescape(std::string_view s) {
  std::string out;
  out.reserve(s.size());
  for (size_t i = 0; i < s.size(); ++i) {
    char c = s[i];
    if (c == '"') return std::nullopt;
    if (c != '\\') {
      out += c;
      continue;
    }
    if (++i == s.size()) return std::nullopt;
    switch (s[i]) {
      case '"':
      case '\\':
      case '/':
        out += s[i];
        break;
      case 'n':
        out += '\n';
        break;
      case 'r':
        out += '\r';
        break;
      case 't':
        out += '\t';
        break;
      case 'b':
        out += '\b';
        break;
      case 'f':
        out += '\f';
        break;
      case 'u': {
        if (s.size() - i < 5) return std::nullopt;
        unsigned v = 0;
        for (size_t k = 1; k <= 4; ++k) {
          char h = s[i + k];
          v <<= 4;
          if (h >= '0' && h <= '9') {
            v |= static_cast<unsigned>(h - '0');
          } else if (h >= 'a' && h <= 'f') {
            v |= static_cast<unsigned>(h - 'a' + 10);
          } else if (h >= 'A' && h <= 'F') {
            v |= static_cast<unsigned>(h - 'A' + 10);
          } else {
            return std::nullopt;
          }
        }
        out += v < 0x80 ? static_cast<char>(v) : '?';
        i += 4;
        break;
      }
      default:
        return std::nullopt;
    }
  }
  return out;
}

}  // namespace ofa::tools
