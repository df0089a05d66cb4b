// ofa-chipsim's settings: a platform file turned into the model's configuration, then control
// commands against that model. A bad platform file is refused as "fuzz:LINE: reason" (the
// simulator then starts on the embedded default, as here); every control line gets one JSON
// answer, {"ok":true,...} or {"ok":false,"error":...}; the model stays consistent throughout.
//
// Input: platform text, a line "---", then control commands one per line. Without the "---"
// line the whole input is control commands against the default platform.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "control/control.h"
#include "control/platform_config.h"
#include "json_check.h"
#include "model/model.h"
#include "platform/platform_file.h"
#include "tool_checks.h"

namespace {

using namespace ofa;

platform::Platform platform_of(std::string_view text) {
  auto parsed = platform::parse_platform(text, "fuzz");
  if (auto* p = std::get_if<platform::Platform>(&parsed)) return *p;
  // A whole-file fault (an empty file, a missing key) names line 0.
  const auto& error = std::get<platform::ParseError>(parsed).message;
  if (!ofa::fuzz::names_a_line(error, "fuzz", 0, ofa::fuzz::line_count(text))) __builtin_trap();
  auto fallback = platform::parse_platform(platform::default_platform_text(), "<default>");
  return std::get<platform::Platform>(fallback);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 16384) return 0;
  std::string_view text(reinterpret_cast<const char*>(data), size);
  std::string_view commands = text;
  std::optional<platform::Platform> plat;
  if (size_t sep = text.find("\n---\n");
      sep != std::string_view::npos || text.starts_with("---\n")) {
    size_t at = text.starts_with("---\n") ? 0 : sep + 1;
    plat = platform_of(text.substr(0, at));
    commands = text.substr(at + 4);
  } else {
    plat = platform_of(platform::default_platform_text());
  }

  chipsim::Model model(chipsim::model_config(*plat));
  model.set_error_log([](const std::string&) {});
  chipsim::Control ctl{model, nullptr, chipsim::platform_slots(*plat), {}, 0};
  size_t events = 0;
  ctl.send = [&events](std::span<const uint8_t> d) -> std::optional<std::string> {
    if (d.empty()) __builtin_trap();
    return ++events % 7 == 0 ? std::optional<std::string>("no agent") : std::nullopt;
  };
  if (!ofa::fuzz::valid_json(chipsim::send_startup_events(ctl))) __builtin_trap();

  size_t pos = 0;
  while (pos < commands.size()) {
    size_t nl = commands.find('\n', pos);
    if (nl == std::string_view::npos) nl = commands.size();
    std::string answer = chipsim::control_command(ctl, commands.substr(pos, nl - pos));
    pos = nl + 1;
    if (!answer.starts_with("{\"ok\":") || !ofa::fuzz::valid_json(answer)) __builtin_trap();
    if (!chipsim::check_invariants(model).empty()) __builtin_trap();
  }
  return 0;
}
