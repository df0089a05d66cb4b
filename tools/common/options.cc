#include "common/options.h"

#include <cstdlib>

#include "common/numbers.h"

namespace ofa::tools {
namespace {

using Refusal = std::optional<std::string>;

std::vector<ToolOption> common_options(CommonOptions& o) {
  return {
      flag("-h", o.help),
      flag("--help", o.help),
      flag("-v", o.verbose),
      flag("--verbose", o.verbose),
      flag("--json", o.json),
      {"--run-dir", true,
       [&o](std::string_view v) -> Refusal {
         o.run_dir = std::string(v);
         return std::nullopt;
       }},
      {"--platform", true,
       [&o](std::string_view v) -> Refusal {
         o.platform = std::string(v);
         return std::nullopt;
       }},
      {"--slot", true,
       [&o](std::string_view v) -> Refusal {
         auto n = number(v, 9, "--slot");
         if (!n.ok()) return n.error();
         o.slot = static_cast<uint32_t>(n.value());
         return std::nullopt;
       }},
      {"--timeout", true,
       [&o](std::string_view v) -> Refusal {
         auto d = duration(v, "--timeout");
         if (!d.ok()) return d.error();
         o.timeout = d.value();
         o.timeout_given = true;
         return std::nullopt;
       }},
  };
}

}  // namespace

ToolOption flag(std::string_view name, bool& b) {
  return {name, false, [&b](std::string_view) -> Refusal {
            b = true;
            return std::nullopt;
          }};
}

std::optional<std::string> parse_options(std::string_view tool, std::span<char* const> words,
                                         CommonOptions& o, std::span<const ToolOption> own) {
  const std::string name(tool);
  std::vector<ToolOption> options = common_options(o);
  options.insert(options.end(), own.begin(), own.end());
  for (size_t i = 0; i < words.size(); ++i) {
    std::string_view a = words[i];
    const ToolOption* hit = nullptr;
    std::string_view value;
    for (const ToolOption& t : options) {
      if (a == t.name) {
        hit = &t;
        if (!t.has_value) break;
        if (i + 1 >= words.size()) return name + ": " + std::string(t.name) + " needs a value";
        value = words[++i];
        break;
      }
      if (t.has_value && a.starts_with(t.name) && a.size() > t.name.size() &&
          a[t.name.size()] == '=') {
        hit = &t;
        value = a.substr(t.name.size() + 1);
        break;
      }
    }
    Refusal bad;
    if (hit) {
      bad = hit->take(value);
    } else if (a.starts_with("--")) {
      bad = "unknown option " + std::string(a);
    } else if (o.command.empty()) {
      o.command = a;
    } else {
      o.args.emplace_back(a);
    }
    if (bad) return name + ": " + *bad + " (" + name + " --help)";
  }
  return std::nullopt;
}

void export_paths(const CommonOptions& o) {
  if (o.run_dir) setenv("OFA_RUN_DIR", o.run_dir->c_str(), 1);
  if (o.platform) setenv("OFA_PLATFORM", o.platform->c_str(), 1);
}

}  // namespace ofa::tools
