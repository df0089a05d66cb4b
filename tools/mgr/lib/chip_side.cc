#include "chip_side.h"

#include <cctype>
#include <charconv>
#include <fstream>
#include <sstream>

#include "common/json.h"
#include "common/line_client.h"
#include "syntax.h"

namespace ofa::mgr {
namespace {

constexpr double kControlTimeout = 5.0;

bool answer_ok(std::string_view answer) {
  return answer.starts_with("{\"ok\":true");
}

std::string answer_error(std::string_view answer) {
  return json_string_field(answer, "error").value_or(std::string(answer));
}

}  // namespace

std::optional<std::string> json_string_field(std::string_view json, std::string_view key) {
  std::string head = "\"" + std::string(key) + "\":\"";
  size_t at = json.find(head);
  if (at == std::string_view::npos) return std::nullopt;
  size_t begin = at + head.size(), i = begin;
  while (i < json.size() && json[i] != '"')
    i += json[i] == '\\' ? 2 : 1;
  if (i >= json.size()) return std::nullopt;
  return tools::json_unescape(json.substr(begin, i - begin));
}

// The counters are the numbers of the "stats" object up to its nested "by_command" object.
std::optional<ChipCounters> chip_counters(std::string_view answer) {
  size_t at = answer.find("\"stats\":{");
  if (!answer_ok(answer) || at == std::string_view::npos) return std::nullopt;
  ChipCounters c;
  std::string_view rest = answer.substr(at + 9);
  while (rest.starts_with("\"")) {
    size_t end = rest.find("\":");
    if (end == std::string_view::npos) break;
    std::string name(rest.substr(1, end - 1));
    rest.remove_prefix(end + 2);
    uint64_t v = 0;
    auto [p, ec] = std::from_chars(rest.data(), rest.data() + rest.size(), v);
    if (ec != std::errc()) break;
    c[name] = v;
    rest.remove_prefix(static_cast<size_t>(p - rest.data()));
    if (rest.starts_with(",")) rest.remove_prefix(1);
  }
  return c;
}

std::string query_line(const ExpectChipStep& s) {
  static constexpr const char* kItem[] = {"port", "vlan", "xlate",   "region", "l2",
                                          "mgid", "nhop", "policer", "stats"};
  std::string line = std::string("query ") + kItem[static_cast<int>(s.item)];
  for (const auto& id : s.ids)
    line += " " + id;
  if (s.chip) line += " chip " + *s.chip;
  return line;
}

std::string check_item(const ExpectChipStep& s, std::string_view answer) {
  if (!answer_ok(answer)) return "the simulator answers: " + answer_error(answer);
  bool found = answer.find("\"found\":true") != std::string_view::npos;
  if (s.absent) return found ? "present: " + json_string_field(answer, "fields").value_or("") : "";
  if (!found) return "absent";
  std::string shown = json_string_field(answer, "fields").value_or("");
  std::map<std::string, std::string> have;
  for (const auto& word : syntax::split(shown, ' ')) {
    auto kv = syntax::split_key(word);
    have[kv.key] = kv.value;
  }
  std::string diff;
  for (const auto& [name, want] : s.fields) {
    auto it = have.find(name);
    if (it == have.end()) {
      diff += (diff.empty() ? "" : ", ") + ("no field " + name + " (" + shown + ")");
    } else if (it->second != want) {
      diff += (diff.empty() ? "" : ", ") + name + "=" + it->second;
    }
  }
  return diff;
}

std::string check_counters(const ExpectChipStep& s, const ChipCounters& now,
                           const ChipCounters& base) {
  std::string diff;
  for (const auto& [name, want] : s.fields) {
    auto it = now.find(name);
    if (it == now.end()) {
      diff += (diff.empty() ? "" : ", ") + ("no counter " + name);
      continue;
    }
    auto b = base.find(name);
    uint64_t since = it->second - (b == base.end() ? 0 : b->second);
    if (std::to_string(since) != want) {
      diff += (diff.empty() ? "" : ", ") + name + "=" + std::to_string(since);
    }
  }
  return diff;
}

ChipSide::ChipSide(std::string control, std::string agent_log)
    : control_(std::move(control)), log_(std::move(agent_log)) {
  if (log_.empty()) return;
  std::ifstream in(log_, std::ios::ate | std::ios::binary);
  if (in) log_offset_ = static_cast<uint64_t>(in.tellg());
}

std::optional<std::string> ChipSide::control(const std::string& command) {
  if (control_.empty()) return std::string("no simulator control socket");
  auto a = tools::ask_line(control_, command, kControlTimeout);
  if (!a.ok()) return a.error();
  if (!answer_ok(a.value())) return "the simulator answers: " + answer_error(a.value());
  if (command == "reset" || command.starts_with("reset ")) base_.clear();
  return std::nullopt;
}

void ChipSide::rebase() {
  if (control_.empty()) return;
  auto a = tools::ask_line(control_, "stats", kControlTimeout);
  if (!a.ok()) return;
  if (auto c = chip_counters(a.value())) base_ = std::move(*c);
}

std::string ChipSide::check(const ExpectChipStep& s) {
  if (control_.empty()) return "no simulator control socket";
  bool counters = s.item == ChipItem::counters;
  auto a = tools::ask_line(control_, counters ? "stats" : query_line(s), kControlTimeout);
  if (!a.ok()) return a.error();
  if (!counters) return check_item(s, a.value());
  auto c = chip_counters(a.value());
  if (!c) return "the simulator answers: " + answer_error(a.value());
  return check_counters(s, *c, base_);
}

std::string ChipSide::check_log(const ExpectLogStep& s) {
  if (log_.empty()) return "no agent log (--agent-log FILE)";
  std::ifstream in(log_, std::ios::ate | std::ios::binary);
  if (!in) return "cannot read " + log_;
  auto size = static_cast<uint64_t>(in.tellg());
  if (size < log_offset_) log_offset_ = 0;  // the file was cut or made anew
  in.seekg(static_cast<std::streamoff>(log_offset_));
  std::stringstream text;
  text << in.rdbuf();
  std::string rest = text.str();
  size_t at = rest.find(s.text);
  if (at == std::string::npos) return "no line with it";
  size_t nl = rest.find('\n', at);
  log_offset_ += nl == std::string::npos ? rest.size() : nl + 1;
  return {};
}

}  // namespace ofa::mgr
