// ofa-mgr's scenario parser: any text is read into steps or refused as "fuzz:LINE: reason" with
// a line that exists. A scenario that parses has its datagrams encoded already; they are shown
// the way `run --dry-run -v` shows them, then decoded and formatted the way `decode --json`
// does, so that encoders and formatters see fuzzed values. Every line is also read on its own
// the way `ofa-mgr send` reads it.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include "codec.h"
#include "expectations.h"
#include "format.h"
#include "json_check.h"
#include "platform/platform_file.h"
#include "scenario.h"
#include "tool_checks.h"

namespace {

using namespace ofa::mgr;

// The embedded default platform (slot 1, its port names), as `ofa-mgr` uses without a file.
const ofa::platform::Platform& platform() {
  static const ofa::platform::Platform p = [] {
    auto r = ofa::platform::parse_platform(ofa::platform::default_platform_text(), "<default>");
    if (!std::holds_alternative<ofa::platform::Platform>(r)) __builtin_trap();
    return std::get<ofa::platform::Platform>(r);
  }();
  return p;
}

void show(const Datagram& dg) {
  volatile size_t sink = hex_text(dg.bytes()).size();
  for (const auto& d : decode_datagram(dg.bytes())) {
    const auto* m = std::get_if<Message>(&d);
    if (!m) continue;
    sink = sink + summary(*m).size() + field_rows(*m).size();
    if (!ofa::fuzz::valid_json(to_json(*m))) __builtin_trap();
  }
  (void)sink;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 8192) return 0;  // scenario lines, not bulk text
  std::string_view text(reinterpret_cast<const char*>(data), size);
  ParseContext ctx{1, &platform()};

  size_t lines = ofa::fuzz::line_count(text);
  auto sc = parse_scenario(text, "fuzz", ctx);
  if (!sc.ok()) {
    if (!ofa::fuzz::names_a_line(sc.error(), "fuzz", 1, lines)) __builtin_trap();
  } else {
    for (const auto& step : sc.value().steps) {
      if (step.line < 1 || static_cast<size_t>(step.line) > lines) __builtin_trap();
      if (const auto* send = std::get_if<SendStep>(&step.action)) {
        if (send->datagrams.empty()) __builtin_trap();
        for (const auto& dg : send->datagrams)
          show(dg);
      } else if (const auto* st = std::get_if<ExpectStatsStep>(&step.action)) {
        volatile size_t sink = conditions_text(*st).size();
        (void)sink;
      }
    }
  }

  size_t pos = 0;
  while (pos <= text.size()) {
    size_t nl = text.find('\n', pos);
    if (nl == std::string_view::npos) nl = text.size();
    auto step = parse_step(text.substr(pos, nl - pos), ctx);
    if (!step.ok() && step.error().empty()) __builtin_trap();
    pos = nl + 1;
  }
  return 0;
}
