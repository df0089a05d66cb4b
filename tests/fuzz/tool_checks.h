// Checks the fuzz targets of the tools make on what the tools answer: a strict JSON check (one
// value, strings with only escaped control characters, UTF-8, nothing after the value) for what
// they print for programs, and the "file:line: reason" form of their refusals.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace ofa::fuzz {

class JsonCheck {
 public:
  explicit JsonCheck(std::string_view s) : s_(s) {}
  bool document() {
    bool ok = value(0);
    blanks();
    return ok && i_ == s_.size();
  }

 private:
  static constexpr int kMaxDepth = 64;

  void blanks() {
    while (i_ < s_.size() && (s_[i_] == ' ' || s_[i_] == '\n' || s_[i_] == '\t' || s_[i_] == '\r'))
      ++i_;
  }
  bool eat(char c) {
    blanks();
    if (i_ < s_.size() && s_[i_] == c) {
      ++i_;
      return true;
    }
    return false;
  }
  bool word(std::string_view w) {
    if (s_.substr(i_, w.size()) != w) return false;
    i_ += w.size();
    return true;
  }
  bool digits() {
    size_t start = i_;
    while (i_ < s_.size() && s_[i_] >= '0' && s_[i_] <= '9')
      ++i_;
    return i_ > start;
  }
  bool number() {
    if (i_ < s_.size() && s_[i_] == '-') ++i_;
    if (!digits()) return false;
    if (i_ < s_.size() && s_[i_] == '.' && (++i_, !digits())) return false;
    if (i_ < s_.size() && (s_[i_] == 'e' || s_[i_] == 'E')) {
      ++i_;
      if (i_ < s_.size() && (s_[i_] == '+' || s_[i_] == '-')) ++i_;
      if (!digits()) return false;
    }
    return true;
  }
  static bool hex(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
  }
  bool string() {
    if (!eat('"')) return false;
    while (i_ < s_.size()) {
      auto c = static_cast<unsigned char>(s_[i_++]);
      if (c == '"') return true;
      if (c < 0x20) return false;
      if (c != '\\') continue;
      if (i_ >= s_.size()) return false;
      char e = s_[i_++];
      if (e == 'u') {
        for (int k = 0; k < 4; ++k)
          if (i_ >= s_.size() || !hex(s_[i_++])) return false;
      } else if (std::string_view("\"\\/bfnrt").find(e) == std::string_view::npos) {
        return false;
      }
    }
    return false;
  }
  bool value(int depth) {
    if (depth > kMaxDepth) return false;
    blanks();
    if (i_ >= s_.size()) return false;
    char c = s_[i_];
    if (c == '"') return string();
    if (c == '{' || c == '[') {
      char close = c == '{' ? '}' : ']';
      ++i_;
      if (eat(close)) return true;
      do {
        if (c == '{' && !(string() && eat(':'))) return false;
        if (!value(depth + 1)) return false;
      } while (eat(','));
      return eat(close);
    }
    if (c == 't') return word("true");
    if (c == 'f') return word("false");
    if (c == 'n') return word("null");
    return number();
  }

  std::string_view s_;
  size_t i_ = 0;
};

// Well-formed UTF-8: no stray continuation bytes, no overlong forms, no surrogates.
inline bool valid_utf8(std::string_view s) {
  for (size_t i = 0; i < s.size();) {
    auto c = static_cast<unsigned char>(s[i]);
    size_t n = c < 0x80             ? 0
               : (c & 0xE0) == 0xC0 ? 1
               : (c & 0xF0) == 0xE0 ? 2
               : (c & 0xF8) == 0xF0 ? 3
                                    : 9;
    if (n == 9 || i + n >= s.size()) return false;
    uint32_t cp = n == 0 ? c : c & (0x3F >> n);
    for (size_t k = 1; k <= n; ++k) {
      auto d = static_cast<unsigned char>(s[i + k]);
      if ((d & 0xC0) != 0x80) return false;
      cp = (cp << 6) | (d & 0x3F);
    }
    static constexpr uint32_t kLeast[] = {0, 0x80, 0x800, 0x10000};
    if (cp < kLeast[n] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return false;
    i += n + 1;
  }
  return true;
}

// JSON text as RFC 8259 has it: the syntax above, in UTF-8.
inline bool valid_json(std::string_view s) {
  return valid_utf8(s) && JsonCheck(s).document();
}

// Lines of a text, counting a last one without a newline (an empty text has one).
inline size_t line_count(std::string_view text) {
  size_t n = 1;
  for (char c : text)
    n += c == '\n';
  return n;
}

// "FILE:N: reason" with first_line <= N <= lines.
inline bool names_a_line(std::string_view error, std::string_view file, size_t first_line,
                         size_t lines) {
  if (!error.starts_with(file) || error.substr(file.size(), 1) != ":") return false;
  size_t i = file.size() + 1, n = 0, digits = 0;
  while (i < error.size() && error[i] >= '0' && error[i] <= '9' && digits < 10) {
    n = n * 10 + static_cast<size_t>(error[i++] - '0');
    ++digits;
  }
  return digits > 0 && n >= first_line && n <= lines && error.substr(i, 2) == ": " &&
         error.size() > i + 2;
}

}  // namespace ofa::fuzz
