// Regions and TCAM entries: region add, delete-all, entry add with placement, update, delete.
#include <algorithm>
#include <iterator>

#include "model/commands.h"
#include "model/exchange.h"
#include "model/records.h"

namespace ofa::chipsim {

namespace {

bool is_region_number(uint32_t r) {
  return r == 10 || r == 20 || r == 30;
}

bool is_l3(uint32_t command) {
  return command == cmd::kL3FlowAdd || command == cmd::kL3FlowUpd || command == cmd::kL3FlowDel;
}

Region* find_region(ChipState& c, uint8_t ldev, uint8_t region) {
  auto it = c.regions.find({ldev, region});
  return it == c.regions.end() ? nullptr : &it->second;
}

std::string region_text(uint8_t ldev, uint8_t region) {
  return "ldev " + std::to_string(ldev) + " region " + std::to_string(region);
}

// Where a new entry goes: checks `before` and `after` against the current order and answers the
// position to insert at. Regions 10 and 30 hold entries placed by literal handles with no
// neighbours named; there, both 0 appends.
int32_t place(Exchange& x, const Region& reg, uint32_t before, uint32_t after,
              TcamEntries::const_iterator& pos) {
  Stats& st = x.model.mutable_stats();
  const TcamEntries& es = reg.entries;
  auto a = after ? es.position(after) : es.end();
  if (after != 0 && a == es.end()) {
    ++st.unknown_neighbour;
    return x.fail(status::kNotNeighbours, "after " + std::to_string(after) + " is not in " +
                                              region_text(reg.ldev, reg.region));
  }
  auto b = before ? es.position(before) : es.end();
  if (before != 0 && b == es.end()) {
    ++st.unknown_neighbour;
    return x.fail(status::kNotNeighbours, "before " + std::to_string(before) + " is not in " +
                                              region_text(reg.ldev, reg.region));
  }
  bool ok;
  if (after && before) {
    ok = std::next(a) == b;
  } else if (after) {
    ok = std::next(a) == es.end();  // after the last
  } else if (before) {
    ok = b == es.begin();  // ahead of the first
  } else {
    ok = es.empty() || reg.region != 20;
  }
  if (!ok) {
    ++st.not_neighbours;
    return x.fail(status::kNotNeighbours, "before " + std::to_string(before) + " and after " +
                                              std::to_string(after) + " are not neighbours in " +
                                              region_text(reg.ldev, reg.region));
  }
  pos = after ? std::next(a) : b;
  return status::kOk;
}

}  // namespace

uint32_t Region::capacity() const {
  uint32_t cap = initial;
  auto n = static_cast<uint32_t>(entries.size());
  while (cap < n && increment > 0 && cap < size)
    cap += increment;
  return std::min(std::max(cap, n), size);
}

int32_t handle_region_add(Exchange& x) {
  if (!x.length_is(48)) return status::kInvalid;
  auto r = x.in();
  uint8_t ldev = r.u8_at(28), region = r.u8_at(29), type = r.u8_at(30);
  uint32_t size = r.u32_at(36), initial = r.u32_at(40), increment = r.u32_at(44);
  x.f("ldev", ldev);
  x.f("region", region);
  x.f("type", type);
  x.f("reserved", r.u32_at(32));
  x.f("size", size);
  x.f("initial", initial);
  x.f("increment", increment);
  if (ldev != kLdevL2 && ldev != kLdevL3)
    return x.fail(status::kInvalid, "logical device " + std::to_string(ldev));
  if (!is_region_number(region))
    return x.fail(status::kInvalid, "region " + std::to_string(region));
  if (type != 1) return x.fail(status::kInvalid, "type " + std::to_string(type) + ", want 1");
  if (initial > size) return x.fail(status::kInvalid, "initial size above size");
  const auto& cfg = x.model.config();
  uint32_t tcam = ldev == kLdevL2 ? cfg.l2_tcam_size : cfg.l3_tcam_size;
  if (tcam != 0 && size > tcam)
    return x.fail(status::kInvalid,
                  "size " + std::to_string(size) + " above the TCAM's " + std::to_string(tcam));
  if (!x.commit) return status::kOk;
  if (find_region(x.chip, ldev, region))
    return x.fail(status::kExists, region_text(ldev, region) + " exists");
  Region reg;
  reg.ldev = ldev;
  reg.region = region;
  reg.size = size;
  reg.initial = initial;
  reg.increment = increment;
  x.chip.regions.emplace(std::make_pair(ldev, region), std::move(reg));
  return status::kOk;
}

int32_t handle_region_delete_all(Exchange& x) {
  if (!x.length_is(36)) return status::kInvalid;
  auto r = x.in();
  uint32_t word = r.u32_at(28);
  uint8_t ldev = static_cast<uint8_t>(word >> 24);
  x.f("ldev", ldev);
  x.f("word", word);
  if ((word & 0x00C00000u) != 0x00C00000u || (word & 0x003FC000u) != 0)
    return x.fail(status::kInvalid, "word at 28 wants bits 22 and 23 set, 14 to 21 clear");
  if (ldev != kLdevL2 && ldev != kLdevL3)
    return x.fail(status::kInvalid, "logical device " + std::to_string(ldev));
  if (!x.commit) return status::kOk;
  for (auto it = x.chip.regions.begin(); it != x.chip.regions.end();)
    it = it->first.first == ldev ? x.chip.regions.erase(it) : std::next(it);
  return status::kOk;
}

int32_t handle_flow_add(Exchange& x) {
  bool l3 = is_l3(x.command);
  if (!x.length_is(l3 ? 208 : 184)) return status::kInvalid;
  auto r = x.in();
  TcamEntry e;
  e.handle = r.u32_at(28);
  uint32_t before = r.u32_at(32), after = r.u32_at(36);
  uint8_t region = r.u8_at(40), type = r.u8_at(42);
  x.f("handle", e.handle);
  x.f("before", before);
  x.f("after", after);
  x.f("region", region);
  x.f("type", type);
  if (l3) {
    e.l3key = read_l3_key(r);
    e.l3res = read_l3_result(r, 164);
  } else {
    e.l2key = read_l2_key(r);
    e.l2res = read_l2_result(r, 136);
  }
  if (x.fields) {
    x.fields->key("key");
    l3 ? emit(*x.fields, e.l3key) : emit(*x.fields, e.l2key);
    x.fields->key("result");
    l3 ? emit(*x.fields, e.l3res) : emit(*x.fields, e.l2res);
  }
  if (type != 1) return x.fail(status::kInvalid, "type " + std::to_string(type) + ", want 1");
  if (e.handle == 0) return x.fail(status::kInvalid, "handle 0");
  if (!x.commit) return status::kOk;
  uint8_t ldev = l3 ? kLdevL3 : kLdevL2;
  Region* reg = find_region(x.chip, ldev, region);
  if (!reg) return x.fail(status::kNoEntry, "no " + region_text(ldev, region));
  if (reg->entries.find(e.handle)) {
    ++x.model.mutable_stats().handle_in_use;
    return x.fail(status::kExists,
                  "handle " + std::to_string(e.handle) + " in use in " + region_text(ldev, region));
  }
  if (reg->entries.size() >= reg->size) {
    ++x.model.mutable_stats().region_full;
    return x.fail(status::kFull,
                  region_text(ldev, region) + " full at " + std::to_string(reg->size));
  }
  TcamEntries::const_iterator pos;
  if (int32_t st = place(x, *reg, before, after, pos); st != status::kOk) return st;
  reg->entries.insert(pos, e);
  return status::kOk;
}

int32_t handle_flow_upd(Exchange& x) {
  bool l3 = is_l3(x.command);
  if (!x.length_is(l3 ? 80 : 84)) return status::kInvalid;
  auto r = x.in();
  uint32_t handle = r.u32_at(28);
  uint8_t region = r.u8_at(32), type = r.u8_at(33);
  x.f("handle", handle);
  x.f("region", region);
  x.f("type", type);
  L2Result l2;
  L3Result l3r;
  if (l3) {
    l3r = read_l3_result(r, 36);
  } else {
    l2 = read_l2_result(r, 36);
  }
  if (x.fields) {
    x.fields->key("result");
    l3 ? emit(*x.fields, l3r) : emit(*x.fields, l2);
  }
  if (type != 1) return x.fail(status::kInvalid, "type " + std::to_string(type) + ", want 1");
  if (!x.commit) return status::kOk;
  uint8_t ldev = l3 ? kLdevL3 : kLdevL2;
  Region* reg = find_region(x.chip, ldev, region);
  if (!reg) return x.fail(status::kNoEntry, "no " + region_text(ldev, region));
  TcamEntry* e = reg->entries.find(handle);
  if (!e)
    return x.fail(status::kNoEntry,
                  "no handle " + std::to_string(handle) + " in " + region_text(ldev, region));
  if (l3) {
    e->l3res = l3r;
  } else {
    e->l2res = l2;
  }
  ++e->updates;
  return status::kOk;
}

int32_t handle_flow_del(Exchange& x) {
  if (!x.length_is(36)) return status::kInvalid;
  auto r = x.in();
  uint32_t handle = r.u32_at(28);
  uint8_t region = r.u8_at(32);
  x.f("handle", handle);
  x.f("region", region);
  if (!x.commit) return status::kOk;
  uint8_t ldev = is_l3(x.command) ? kLdevL3 : kLdevL2;
  Region* reg = find_region(x.chip, ldev, region);
  if (!reg) return x.fail(status::kNoEntry, "no " + region_text(ldev, region));
  if (!reg->entries.erase(handle))
    return x.fail(status::kNoEntry,
                  "no handle " + std::to_string(handle) + " in " + region_text(ldev, region));
  return status::kOk;
}

}  // namespace ofa::chipsim
