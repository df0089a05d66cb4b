// ofactl: asks a running openflowAgtd what it holds, through its debug client socket, and prints
// the answer as it comes (or, with --json, as objects).
#include <cstdio>
#include <span>
#include <string>
#include <variant>

#include "client.h"
#include "common/options.h"
#include "platform/platform_file.h"
#include "platform/run_dir.h"
#include "table.h"

namespace {

using namespace ofa;

constexpr int kOk = 0;
constexpr int kFailed = 1;  // no agent, no answer in time, an answer that cannot be read
constexpr int kUsage = 2;

constexpr const char* kHelp =
    "usage: ofactl [--run-dir D] [--platform F] [--slot N] [--timeout T] [--json] REQUEST...\n"
    "\n"
    "Asks the openflowAgtd of one slot what it holds, through its debug client socket\n"
    "<run dir>/qcf/ofagt_p<slot>, and prints the answer as it comes.\n"
    "\n"
    "Requests:\n"
    "  help    this text\n"
    "  sched   the scheduler's accounting: for each callback the calls, the total and the\n"
    "          longest run time in microseconds, heaviest first; last, the loop's passes (from\n"
    "          a wake-up to the next wait: the longest time the agent did not look at its\n"
    "          sockets)\n"
    "\n"
    "Options:\n"
    "  --run-dir D    run directory of the sockets (default $OFA_RUN_DIR or /tmp/ofa)\n"
    "  --platform F   platform file, for this LP's slot (default $OFA_PLATFORM or the embedded\n"
    "                 switch)\n"
    "  --slot N       the agent's slot (default: the platform's)\n"
    "  --timeout T    how long to wait for the answer (default 5s; 2, 1.5s, 500ms)\n"
    "  --json         the answer as JSON lines, one object per row\n"
    "\n"
    "Exit: 0 answered, 1 no agent, no answer in time or an unreadable answer, 2 usage error or\n"
    "a run directory refused (not the user's own, or writable by group or others).\n";

int fail(const std::string& message) {
  std::fprintf(stderr, "ofactl: %s\n", message.c_str());
  return kFailed;
}

}  // namespace

int main(int argc, char** argv) {
  tools::CommonOptions o;
  if (auto err = tools::parse_options("ofactl", std::span<char* const>(argv + 1, argv + argc), o)) {
    std::fprintf(stderr, "%s\n", err->c_str());
    return kUsage;
  }
  if (o.help || o.command == "help") {
    std::fputs(kHelp, stdout);
    return kOk;
  }
  if (o.command != "sched" || !o.args.empty()) {
    std::fprintf(stderr, "ofactl: %s (ofactl --help)\n",
                 o.command.empty() ? "no request"
                                   : ("unknown request '" + o.command +
                                      (o.args.empty() ? "" : " " + o.args.front()) + "'")
                                         .c_str());
    return kUsage;
  }
  tools::export_paths(o);
  if (auto refused = platform::check_run_dir()) {
    std::fprintf(stderr, "ofactl: %s\n", refused->c_str());
    return kUsage;
  }
  uint32_t slot = 0;
  if (o.slot) {
    slot = *o.slot;
  } else {
    auto p = platform::platform_from_env();
    if (auto* err = std::get_if<platform::ParseError>(&p)) {
      std::fprintf(stderr, "ofactl: %s\n", err->message.c_str());
      return kUsage;
    }
    slot = std::get<platform::Platform>(p).my_slot;
  }
  auto answer = ofactl::ask(slot, ofactl::kCodeSched, "", o.timeout);
  if (auto* f = std::get_if<ofactl::Failure>(&answer)) return fail(f->message);
  const std::string& text = std::get<ofactl::Reply>(answer).text;
  if (!o.json) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    return kOk;
  }
  auto json = ofactl::table_json(text);
  if (auto* e = std::get_if<ofactl::TableError>(&json)) return fail(e->message);
  std::fputs(std::get<std::string>(json).c_str(), stdout);
  return kOk;
}
