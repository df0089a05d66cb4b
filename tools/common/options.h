// The command line of a tool that talks to a running switch: a command, its words, and the
// options every such tool takes, in any place on the line:
//   --run-dir DIR    run directory of the sockets ($OFA_RUN_DIR)
//   --platform FILE  platform file ($OFA_PLATFORM)
//   --slot N         the agent's slot, 0 to 9
//   --timeout D      seconds to wait for answers (2, 1.5s, 500ms)
//   --json           JSON lines instead of aligned text
//   -v, --verbose    more detail
//   -h, --help       the help
// An option with a value is written "--name value" or "--name=value". A tool adds its own
// options as ToolOption entries; any other word starting with "--" is refused.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ofa::tools {

struct CommonOptions {
  std::string command;
  std::vector<std::string> args;  // words after the command that are not options
  std::optional<std::string> run_dir;
  std::optional<std::string> platform;
  std::optional<uint32_t> slot;
  double timeout = 5.0;
  bool timeout_given = false;
  bool json = false;
  bool verbose = false;
  bool help = false;
};

// An option of one tool. `take` gets the value ("" for a flag) and answers the reason it is
// refused, or nothing.
struct ToolOption {
  std::string_view name;  // "--count"
  bool has_value;
  std::function<std::optional<std::string>(std::string_view value)> take;
};

// A flag that sets `b`.
ToolOption flag(std::string_view name, bool& b);

// Reads the words after the program name into `o`. A bad command line answers the line to print
// on stderr: "<tool>: <reason> (<tool> --help)", or "<tool>: --slot needs a value".
std::optional<std::string> parse_options(std::string_view tool, std::span<char* const> words,
                                         CommonOptions& o, std::span<const ToolOption> own = {});

// Sets OFA_RUN_DIR and OFA_PLATFORM from --run-dir and --platform, for the readers of the run
// directory and of the platform file.
void export_paths(const CommonOptions& o);

}  // namespace ofa::tools
