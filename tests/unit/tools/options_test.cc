// The command line every tool shares: what each word sets, and the text of each refusal.
#include <gtest/gtest.h>

#include "common/options.h"

namespace ofa::tools {
namespace {

struct Options : CommonOptions {
  bool dry_run = false;
  std::string level;
};

// The options that were set, as one line.
std::string read(const Options& o) {
  std::string s = o.command;
  for (const auto& a : o.args)
    s += " " + a;
  if (o.run_dir) s += " run_dir=" + *o.run_dir;
  if (o.platform) s += " platform=" + *o.platform;
  if (o.slot) s += " slot=" + std::to_string(*o.slot);
  if (o.timeout_given) s += " timeout_ms=" + std::to_string(static_cast<int>(o.timeout * 1000));
  for (auto [set, name] : {std::pair{o.json, "json"},
                           {o.verbose, "verbose"},
                           {o.help, "help"},
                           {o.dry_run, "dry_run"}})
    if (set) s += std::string(" ") + name;
  if (!o.level.empty()) s += " level=" + o.level;
  return s;
}

TEST(Options, WordsAndRefusals) {
  // The words, and what they set or the refusal.
  const std::pair<std::vector<std::string>, std::string> rows[] = {
      {{}, ""},
      {{"show", "a", "--json", "b", "-v"}, "show a b json verbose"},
      {{"--run-dir", "/r", "--platform=p.txt", "--slot", "0x3", "x", "-h"},
       "x run_dir=/r platform=p.txt slot=3 help"},
      {{"--timeout=500ms", "--dry-run", "--level", "2"}, " timeout_ms=500 dry_run level=2"},
      {{"--help", "--verbose", "-x"}, "-x verbose help"},
      {{"--slot", "10"}, "ctl: --slot: 10 is out of range (at most 9) (ctl --help)"},
      {{"--timeout", "soon"},
       "ctl: --timeout: 'soon' is not a duration (like 2, 1.5s or 500ms) (ctl --help)"},
      {{"a", "--slot"}, "ctl: --slot needs a value"},
      {{"--level=9"}, "ctl: level 9 is refused (ctl --help)"},
      {{"--json=1"}, "ctl: unknown option --json=1 (ctl --help)"},
      {{"--slotx"}, "ctl: unknown option --slotx (ctl --help)"}};
  for (const auto& [given, want] : rows) {
    Options o;
    const ToolOption own[] = {
        flag("--dry-run", o.dry_run),
        {"--level", true, [&o](std::string_view v) -> std::optional<std::string> {
           if (v == "9") return "level 9 is refused";
           o.level = v;
           return std::nullopt;
         }}};
    std::vector<char*> words;
    for (const auto& w : given)
      words.push_back(const_cast<char*>(w.c_str()));
    auto bad = parse_options("ctl", words, o, own);
    EXPECT_EQ(bad ? *bad : read(o), want) << (given.empty() ? "" : given[0]);
  }
}

}  // namespace
}  // namespace ofa::tools
