// ofa-mgr: drives an openflowAgtd from the manager's side of the manager socket.
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>

#include "cli.h"
#include "platform/run_dir.h"
#include "syntax.h"

namespace ofa::mgr::cli {
namespace {

Options parse(int argc, char** argv) {
  Options o;
  // bench's --in-port N and the like are its words in-port=N.
  auto bench_word = [&o](std::string_view name) {
    return tools::ToolOption{name, true, [&o, name](std::string_view v) {
                               o.args.push_back(std::string(name.substr(2)) + "=" + std::string(v));
                               return std::optional<std::string>();
                             }};
  };
  const tools::ToolOption own[] = {
      tools::flag("--dry-run", o.dry_run),
      {"--count", true,
       [&o](std::string_view v) { return syntax::set_number(o.count, v, UINT32_MAX, "--count"); }},
      {"--setup", true,
       [&o](std::string_view v) {
         o.setup = std::string(v);
         return std::optional<std::string>();
       }},
      {"--agent-log", true,
       [&o](std::string_view v) {
         o.agent_log = std::string(v);
         return std::optional<std::string>();
       }},
      bench_word("--in-port"),
      bench_word("--remote-port"),
      bench_word("--on-chip"),
      bench_word("--keys"),
  };
  std::span<char* const> words(argv, static_cast<size_t>(argc));
  if (auto bad = tools::parse_options("ofa-mgr", words.subspan(words.empty() ? 0 : 1), o, own)) {
    std::fprintf(stderr, "%s\n", bad->c_str());
    std::exit(kUsage);
  }
  tools::export_paths(o);
  return o;
}

Target target(const Options& o) {
  auto p = platform::platform_from_env();
  if (auto* err = std::get_if<platform::ParseError>(&p)) {
    std::fprintf(stderr, "ofa-mgr: %s\n", err->message.c_str());
    std::exit(kUsage);
  }
  Target t;
  t.platform = std::get<platform::Platform>(std::move(p));
  t.slot = o.slot.value_or(t.platform.my_slot);
  return t;
}

}  // namespace
}  // namespace ofa::mgr::cli

int main(int argc, char** argv) {
  using namespace ofa::mgr::cli;
  Options o = parse(argc, argv);
  if (o.command == "help") {
    std::fputs(help_text(o.args.empty() ? "" : o.args[0]), stdout);
    return kOk;
  }
  if (o.help || o.command.empty()) {
    std::fputs(help_text(o.command), o.help ? stdout : stderr);
    return o.help ? kOk : kUsage;
  }
  if (o.command == "decode") return decode(o);
  if (o.command != "listen" && o.command != "send" && o.command != "run" && o.command != "encode" &&
      o.command != "bench") {
    std::fprintf(stderr, "ofa-mgr: unknown command '%s' (ofa-mgr --help)\n", o.command.c_str());
    return kUsage;
  }
  Target t = target(o);
  if (o.command != "encode") {
    if (auto refused = ofa::platform::check_run_dir()) {
      std::fprintf(stderr, "ofa-mgr: %s\n", refused->c_str());
      return kUsage;
    }
  }
  if (o.command == "listen") return listen(o, t);
  if (o.command == "send") return send(o, t);
  if (o.command == "run") return run(o, t);
  if (o.command == "bench") return bench(o, t);
  return encode(o, t);
}
