#include "control/control.h"

#include <charconv>
#include <limits>
#include <type_traits>

#include "common/json.h"
#include "common/text.h"
#include "control/events.h"
#include "model/commands.h"
#include "model/show.h"
#include "model/status.h"
#include "model/views.h"

namespace ofa::chipsim {

namespace {

std::vector<std::string_view> words_of(std::string_view line) {
  std::vector<std::string_view> w;
  size_t i = 0;
  while (i < line.size()) {
    while (i < line.size() && (line[i] == ' ' || line[i] == '\t' || line[i] == '\r'))
      ++i;
    size_t j = i;
    while (j < line.size() && line[j] != ' ' && line[j] != '\t' && line[j] != '\r')
      ++j;
    if (j > i) w.push_back(line.substr(i, j - i));
    i = j;
  }
  return w;
}

// Decimal or 0x-hex, with an optional minus sign.
template <typename T>
std::optional<T> number(std::string_view s) {
  bool neg = !s.empty() && s[0] == '-';
  if (neg) s.remove_prefix(1);
  int base = 10;
  if (s.size() > 2 && s[0] == '0' && (s[1] == 'x' || s[1] == 'X')) {
    s.remove_prefix(2);
    base = 16;
  }
  uint64_t v = 0;
  auto [p, ec] = std::from_chars(s.data(), s.data() + s.size(), v, base);
  if (s.empty() || ec != std::errc() || p != s.data() + s.size()) return std::nullopt;
  if constexpr (std::is_signed_v<T>) {
    if (v > static_cast<uint64_t>(std::numeric_limits<T>::max()) + (neg ? 1 : 0))
      return std::nullopt;
    return neg ? static_cast<T>(-static_cast<int64_t>(v)) : static_cast<T>(v);
  } else {
    if (neg || v > std::numeric_limits<T>::max()) return std::nullopt;
    return static_cast<T>(v);
  }
}

std::string error(std::string_view why) {
  tools::JsonWriter j;
  j.begin_object().key("ok").boolean(false).field("error", why).end_object();
  return j.take();
}

tools::JsonWriter ok() {
  tools::JsonWriter j;
  j.begin_object().key("ok").boolean(true);
  return j;
}

// Options after the positional words: "name value" pairs.
struct Options {
  std::vector<std::pair<std::string_view, std::string_view>> kv;
  std::string bad;
  std::optional<std::string_view> get(std::string_view k) const {
    for (auto& [a, b] : kv)
      if (a == k) return b;
    return std::nullopt;
  }
};

Options options(std::span<const std::string_view> w,
                std::initializer_list<std::string_view> known) {
  Options o;
  for (size_t i = 0; i < w.size(); i += 2) {
    bool ok_name = false;
    for (auto k : known)
      ok_name |= (k == w[i]);
    if (!ok_name || i + 1 >= w.size()) {
      o.bad = "bad option \"" + std::string(w[i]) + "\"";
      return o;
    }
    o.kv.emplace_back(w[i], w[i + 1]);
  }
  return o;
}

constexpr std::string_view kFaultUsage =
    "usage: fault <command> <status> [once|times N|from N] [chip IFINDEX] [class N]";
constexpr std::string_view kSlowUsage =
    "usage: slow <command> <ms> [once|times N|from N] [chip IFINDEX] [class N]";

// The words after the command and its status (or delay): the count, then "chip IFINDEX" and
// "class N" at the end in either order. An error text, or empty.
std::string fault_tail(std::vector<std::string_view> rest, Fault& f, std::string_view usage) {
  while (rest.size() >= 2 &&
         (rest[rest.size() - 2] == "chip" || rest[rest.size() - 2] == "class")) {
    auto v = number<uint32_t>(rest.back());
    bool chip = rest[rest.size() - 2] == "chip";
    if (!v || *v == 0)
      return std::string(chip ? "bad chip \"" : "bad class \"") + std::string(rest.back()) + "\"";
    (chip ? f.chip : f.cls) = *v;
    rest.resize(rest.size() - 2);
  }
  if (rest.empty()) return {};
  if (rest[0] == "once" && rest.size() == 1) {
    f.mode = FaultMode::once;
  } else if ((rest[0] == "times" || rest[0] == "from") && rest.size() == 2) {
    auto n = number<uint32_t>(rest[1]);
    if (!n || *n == 0) return "bad count \"" + std::string(rest[1]) + "\"";
    f.mode = rest[0] == "times" ? FaultMode::times : FaultMode::from;
    f.n = *n;
  } else {
    return std::string(usage);
  }
  return {};
}

std::string cmd_fault(Control& c, std::span<const std::string_view> w) {
  if (w.empty()) return error(kFaultUsage);
  if (w[0] == "list") {
    auto j = ok();
    j.key("faults").begin_array();
    for (const auto& f : c.model.faults())
      j.begin_object()
          .field("command", command_name(f.command))
          .field("status", f.status)
          .field("chip", f.chip)
          .field("class", f.cls)
          .field("delay_ms", f.delay_ms)
          .field("n", f.n)
          .field("seen", f.seen)
          .field("fired", f.fired)
          .end_object();
    return j.end_array().end_object().take();
  }
  if (w[0] == "clear") {
    std::optional<uint32_t> command;
    if (w.size() > 1) {
      command = command_from_text(w[1]);
      if (!command) return error("unknown command \"" + std::string(w[1]) + "\"");
    }
    c.model.clear_faults(command);
    return ok().end_object().take();
  }
  auto command = command_from_text(w[0]);
  if (!command) return error("unknown command \"" + std::string(w[0]) + "\"");
  if (w.size() < 2) return error("fault wants a status");
  auto st = number<int32_t>(w[1]);
  if (!st) return error("bad status \"" + std::string(w[1]) + "\"");
  Fault f;
  f.command = *command;
  f.status = *st;
  if (auto e = fault_tail({w.begin() + 2, w.end()}, f, kFaultUsage); !e.empty()) return error(e);
  c.model.add_fault(f);
  return ok()
      .field("command", command_name(f.command))
      .field("status", f.status)
      .end_object()
      .take();
}

// Slow answers: the request is carried out, and answered `ms` later; every such request unless a
// mode says otherwise. Removed with fault clear.
std::string cmd_slow(Control& c, std::span<const std::string_view> w) {
  if (w.size() < 2) return error(kSlowUsage);
  auto command = command_from_text(w[0]);
  if (!command) return error("unknown command \"" + std::string(w[0]) + "\"");
  auto ms = number<uint32_t>(w[1]);
  if (!ms || *ms == 0 || *ms > 10000) return error("bad delay \"" + std::string(w[1]) + "\"");
  Fault f;
  f.command = *command;
  f.status = 0;
  f.delay_ms = *ms;
  f.mode = FaultMode::from;  // unlike a fault, a slow answer stays until cleared unless told
  f.n = 1;
  if (auto e = fault_tail({w.begin() + 2, w.end()}, f, kSlowUsage); !e.empty()) return error(e);
  c.model.add_fault(f);
  return ok()
      .field("command", command_name(f.command))
      .field("delay_ms", f.delay_ms)
      .end_object()
      .take();
}

std::optional<std::string> send(Control& c, const std::vector<uint8_t>& d) {
  auto err = c.send ? c.send(d) : std::optional<std::string>("no event sender");
  if (err) {
    ++c.counters.event_failures;
  } else {
    ++c.counters.events_sent;
  }
  return err;
}

std::string cmd_event(Control& c, std::span<const std::string_view> w) {
  if (w.empty()) return error("usage: event chip-up|chip-down|slot-up|slot-down|ignored|error ...");
  if (w[0] == "error") {
    Options o = options(w.subspan(1), {"code", "type", "seq"});
    if (!o.bad.empty()) return error(o.bad);
    auto code = number<int32_t>(o.get("code").value_or("-1"));
    auto type = number<uint16_t>(o.get("type").value_or("203"));
    auto seq = number<uint32_t>(o.get("seq").value_or("0"));
    if (!code || !type || !seq) return error("bad number");
    if (auto err = send(c, error_datagram(*code, *type, *seq, ++c.event_seq))) return error(*err);
    return ok().field("sent", 1).end_object().take();
  }
  uint32_t event;
  if (w[0] == "chip-up") {
    event = kEventChipUp;
  } else if (w[0] == "chip-down") {
    event = kEventChipDown;
  } else if (w[0] == "slot-up") {
    event = kEventSlotUp;
  } else if (w[0] == "slot-down") {
    event = kEventSlotDown;
  } else if (w[0] == "ignored") {
    event = kEventIgnored;
  } else {
    return error("unknown event \"" + std::string(w[0]) + "\"");
  }
  // "close none" and "close type N" take one and two words.
  std::vector<std::string_view> rest(w.begin() + 1, w.end());
  EventShape shape;
  for (size_t i = 0; i < rest.size(); ++i) {
    if (rest[i] != "close") continue;
    if (i + 1 < rest.size() && rest[i + 1] == "none") {
      shape.close = false;
      rest.erase(rest.begin() + static_cast<std::ptrdiff_t>(i),
                 rest.begin() + static_cast<std::ptrdiff_t>(i) + 2);
    } else if (i + 2 < rest.size() && rest[i + 1] == "type") {
      auto t = number<uint16_t>(rest[i + 2]);
      if (!t) return error("bad close type");
      shape.close_type = *t;
      rest.erase(rest.begin() + static_cast<std::ptrdiff_t>(i),
                 rest.begin() + static_cast<std::ptrdiff_t>(i) + 3);
    } else {
      return error("usage: close none | close type N");
    }
    break;
  }
  Options o = options(rest, {"slot", "chip", "class"});
  if (!o.bad.empty()) return error(o.bad);
  std::optional<uint32_t> slot, chip;
  if (auto s = o.get("slot")) {
    slot = number<uint32_t>(*s);
    if (!slot) return error("bad slot");
  }
  if (auto s = o.get("chip")) {
    chip = number<uint32_t>(*s);
    if (!chip) return error("bad chip");
  }
  if (auto s = o.get("class")) {
    auto v = number<uint32_t>(*s);
    if (!v) return error("bad class");
    shape.cls = *v;
  }
  std::vector<std::vector<uint8_t>> out;
  bool chip_event = event == kEventChipUp || event == kEventChipDown;
  if (chip_event) {
    for (const auto& cc : c.model.config().chips) {
      if ((slot && cc.slot != *slot) || (chip && cc.local_id != *chip)) continue;
      out.push_back(event_datagram(event, cc.slot, &cc, ++c.event_seq, shape));
    }
    // A chip the platform does not describe can still be announced, with type 0 and no flat id.
    if (out.empty() && slot && chip) {
      ChipConfig cc{*slot, *chip, 0};
      out.push_back(event_datagram(event, cc.slot, &cc, ++c.event_seq, shape));
    }
  } else if (slot) {
    out.push_back(event_datagram(event, *slot, nullptr, ++c.event_seq, shape));
  } else {
    for (uint32_t s : c.slots)
      out.push_back(event_datagram(event, s, nullptr, ++c.event_seq, shape));
  }
  if (out.empty()) return error("no such chip");
  size_t sent = 0;
  for (const auto& d : out) {
    if (auto err = send(c, d)) return error(*err + " after " + std::to_string(sent) + " sent");
    ++sent;
  }
  return ok().field("sent", static_cast<uint64_t>(sent)).end_object().take();
}

std::string cmd_traffic(Control& c, std::span<const std::string_view> w) {
  auto usage = [] {
    return error(
        "usage: traffic all P B | entry LDEV REGION HANDLE P B | policer ID INST A B |"
        " queue IFINDEX Q P B  [chip IFINDEX]");
  };
  if (w.empty()) return usage();
  size_t npos = w[0] == "all"                            ? 2
                : w[0] == "entry"                        ? 5
                : (w[0] == "policer" || w[0] == "queue") ? 4
                                                         : 0;
  if (npos == 0 || w.size() < 1 + npos) return usage();
  std::vector<uint64_t> v;
  for (size_t i = 1; i <= npos; ++i) {
    auto n = number<uint64_t>(w[i]);
    if (!n) return error("bad number \"" + std::string(w[i]) + "\"");
    v.push_back(*n);
  }
  Options o = options(w.subspan(1 + npos), {"chip"});
  if (!o.bad.empty()) return error(o.bad);
  std::optional<uint32_t> chip;
  if (auto s = o.get("chip")) {
    chip = number<uint32_t>(*s);
    if (!chip) return error("bad chip");
  }
  auto u32 = [](uint64_t x) { return static_cast<uint32_t>(x); };
  size_t n = 0;
  if (w[0] == "all") {
    n = c.model.traffic_all(v[0], v[1]);
  } else if (w[0] == "entry") {
    n = c.model.traffic_entry(chip, static_cast<uint8_t>(v[0]), static_cast<uint8_t>(v[1]),
                              u32(v[2]), v[3], v[4]);
  } else if (w[0] == "policer") {
    n = c.model.traffic_policer(chip, u32(v[0]), u32(v[1]), v[2], v[3]);
  } else {
    n = c.model.traffic_queue(chip, u32(v[0]), u32(v[1]), v[2], v[3]);
  }
  return ok().field("advanced", static_cast<uint64_t>(n)).end_object().take();
}

// A VLAN id or "all".
std::optional<uint32_t> vlan_number(std::string_view s) {
  if (s == "all") return kAllVlans;
  return number<uint32_t>(s);
}

std::string cmd_show(Control& c, std::span<const std::string_view> w) {
  if (w.empty()) return ok().field("text", show_text(c.model)).end_object().take();
  bool l2 = w[0] == "l2";
  if (w.size() > (l2 ? 1 : 2) || (w[0] != "ports" && w[0] != "vlans" && w[0] != "xlate" && !l2))
    return error("usage: show [ports [ID] | vlans [ID|all] | xlate [PORT] | l2]");
  std::optional<uint32_t> id;
  if (w.size() == 2) {
    id = w[0] == "vlans" ? vlan_number(w[1]) : number<uint32_t>(w[1]);
    if (!id) return error("bad id \"" + std::string(w[1]) + "\"");
  }
  std::string text = l2                ? show_l2(c.model)
                     : w[0] == "ports" ? show_ports(c.model, id)
                     : w[0] == "xlate" ? show_xlate(c.model, id)
                                       : show_vlans(c.model, id);
  return ok().field("text", text).end_object().take();
}

constexpr std::string_view kQueryUsage =
    "usage: query port ID | vlan ID|all | xlate PORT IIVID | region LDEV REGION | l2 IIVID MAC | "
    "mgid ID | nhop ID | policer ID INSTANCE  [chip IFINDEX]";

// The first chip that holds the object, else the first chip.
template <typename Has>
const ChipState* holder(const Model& m, Has has) {
  for (const auto& [ifx, c] : m.chips())
    if (has(c)) return &c;
  return m.chips().empty() ? nullptr : &m.chips().begin()->second;
}

// One port, VLAN, translation, region, group, next hop or policer of one chip: the port's own
// chip, the first chip holding the object, or the first chip, unless "chip IFINDEX" names one.
std::string cmd_query(Control& c, std::span<const std::string_view> w) {
  size_t npos = w.empty()                                                                    ? 0
                : (w[0] == "xlate" || w[0] == "region" || w[0] == "l2" || w[0] == "policer") ? 2
                : (w[0] == "port" || w[0] == "vlan" || w[0] == "mgid" || w[0] == "nhop")     ? 1
                                                                                             : 0;
  if (npos == 0 || w.size() < 1 + npos) return error(kQueryUsage);
  std::vector<uint32_t> v;
  std::optional<Mac> mac;
  if (w[0] == "l2" && !(mac = tools::mac_parse(w[2])))
    return error("bad MAC \"" + std::string(w[2]) + "\"");
  for (size_t i = 1; i <= (mac ? 1 : npos); ++i) {
    auto n = w[0] == "vlan" ? vlan_number(w[i]) : number<uint32_t>(w[i]);
    if (!n) return error("bad number \"" + std::string(w[i]) + "\"");
    v.push_back(*n);
  }
  Options o = options(w.subspan(1 + npos), {"chip"});
  if (!o.bad.empty()) return error(o.bad);
  bool by_port = w[0] == "port" || w[0] == "xlate";
  uint32_t port = !by_port || v[0] == 0 ? 0 : port_ifindex_of(c.model, v[0]);
  const ChipState* chip = home_chip(c.model, port);
  if (w[0] == "mgid")
    chip = holder(c.model, [&](const ChipState& x) { return x.mgids.contains(v[0]); });
  if (w[0] == "nhop")
    chip = holder(c.model, [&](const ChipState& x) { return x.nhops.contains(v[0]); });
  if (w[0] == "policer")
    chip = holder(c.model, [&](const ChipState& x) { return x.policers.contains({v[0], v[1]}); });
  if (auto s = o.get("chip")) {
    auto ifx = number<uint32_t>(*s);
    auto it = ifx ? c.model.chips().find(*ifx) : c.model.chips().end();
    if (it == c.model.chips().end()) return error("no chip \"" + std::string(*s) + "\"");
    chip = &it->second;
  }
  if (!chip) return error("no chip");
  std::optional<Item> f;
  if (w[0] == "port") {
    if (auto it = chip->ports.find(port); it != chip->ports.end())
      f = port_fields(c.model, *chip, port, it->second);
  } else if (w[0] == "vlan") {
    f = vlan_fields(*chip, v[0]);
  } else if (w[0] == "region") {
    f = region_fields(*chip, static_cast<uint8_t>(v[0]), static_cast<uint8_t>(v[1]));
  } else if (mac) {
    f = l2_fields(*chip, v[0], *mac);
  } else if (w[0] == "mgid") {
    f = mgid_fields(*chip, v[0]);
  } else if (w[0] == "nhop") {
    f = nhop_fields(*chip, v[0]);
  } else if (w[0] == "policer") {
    f = policer_fields(*chip, v[0], v[1]);
  } else {
    f = xlate_fields(c.model, *chip, port, v[1]);
  }
  auto j = ok();
  j.field("chip", chip->ifindex).key("found").boolean(f.has_value());
  if (f) j.field("fields", fields_text(*f));
  return j.end_object().take();
}

std::string cmd_stats(Control& c) {
  auto j = ok();
  j.key("stats").raw(c.model.stats_json());
  j.key("server")
      .begin_object()
      .field("events_sent", c.counters.events_sent)
      .field("event_failures", c.counters.event_failures)
      .field("agent_connections", c.counters.agent_connections)
      .field("control_commands", c.counters.control_commands)
      .end_object();
  return j.end_object().take();
}

}  // namespace

std::string send_startup_events(Control& c) {
  uint64_t before = c.counters.events_sent;
  std::string a = cmd_event(c, std::vector<std::string_view>{"slot-up"});
  if (a.rfind("{\"ok\":true", 0) == 0) a = cmd_event(c, std::vector<std::string_view>{"chip-up"});
  if (a.rfind("{\"ok\":true", 0) != 0) return a;
  return ok().field("sent", c.counters.events_sent - before).end_object().take();
}

std::string control_command(Control& c, std::string_view line) {
  ++c.counters.control_commands;
  auto w = words_of(line);
  if (w.empty()) return error("empty command");
  std::span<const std::string_view> args(w.begin() + 1, w.end());
  if (w[0] == "dump") return ok().key("state").raw(c.model.dump_json()).end_object().take();
  if (w[0] == "stats") return cmd_stats(c);
  if (w[0] == "show") return cmd_show(c, args);
  if (w[0] == "query") return cmd_query(c, args);
  if (w[0] == "reset") {
    c.model.reset();
    return ok().end_object().take();
  }
  if (w[0] == "check") {
    auto problems = check_invariants(c.model);
    auto j = ok();
    j.key("consistent").boolean(problems.empty()).key("problems").begin_array();
    for (const auto& p : problems)
      j.value(p);
    j.end_array().key("dangling").begin_array();
    for (const auto& d : check_dangling(c.model))
      j.value(d);
    return j.end_array().end_object().take();
  }
  if (w[0] == "fault") return cmd_fault(c, args);
  if (w[0] == "slow") return cmd_slow(c, args);
  if (w[0] == "event") return cmd_event(c, args);
  if (w[0] == "traffic") return cmd_traffic(c, args);
  if (w[0] == "help") {
    auto j = ok();
    j.key("commands").begin_array();
    for (auto s :
         {"dump", "show [ports [ID] | vlans [ID|all] | xlate [PORT] | l2]",
          "query port ID | vlan ID|all | xlate PORT IIVID | region LDEV REGION | l2 IIVID MAC | "
          "mgid ID | nhop ID | policer ID INSTANCE [chip IFINDEX]",
          "stats", "check", "reset",
          "fault <command> <status> [once|times N|from N] [chip IFINDEX] [class N]",
          "slow <command> <ms> [once|times N|from N] [chip IFINDEX] [class N]",
          "fault clear [command]", "fault list",
          "event chip-up|chip-down|slot-up|slot-down|ignored [slot N] [chip N] [class N] "
          "[close none|close type N]",
          "event error [code N] [type N] [seq N]", "traffic all P B",
          "traffic entry LDEV REGION HANDLE P B [chip IFINDEX]",
          "traffic policer ID INSTANCE A B [chip IFINDEX]",
          "traffic queue IFINDEX QUEUE P B [chip IFINDEX]"})
      j.value(s);
    return j.end_array().end_object().take();
  }
  return error("unknown command \"" + std::string(w[0]) + "\"; try help");
}

}  // namespace ofa::chipsim
