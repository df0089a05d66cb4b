// A client of a line protocol on a Unix stream socket: one line out, one line back.
#pragma once

#include <string>
#include <string_view>

#include "common/result.h"

namespace ofa::tools {

// Connects to `path`, sends `line` and a newline, and answers the first line that comes back
// (without its newline), or why there is none: the socket cannot be reached, or nothing came
// within `timeout` seconds.
Result<std::string> ask_line(const std::string& path, std::string_view line, double timeout);

}  // namespace ofa::tools
