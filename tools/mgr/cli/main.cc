// ofa-mgr: drives an openflowAgtd from the manager's side of the manager socket.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "cli.h"
#include "platform/run_dir.h"
#include "syntax.h"

namespace ofa::mgr::cli {
namespace {

// Options with a value, written "--name value" or "--name=value".
bool take_value(int argc, char** argv, int& i, std::string_view name, std::string& value) {
  std::string_view a = argv[i];
  if (a.starts_with(name) && a.size() > name.size() && a[name.size()] == '=') {
    value = std::string(a.substr(name.size() + 1));
    return true;
  }
  if (a != name) return false;
  if (i + 1 >= argc) {
    std::fprintf(stderr, "ofa-mgr: %s needs a value\n", std::string(name).c_str());
    std::exit(kUsage);
  }
  value = argv[++i];
  return true;
}

[[noreturn]] void usage_error(const std::string& msg) {
  std::fprintf(stderr, "ofa-mgr: %s (ofa-mgr --help)\n", msg.c_str());
  std::exit(kUsage);
}

Options parse(int argc, char** argv) {
  Options o;
  for (int i = 1; i < argc; ++i) {
    std::string_view a = argv[i];
    std::string v;
    if (a == "-h" || a == "--help") {
      o.help = true;
    } else if (a == "-v" || a == "--verbose") {
      o.verbose = true;
    } else if (a == "--dry-run") {
      o.dry_run = true;
    } else if (a == "--json") {
      o.json = true;
    } else if (take_value(argc, argv, i, "--run-dir", v)) {
      setenv("OFA_RUN_DIR", v.c_str(), 1);
    } else if (take_value(argc, argv, i, "--platform", v)) {
      setenv("OFA_PLATFORM", v.c_str(), 1);
    } else if (take_value(argc, argv, i, "--slot", v)) {
      auto n = syntax::number(v, 9, "--slot");
      if (!n.ok()) usage_error(n.error());
      o.slot = static_cast<uint32_t>(n.value());
    } else if (take_value(argc, argv, i, "--timeout", v)) {
      auto d = syntax::duration(v, "--timeout");
      if (!d.ok()) usage_error(d.error());
      o.timeout = d.value();
      o.timeout_given = true;
    } else if (take_value(argc, argv, i, "--count", v)) {
      auto n = syntax::number(v, UINT32_MAX, "--count");
      if (!n.ok()) usage_error(n.error());
      o.count = n.value();
    } else if (a.starts_with("--")) {
      usage_error("unknown option " + std::string(a));
    } else if (o.command.empty()) {
      o.command = a;
    } else {
      o.args.emplace_back(a);
    }
  }
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
