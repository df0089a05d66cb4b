#include "format.h"

#include <cinttypes>
#include <cstdio>
#include <span>
#include <type_traits>

#include "codec.h"
#include "common/json.h"
#include "common/text.h"
#include "layout.h"

namespace ofa::mgr {
namespace {

std::string fmt(const char* f, auto... args) {
  char buf[256];
  snprintf(buf, sizeof buf, f, args...);
  return buf;
}

// Receives the fields of a message in order, with list structure.
class Sink {
 public:
  virtual ~Sink() = default;
  virtual void number(const char* name, uint64_t v) = 0;
  virtual void integer(const char* name, int64_t v) = 0;
  virtual void address(const char* name, uint32_t v) = 0;  // an IPv4 address or mask
  virtual void bits(const char* name, uint32_t v) = 0;     // a word of flag bits
  virtual void string(const char* name, const std::string& v) = 0;
  virtual void ports(const char* name, const std::vector<uint32_t>& v) = 0;
  virtual void begin_list(const char* name) = 0;
  virtual void begin_item() = 0;
  virtual void end_item() = 0;
  virtual void end_list() = 0;
};

// Hands each described field to a sink.
struct Show {
  Sink& s;
  template <class T>
  void u8(size_t, const char* n, T x) {
    s.number(n, static_cast<uint8_t>(x));
  }
  template <class T>
  void u16(size_t, const char* n, T x) {
    s.number(n, static_cast<uint16_t>(x));
  }
  template <class T>
  void u32(size_t, const char* n, T x) {
    if constexpr (std::is_signed_v<T>) {
      s.integer(n, x);  // the group id of a member is signed
    } else {
      s.number(n, static_cast<uint32_t>(x));
    }
  }
  void u64(size_t, const char* n, uint64_t x) { s.number(n, x); }
  void ip(size_t, const char* n, uint32_t x) { s.address(n, x); }
  void bits(size_t, const char* n, uint32_t x) { s.bits(n, x); }
  void hi16(size_t, const char* n, uint32_t x) { s.bits(n, x); }
  void flag_v1(size_t, const char* n, uint32_t x) { s.number(n, (x & kActMemberFlag) ? 1 : 0); }
  void mac(size_t, const char* n, const Mac& m) { s.string(n, tools::mac_text(m)); }
  template <size_t N>
  void raw(size_t, const char* n, const std::array<uint8_t, N>& a) {
    s.string(n, hex_text(a));
  }
  void text(size_t, size_t, const char* n, const std::string& t) { s.string(n, t); }
  void mask(size_t, const char* n, const PortMask& m) { s.ports(n, m.ports()); }
};

template <class T, class F>
void list(Show& v, const char* name, const std::vector<T>& items, F&& each) {
  v.s.begin_list(name);
  for (size_t i = 0; i < items.size(); ++i) {
    v.s.begin_item();
    each(items[i]);
    v.s.end_item();
  }
  v.s.end_list();
}

void show(Show& v, const ConfigMsg& m) {
  layout::config(v, m);
}
void show(Show& v, const SyncCompleteMsg& m) {
  v.u32(0, "body_length", m.body_length);
}
void show(Show& v, const FlowMsg& m) {
  layout::flow_head(v, m);
  list(v, "members", m.members, [&](const FlowMember& mem) {
    if (m.version == 1) {
      layout::member_v1(v, mem, 0);
    } else {
      layout::member_v4(v, mem, 0);
    }
  });
}
void show(Show& v, const GroupMsg& m) {
  layout::group_head(v, m);
  list(v, "buckets", m.buckets, [&](const GroupBucket& b) { layout::bucket(v, b, 0); });
}
void show(Show& v, const MeterMsg& m) {
  layout::meter(v, m);
}
void show(Show& v, const VlanMsg& m) {
  layout::vlan(v, m);
}
void show(Show& v, const PortVlanMsg& m) {
  layout::port_vlan(v, m);
}
void show(Show& v, const EvtMsg& m) {
  layout::evt(v, m);
}
void show(Show& v, const StatusMsg& m) {
  layout::status(v, m);
}
void show(Show& v, const RegisterMsg& m) {
  layout::register_msg(v, m);
}
void show(Show& v, const FlowStatsMsg& m) {
  layout::flow_stats(v, m);
}
void show(Show& v, const QueueStatsMsg& m) {
  layout::queue_stats_head(v, m);
  std::vector<QueueRecord> q(m.queues.begin(), m.queues.end());
  list(v, "queues", q, [&](const QueueRecord& r) { layout::queue_record(v, r, 0); });
}
void show(Show& v, const MeterStatsMsg& m) {
  v.u32(0, "count", m.records.size());
  list(v, "records", m.records, [&](const MeterRecord& r) { layout::meter_record(v, r, 0); });
}

class JsonSink : public Sink {
 public:
  tools::JsonWriter j;
  void number(const char* n, uint64_t v) override { j.field(n, v); }
  void integer(const char* n, int64_t v) override { j.field(n, v); }
  void address(const char* n, uint32_t v) override { number(n, v); }
  void bits(const char* n, uint32_t v) override { number(n, v); }
  void string(const char* n, const std::string& v) override { j.field(n, v); }
  void ports(const char* n, const std::vector<uint32_t>& v) override {
    j.key(n).begin_array();
    for (uint32_t p : v)
      j.value(p);
    j.end_array();
  }
  void begin_list(const char* n) override { j.key(n).begin_array(); }
  void begin_item() override { j.begin_object(); }
  void end_item() override { j.end_object(); }
  void end_list() override { j.end_array(); }
};

class RowSink : public Sink {
 public:
  std::vector<std::pair<std::string, std::string>> rows;
  void number(const char* n, uint64_t v) override { rows.emplace_back(name(n), std::to_string(v)); }
  void integer(const char* n, int64_t v) override { rows.emplace_back(name(n), std::to_string(v)); }
  void address(const char* n, uint32_t v) override {
    rows.emplace_back(name(n), tools::ip_text(v));
  }
  void bits(const char* n, uint32_t v) override { rows.emplace_back(name(n), fmt("0x%08x", v)); }
  void string(const char* n, const std::string& v) override { rows.emplace_back(name(n), v); }
  void ports(const char* n, const std::vector<uint32_t>& v) override {
    std::string s;
    for (size_t i = 0; i < v.size(); ++i)
      s += (i ? "," : "") + std::to_string(v[i]);
    rows.emplace_back(name(n), s.empty() ? "-" : s);
  }
  void begin_list(const char* n) override {
    list_ = n;
    index_ = 0;
  }
  void begin_item() override { in_item_ = true; }
  void end_item() override {
    in_item_ = false;
    ++index_;
  }
  void end_list() override { list_.clear(); }

 private:
  std::string name(const char* n) const {
    if (!in_item_) return n;
    return list_ + "[" + std::to_string(index_) + "]." + n;
  }
  std::string list_;
  size_t index_ = 0;
  bool in_item_ = false;
};

std::string status_word(const StatusMsg& s) {
  if (s.status == 0) return "failure";
  if (s.text.starts_with(kPseudoPrefix)) return "pseudo";
  return "success";
}

std::string summarize(const StatusMsg& s) {
  return fmt("STATUS       flow %-8u %-18s %-8s cid %-3u xid %-8u %4" PRIu64 " ms  \"%s\"",
             s.flow_id, std::string(sub_type_name(s.sub_type)).c_str(), status_word(s).c_str(),
             controller_id(s.controller_word), s.xid, s.end_ms - s.start_ms, s.text.c_str());
}
std::string summarize(const RegisterMsg& r) {
  return fmt("REGISTER     slot %u", r.slot);
}
std::string summarize(const FlowStatsMsg& f) {
  return fmt("FLOW STATS   flow %-8u packets %-12" PRIu64 " bytes %" PRIu64, f.flow_id, f.packets,
             f.bytes);
}
std::string summarize(const QueueStatsMsg& q) {
  std::string s = fmt("QUEUE STATS  port %-4u", q.port_id);
  bool any = false;
  for (const auto& r : q.queues) {
    if (r.packets == 0 && r.bytes == 0) continue;
    s += fmt("  q%u %" PRIu64 "p/%" PRIu64 "B", r.queue, r.packets, r.bytes);
    any = true;
  }
  return any ? s : s + "  all queues 0";
}
std::string summarize(const MeterStatsMsg& m) {
  std::string s =
      fmt("METER STATS  %zu record%s", m.records.size(), m.records.size() == 1 ? "" : "s");
  for (const auto& r : m.records) {
    s += fmt("  [meter %u in %" PRIu64 "B drop %" PRIu64 "B remark %" PRIu64 "B]", r.meter_id,
             r.in_bytes, r.drop_bytes, r.remark_bytes);
  }
  return s;
}
std::string summarize(const FlowMsg& f) {
  return fmt("FLOW         %-18s id %-8u prio %-6u v%u members %u%s",
             std::string(sub_type_name(f.sub_type)).c_str(), f.flow_id, f.priority, f.version,
             static_cast<unsigned>(f.members.size()), f.more_fragments ? " (more fragments)" : "");
}
std::string summarize(const ConfigMsg& c) {
  std::string target = config_carries_port_id(c.sub_cmd) ? fmt("port %u", c.port_id) : "";
  if (!config_carries_port_id(c.sub_cmd)) {
    auto ports = c.ports.ports();
    if (!ports.empty()) target = fmt("ports %zu from %u", ports.size(), ports.front());
  }
  return fmt("CONFIG       %-18s add %u value %u %s", std::string(sub_type_name(c.sub_cmd)).c_str(),
             c.add, c.value, target.c_str());
}
std::string summarize(const SyncCompleteMsg& s) {
  return fmt("SYNC         complete (%u bytes)", s.body_length);
}
std::string summarize(const GroupMsg& g) {
  return fmt("GROUP        %-18s id %-8u type %u mgid %u nhop %u buckets %u",
             std::string(sub_type_name(g.sub_type)).c_str(), g.group_id, g.type, g.mgid, g.nhopid,
             g.bucket_count_override ? g.bucket_count : static_cast<uint32_t>(g.buckets.size()));
}
std::string summarize(const MeterMsg& m) {
  return fmt("METER        %-18s id %-8u bands %u drop %u/%u dscp %u/%u/%u",
             std::string(sub_type_name(m.sub_type)).c_str(), m.meter_id, m.band_cnt, m.drop_rate,
             m.drop_burst, m.dscp_rate, m.dscp_burst, m.dscp_prec_level);
}
std::string summarize(const VlanMsg& v) {
  return fmt("VLAN         %-18s vlan %u iivid %u", std::string(sub_type_name(v.sub_type)).c_str(),
             v.vlan_id, v.iivid);
}
std::string summarize(const PortVlanMsg& v) {
  return fmt("PORT VLAN    %-18s port %u vlan %u", std::string(sub_type_name(v.sub_type)).c_str(),
             v.port_id, v.vlan_id);
}
std::string summarize(const EvtMsg& e) {
  return fmt("EVT          %-18s port %u iivid %d type %u in_vlan %u tag_action %u out_vlan %u",
             std::string(sub_type_name(e.sub_type)).c_str(), e.out_port,
             static_cast<int32_t>(e.iivid), e.type, e.in_vlan, e.tag_action, e.out_vlan);
}

}  // namespace

std::string_view message_kind(const Message& m) {
  static constexpr std::string_view kKinds[] = {
      "config", "sync_complete", "flow",     "group",      "meter",       "vlan",       "port_vlan",
      "evt",    "status",        "register", "flow_stats", "queue_stats", "meter_stats"};
  static_assert(std::size(kKinds) == std::variant_size_v<Message>);
  return kKinds[m.index()];
}

std::string summary(const Message& m) {
  return std::visit([](const auto& msg) { return summarize(msg); }, m);
}

std::vector<std::pair<std::string, std::string>> field_rows(const Message& m) {
  RowSink sink;
  Show v{sink};
  std::visit([&](const auto& msg) { show(v, msg); }, m);
  return std::move(sink.rows);
}

std::string to_json(const Message& m) {
  JsonSink sink;
  sink.j.begin_object().field("kind", message_kind(m)).field("type", message_type(m));
  Show v{sink};
  std::visit([&](const auto& msg) { show(v, msg); }, m);
  return sink.j.end_object().take();
}

std::string hex_text(std::span<const uint8_t> bytes) {
  static constexpr char kHex[] = "0123456789abcdef";
  std::string s;
  s.reserve(bytes.size() * 2);
  for (uint8_t b : bytes) {
    s += kHex[b >> 4];
    s += kHex[b & 0xf];
  }
  return s;
}

}  // namespace ofa::mgr
