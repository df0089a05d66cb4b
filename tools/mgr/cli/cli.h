// The ofa-mgr command line: common options and one function per sub-command.
#pragma once

#include <string>
#include <vector>

#include "common/options.h"
#include "operations.h"

namespace ofa::mgr::cli {

// Exit codes.
inline constexpr int kOk = 0;
inline constexpr int kFailed = 1;  // an expectation failed, or the agent could not be reached
inline constexpr int kUsage = 2;   // bad command line or scenario line

// The common options (--run-dir, --platform, --slot, --timeout, --json, -v, -h) and ofa-mgr's own.
struct Options : tools::CommonOptions {
  bool dry_run = false;              // run: check the file and show the datagrams, send nothing
  uint64_t count = 0;                // listen: stop after this many messages (0: never)
  std::optional<std::string> setup;  // bench: scenario run before the measured phases
  std::string agent_log;             // run, send: the agent's log file, for expect log
};

// The switch's description and this LP's slot, from --platform/--slot or the environment.
struct Target {
  platform::Platform platform;
  uint32_t slot = 1;
  ParseContext context() const { return ParseContext{slot, &platform}; }
};

int listen(const Options& o, const Target& t);
int send(const Options& o, const Target& t);
int run(const Options& o, const Target& t);
int encode(const Options& o, const Target& t);
int decode(const Options& o);
int bench(const Options& o, const Target& t);

// Help of a sub-command (or the overview for an empty or unknown name).
const char* help_text(const std::string& command);

}  // namespace ofa::mgr::cli
