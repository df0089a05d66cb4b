// ofa-chipsim: the chip simulator of one line processor, or (with "ctl") its control client.
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "control/control.h"
#include "control/platform_config.h"
#include "platform/run_dir.h"
#include "server/server.h"

namespace {

constexpr const char* kUsage =
    "usage: ofa-chipsim [options]                 serve the HSL sockets of one slot\n"
    "       ofa-chipsim [options] ctl <command...>  send one control command, print the answer\n"
    "\n"
    "options:\n"
    "  --platform FILE      platform file (default: $OFA_PLATFORM, else the embedded ard switch)\n"
    "  --run-dir DIR        run directory of the sockets (default: $OFA_RUN_DIR, else /tmp/ofa)\n"
    "  --slot N             slot whose sockets to serve (default: the platform's my_slot)\n"
    "  --log FILE           write one JSON line per decoded request\n"
    "  --event-delay-ms N   delay of the start-up events after an agent connects (default 1000)\n"
    "  --no-auto-events     send no start-up events; use \"ctl event ...\"\n"
    "  --help               this text\n"
    "\n"
    "control commands: dump, stats, check, reset, help, fault, event, traffic (see "
    "docs/chipsim.md)\n";

std::atomic<bool> g_stop{false};  // lock-free, so a signal handler may set it

void on_signal(int) {
  g_stop = true;
}

struct Args {
  std::string platform, run_dir, log;
  std::optional<uint32_t> slot;
  uint32_t delay_ms = 1000;
  bool auto_events = true;
  bool help = false;
  std::vector<std::string> ctl;
};

std::optional<uint32_t> parse_u32(const std::string& s) {
  char* end = nullptr;
  errno = 0;
  unsigned long v = std::strtoul(s.c_str(), &end, 0);
  if (s.empty() || *end || errno || v > 0xFFFFFFFFul) return std::nullopt;
  return static_cast<uint32_t>(v);
}

// Answers an error text, or nothing.
std::optional<std::string> parse_args(int argc, char** argv, Args& a) {
  for (int i = 1; i < argc; ++i) {
    std::string k = argv[i];
    auto value = [&]() -> std::optional<std::string> {
      if (i + 1 >= argc) return std::nullopt;
      return std::string(argv[++i]);
    };
    if (k == "ctl") {
      for (++i; i < argc; ++i)
        a.ctl.emplace_back(argv[i]);
      if (a.ctl.empty()) return "ctl wants a command";
      return std::nullopt;
    }
    if (k == "--help" || k == "-h") {
      a.help = true;
    } else if (k == "--no-auto-events") {
      a.auto_events = false;
    } else if (k == "--platform" || k == "--run-dir" || k == "--log" || k == "--slot" ||
               k == "--event-delay-ms") {
      auto v = value();
      if (!v) return k + " wants a value";
      if (k == "--platform") a.platform = *v;
      if (k == "--run-dir") a.run_dir = *v;
      if (k == "--log") a.log = *v;
      if (k == "--slot" || k == "--event-delay-ms") {
        auto n = parse_u32(*v);
        if (!n) return "bad number for " + k + ": " + *v;
        if (k == "--slot") {
          a.slot = *n;
        } else {
          a.delay_ms = *n;
        }
      }
    } else {
      return "unknown argument " + k;
    }
  }
  return std::nullopt;
}

}  // namespace

int main(int argc, char** argv) {
  using namespace ofa;
  Args args;
  if (auto err = parse_args(argc, argv, args)) {
    std::fprintf(stderr, "ofa-chipsim: %s\n%s", err->c_str(), kUsage);
    return 2;
  }
  if (args.help) {
    std::fputs(kUsage, stdout);
    return 0;
  }
  if (!args.run_dir.empty()) ::setenv("OFA_RUN_DIR", args.run_dir.c_str(), 1);
  if (!args.platform.empty()) ::setenv("OFA_PLATFORM", args.platform.c_str(), 1);
  auto parsed = platform::platform_from_env();
  if (auto* e = std::get_if<platform::ParseError>(&parsed)) {
    std::fprintf(stderr, "ofa-chipsim: %s\n", e->message.c_str());
    return 2;
  }
  if (auto refused = platform::check_run_dir()) {
    std::fprintf(stderr, "ofa-chipsim: %s\n", refused->c_str());
    return 2;
  }
  const auto& plat = std::get<platform::Platform>(parsed);
  uint32_t slot = args.slot.value_or(plat.my_slot);
  if (!args.ctl.empty()) {
    std::string line;
    for (const auto& w : args.ctl)
      line += (line.empty() ? "" : " ") + w;
    return chipsim::run_control_client(slot, line);
  }

  chipsim::ModelConfig config = chipsim::model_config(plat);
  config.platform.my_slot = slot;  // the slot whose port ids the queries name
  chipsim::Model model(std::move(config));
  std::unique_ptr<FILE, int (*)(FILE*)> log(nullptr, std::fclose);
  if (!args.log.empty()) {
    log.reset(std::fopen(args.log.c_str(), "w"));
    if (!log) {
      std::perror(("ofa-chipsim: " + args.log).c_str());
      return 2;
    }
    FILE* f = log.get();
    model.set_request_log([f](const std::string& line) {
      std::fputs(line.c_str(), f);
      std::fputc('\n', f);
      std::fflush(f);
    });
  }
  model.set_error_log(
      [](const std::string& line) { std::fprintf(stderr, "ofa-chipsim: %s\n", line.c_str()); });

  chipsim::Control control{model, nullptr, chipsim::platform_slots(plat), {}, 0};
  chipsim::ServerOptions opts;
  opts.slot = slot;
  opts.auto_events = args.auto_events && plat.boot == platform::BootMode::cold;
  opts.event_delay_ms = args.delay_ms;
  chipsim::Server server(model, control, opts);
  control.send = [&server](std::span<const uint8_t> d) { return server.send_event(d); };
  if (auto err = server.open()) {
    std::fprintf(stderr, "ofa-chipsim: %s\n", err->c_str());
    return 1;
  }
  struct sigaction sa {};
  sa.sa_handler = on_signal;
  ::sigaction(SIGINT, &sa, nullptr);
  ::sigaction(SIGTERM, &sa, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
  if (model.family() == chipsim::Family::none)
    std::fprintf(stderr, "ofa-chipsim: model %u has no chip family; every request is refused\n",
                 plat.model);
  std::fprintf(stderr, "ofa-chipsim: slot %u, family %s (model %u), %zu chip(s), serving %s\n",
               slot, std::string(chipsim::family_name(model.family())).c_str(), plat.model,
               model.config().chips.size(), platform::hsl_cmd_path(slot).c_str());
  server.run(g_stop);
  std::fprintf(stderr, "ofa-chipsim: stopped\n");
  return 0;
}
