// Numbers and durations as the tools read them from command lines and scenario files. The error
// text starts with `what` (the option or field) and quotes the word.
#pragma once

#include <cstdint>
#include <string_view>

#include "common/result.h"

namespace ofa::tools {

// Decimal or 0x hexadecimal, at most `max`.
Result<uint64_t> number(std::string_view s, uint64_t max, std::string_view what);
// "2", "1.5", "1.5s", "500ms": seconds, at most a day.
Result<double> duration(std::string_view s, std::string_view what);

}  // namespace ofa::tools
