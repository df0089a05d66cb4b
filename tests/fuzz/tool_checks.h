// The checks of the fuzz targets: a trap when one fails, and the "file:line: reason" form of
// refusals. (The strict JSON check of what the tools print is json_check.h.)
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace ofa::fuzz {

inline void check(bool ok) {
  if (!ok) __builtin_trap();
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
