// Multicast groups, next hops and policers.
#include <string>

#include "model/commands.h"
#include "model/exchange.h"

namespace ofa::chipsim {

namespace {

std::string num(uint64_t v) {
  return std::to_string(v);
}

constexpr uint32_t kL2GroupLen = 312;  // one member with room for 64 ports
constexpr uint32_t kMaxPaths = 8;
constexpr uint32_t kMultiPathLen = 196;

void emit_members(tools::JsonWriter* j, const std::vector<MgidMember>& members) {
  if (!j) return;
  j->key("members").begin_array();
  for (const auto& m : members) {
    j->begin_object().field("word0", m.word0).field("iivid", m.iivid);
    j->key("ports").begin_array();
    for (uint32_t p : m.ports)
      j->value(p);
    j->end_array().end_object();
  }
  j->end_array();
}

}  // namespace

int32_t handle_mgid_set(Exchange& x) {
  auto r = x.in();
  uint32_t mgid = r.u32_at(28), count = r.u32_at(32);
  x.f("mgid", mgid);
  x.f("count", count);
  if (x.req_len < 36) return x.fail(status::kInvalid, "request length " + num(x.req_len));
  std::vector<MgidMember> members;
  size_t pos = 36;
  std::string bad;
  for (uint32_t i = 0; i < count && bad.empty(); ++i) {
    MgidMember m;
    m.word0 = r.u32_at(pos);
    m.iivid = r.u32_at(pos + 4);
    uint8_t one = r.u8_at(pos + 12);
    uint32_t nports = r.u16_at(pos + 14);
    if (!r.ok() || pos + 20 + 4ull * nports > x.req_len) {
      bad = "member " + num(i) + " runs past the request's end";
      break;
    }
    for (uint32_t p = 0; p < nports; ++p)
      m.ports.push_back(r.u32_at(pos + 20 + 4 * p));
    bool marked = i == 0 || x.rules.all_mgid_members_marked;
    if (one != 1) bad = "member " + num(i) + " byte 12 is " + num(one) + ", want 1";
    if (marked && m.word0 != 0xFFFFFFFFu) bad = "member " + num(i) + " lacks 0xFFFFFFFF";
    if (!marked && m.word0 != 0) bad = "member " + num(i) + " word 0 not 0";
    pos += 20 + 4 * nports;
    members.push_back(std::move(m));
  }
  emit_members(x.fields, members);
  if (!bad.empty()) return x.fail(status::kInvalid, bad);
  bool l2_group = count == 1 && x.req_len == kL2GroupLen && members[0].ports.size() <= 64;
  if (pos != x.req_len && !l2_group)
    return x.fail(status::kInvalid,
                  "members end at " + num(pos) + ", request length " + num(x.req_len));
  if (!x.commit) return status::kOk;
  note_mgid(x, mgid);
  auto it = x.chip.mgids.find(mgid);
  if (x.command == cmd::kMgidUpdate) {
    if (it == x.chip.mgids.end()) return x.fail(status::kNoEntry, "no mgid " + num(mgid));
    it->second.members = std::move(members);
    ++it->second.updates;
  } else {
    x.chip.mgids[mgid] = Mgid{std::move(members), 0};
  }
  return status::kOk;
}

int32_t handle_mgid_delete(Exchange& x) {
  if (!x.length_is(36)) return status::kInvalid;
  uint32_t mgid = x.in().u32_at(28);
  x.f("mgid", mgid);
  if (!x.commit) return status::kOk;
  if (x.chip.mgids.erase(mgid) == 0) return x.fail(status::kNoEntry, "no mgid " + num(mgid));
  return status::kOk;
}

int32_t handle_nhop_add(Exchange& x) {
  auto r = x.in();
  uint32_t nhopid = r.u32_at(28);
  uint8_t b32 = r.u8_at(32), count = r.u8_at(33), kind = r.u8_at(34), marker = r.u8_at(35);
  x.f("nhopid", nhopid);
  x.f("count", count);
  x.f("kind", kind);
  x.f("marker", marker);
  if (kind != 1 && kind != 2 && kind != 8 && kind != 16)
    return x.fail(status::kInvalid, "kind " + num(kind));
  if (count > kMaxPaths) return x.fail(status::kInvalid, "path count " + num(count));
  uint32_t want = kind == 2 ? kMultiPathLen : 36 + 20u * count;
  if (!x.length_is(want)) return status::kInvalid;
  NextHop nh;
  nh.kind = kind;
  nh.marker = marker;
  for (uint32_t i = 0; i < count; ++i) {
    size_t e = 36 + 20 * i;
    NhopPath p;
    p.ifindex = r.u32_at(e);
    p.iivid = r.u16_at(e + 4);
    p.mac = read_mac(r, e + 6);
    p.b12 = r.u8_at(e + 12);
    p.b13 = r.u8_at(e + 13);
    nh.paths.push_back(p);
  }
  if (x.fields) {
    x.fields->key("paths").begin_array();
    for (const auto& p : nh.paths)
      x.fields->begin_object()
          .field("ifindex", p.ifindex)
          .field("iivid", p.iivid)
          .field("mac", tools::mac_text(p.mac))
          .field("byte12", uint32_t{p.b12})
          .field("byte13", uint32_t{p.b13})
          .end_object();
    x.fields->end_array();
  }
  if (b32 != 0) return x.fail(status::kInvalid, "byte 32 not 0");
  if ((kind == 8 || kind == 16) && count != 1)
    return x.fail(status::kInvalid, "kind " + num(kind) + " wants one path");
  bool port_bit = (marker & 0x80) != 0;
  uint8_t low = marker & 0x7F;
  uint8_t want_low = kind == 2 ? x.rules.nhop_marker_multi : x.rules.nhop_marker_other;
  if (port_bit != (kind == 16) || low != want_low)
    return x.fail(status::kInvalid, "byte 35 is " + num(marker) + " for kind " + num(kind));
  if (!x.commit) return status::kOk;
  x.chip.nhops[nhopid] = std::move(nh);  // a modify is a new add over the same id
  return status::kOk;
}

int32_t handle_nhop_delete(Exchange& x) {
  auto r = x.all_in();
  uint32_t count = r.u32_at(32);
  x.f("count", count);
  if (x.req_len == 36 && x.rules.short_nhop_delete) {
    // The short form declares 36 bytes and still carries the id at 36.
    if (count != 0) return x.fail(status::kInvalid, "short form wants count 0");
    if (x.received < 40)
      return x.fail(status::kInvalid, "short form: the id at 36 did not come with the request");
  } else {
    if (!x.length_is(40)) return status::kInvalid;
    if (count != 1) return x.fail(status::kInvalid, "count " + num(count) + ", want 1");
  }
  uint32_t nhopid = r.u32_at(36);
  x.f("nhopid", nhopid);
  if (!x.commit) return status::kOk;
  if (x.chip.nhops.erase(nhopid) == 0)
    return x.fail(status::kNoEntry, "no next hop " + num(nhopid));
  return status::kOk;
}

int32_t handle_policer_add(Exchange& x) {
  if (!x.length_is(88)) return status::kInvalid;
  auto r = x.in();
  uint32_t w28 = r.u32_at(28), instance = r.u32_at(76) >> 28, id = r.u32_at(80);
  uint64_t burst = r.u64_at(32), rate = r.u64_at(40);
  x.f("word28", w28);
  x.f("burst", burst);
  x.f("rate", rate);
  x.f("instance", instance);
  x.f("policer_id", id);
  if ((w28 & 0x80000000u) == 0) return x.fail(status::kInvalid, "bit 31 of word 28 clear");
  if (burst >> 32) return x.fail(status::kInvalid, "burst's high word not 0");
  if (instance >= x.rules.policer_instances)
    return x.fail(status::kInvalid, "instance " + num(instance));
  if (!x.commit) return status::kOk;
  Policer& p = x.chip.policers[{id, instance}];  // an update is the same request as an add
  p.burst = burst;
  p.rate = rate;
  return status::kOk;
}

int32_t handle_policer_delete(Exchange& x) {
  if (!x.length_is(36)) return status::kInvalid;
  auto r = x.in();
  uint32_t w28 = r.u32_at(28), w32 = r.u32_at(32);
  uint32_t instance = w32 >> 28, id = w32 & 0x0FFFFFFF;
  x.f("word28", w28);
  x.f("instance", instance);
  x.f("policer_id", id);
  if (w28 != 1) return x.fail(status::kInvalid, "word 28 is " + num(w28) + ", want 1");
  if (instance >= x.rules.policer_instances)
    return x.fail(status::kInvalid, "instance " + num(instance));
  if (!x.commit) return status::kOk;
  if (x.chip.policers.erase({id, instance}) == 0)
    return x.fail(status::kNoEntry, "no policer " + num(id) + "/" + num(instance));
  return status::kOk;
}

}  // namespace ofa::chipsim
