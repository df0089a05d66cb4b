#include "common/numbers.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <string>

namespace ofa::tools {
namespace {

std::string quoted(std::string_view s) {
  return "'" + std::string(s) + "'";
}

}  // namespace

Result<uint64_t> number(std::string_view s, uint64_t max, std::string_view what) {
  int base = 10;
  std::string_view digits = s;
  if (digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) {
    base = 16;
    digits.remove_prefix(2);
  }
  uint64_t v = 0;
  auto [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), v, base);
  if (digits.empty() || ec == std::errc::invalid_argument || end != digits.data() + digits.size()) {
    return Result<uint64_t>::fail(std::string(what) + ": " + quoted(s) + " is not a number");
  }
  if (ec == std::errc::result_out_of_range || v > max) {
    return Result<uint64_t>::fail(std::string(what) + ": " + std::string(s) +
                                  " is out of range (at most " + std::to_string(max) + ")");
  }
  return v;
}

Result<double> duration(std::string_view s, std::string_view what) {
  double scale = 1.0;
  std::string_view num = s;
  if (num.ends_with("ms")) {
    scale = 0.001;
    num.remove_suffix(2);
  } else if (num.ends_with("s")) {
    num.remove_suffix(1);
  }
  std::string text(num);
  char* end = nullptr;
  double v = text.empty() ? NAN : std::strtod(text.c_str(), &end);
  if (text.empty() || end != text.c_str() + text.size() || !std::isfinite(v) || v < 0 ||
      v > 86400) {
    return Result<double>::fail(std::string(what) + ": " + quoted(s) +
                                " is not a duration (like 2, 1.5s or 500ms)");
  }
  return v * scale;
}

}  // namespace ofa::tools
