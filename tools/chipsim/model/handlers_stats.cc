// Statistics reads and clears, the capability request, and the bulk container.
#include <algorithm>
#include <string>

#include "model/commands.h"
#include "model/exchange.h"

namespace ofa::chipsim {

namespace {

std::string num(uint64_t v) {
  return std::to_string(v);
}

constexpr uint32_t kClassL2Flows = 12;
constexpr uint32_t kClassL3Flows = 25;
constexpr uint32_t kClassPolicers = 46;
constexpr uint32_t kClassQueues = 49;
constexpr uint32_t kQueueLen = 504;
constexpr uint32_t kNoKey = 65535;

// Queue read: eight packet counters from 184 and eight byte counters from 248. A zim chip
// counts bytes in units of 8.
int32_t queue_stats(Exchange& x, bool read) {
  if (!x.length_is(kQueueLen)) return status::kInvalid;
  auto r = x.in();
  uint32_t w32 = r.u32_at(32), w40 = r.u32_at(40), ifindex = r.u32_at(48);
  x.f("count", w32);
  x.f("word40", w40);
  x.f("ifindex", ifindex);
  if (w32 != 1 || w40 != 2) return x.fail(status::kInvalid, "queue read wants 1 at 32, 2 at 40");
  if (!x.commit) return status::kOk;
  auto it = x.chip.ports.find(ifindex);
  if (!read) {
    if (it != x.chip.ports.end()) it->second.queues = {};
    return status::kOk;
  }
  auto w = x.out();
  for (size_t q = 0; q < 8; ++q) {
    QueueCounters c = it == x.chip.ports.end() ? QueueCounters{} : it->second.queues[q];
    w.u64_at(184 + 8 * q, c.packets);
    w.u64_at(248 + 8 * q, x.model.family() == Family::zim ? c.bytes / 8 : c.bytes);
  }
  x.reply_end = kQueueLen;
  return w.ok() ? status::kOk : x.fail(status::kTooBig, "queue counters past the reply room");
}

}  // namespace

int32_t handle_stats(Exchange& x) {
  bool read = x.command == cmd::kStatsRead;
  auto r = x.in();
  uint32_t cls = r.u32_at(28);
  uint8_t region = r.u8_at(33);
  uint32_t nkeys = r.u16_at(34), nres = r.u16_at(36);
  x.f("class", cls);
  if (cls == kClassQueues) return queue_stats(x, read);
  bool flows = cls == kClassL2Flows || cls == kClassL3Flows;
  if (!flows && cls != kClassPolicers) return x.fail(status::kInvalid, "class " + num(cls));
  x.f("region", region);
  x.f("keys", nkeys);
  x.f("results", nres);
  // A clear goes to each chip in turn; the sender clears these two words before each send, since
  // a chip's answer writes them.
  uint32_t w40 = r.u32_at(40), w44 = r.u32_at(44);
  if (!read && (w40 != 0 || w44 != 0))
    return x.fail(status::kInvalid, "clear with words 40 and 44 not 0");
  uint32_t key_size = flows ? 8 : 12;
  if (!x.length_is(48 + key_size * nkeys)) return status::kInvalid;
  if (read && nres != nkeys)
    return x.fail(status::kInvalid, "results wanted " + num(nres) + " for " + num(nkeys) + " keys");
  // Keys: (handle, 65535) or (policer id, instance, 65535).
  std::vector<std::pair<uint32_t, uint32_t>> keys;
  for (uint32_t i = 0; i < nkeys; ++i) {
    size_t k = 48 + key_size * i;
    uint32_t id = r.u32_at(k), inst = flows ? 0 : r.u32_at(k + 4);
    if (r.u32_at(k + key_size - 4) != kNoKey)
      return x.fail(status::kInvalid, "key " + num(i) + " does not end in 65535");
    keys.emplace_back(id, inst);
  }
  if (x.fields) {
    x.fields->key("ids").begin_array();
    for (auto& k : keys) {
      if (flows) {
        x.fields->value(k.first);
      } else {
        x.fields->begin_array().value(k.first).value(k.second).end_array();
      }
    }
    x.fields->end_array();
  }
  if (!flows)
    for (auto& k : keys)
      if (k.second >= x.rules.policer_instances)
        return x.fail(status::kInvalid, "instance " + num(k.second));
  if (!x.commit) return status::kOk;

  uint8_t ldev = cls == kClassL3Flows ? kLdevL3 : kLdevL2;
  Region* reg = nullptr;
  if (flows) {
    auto it = x.chip.regions.find({ldev, region});
    if (it != x.chip.regions.end()) reg = &it->second;
  }
  auto entry = [&](uint32_t handle) { return reg ? reg->entries.find(handle) : nullptr; };
  if (!read) {
    uint32_t cleared = 0;
    for (auto& k : keys) {
      if (flows) {
        if (TcamEntry* e = entry(k.first)) {
          e->packets = e->bytes = 0;
          ++cleared;
        }
      } else if (auto it = x.chip.policers.find(k); it != x.chip.policers.end()) {
        it->second.first = it->second.second = 0;
        ++cleared;
      }
    }
    // The answer: how many keys were found and cleared.
    x.out().u32_at(40, cleared);
    return status::kOk;
  }
  // Results follow the keys and the bit set of the wanted results, one per key in key order.
  uint32_t result_size = flows ? 24 : 32;
  size_t base = 48 + key_size * nkeys + 4 * ((nres + 31) / 32);
  auto w = x.out();
  if (base + size_t{result_size} * nkeys > w.size())
    return x.fail(status::kTooBig, "results need " + num(base + result_size * nkeys) +
                                       " bytes, the reply has " + num(w.size()));
  for (uint32_t i = 0; i < nkeys; ++i) {
    size_t at = base + size_t{result_size} * i;
    for (size_t b = 0; b < result_size; b += 4)
      w.u32_at(at + b, 0);
    w.u32_at(at, keys[i].first);
    if (flows) {
      TcamEntry* e = entry(keys[i].first);
      w.u64_at(at + 8, e ? e->packets : 0);
      w.u64_at(at + 16, e ? e->bytes : 0);
    } else {
      auto it = x.chip.policers.find(keys[i]);
      w.u32_at(at + 4, keys[i].second);
      w.u64_at(at + 8, it == x.chip.policers.end() ? 0 : it->second.first);
      w.u64_at(at + 24, it == x.chip.policers.end() ? 0 : it->second.second);
    }
  }
  w.u32_at(40, nkeys);
  w.u32_at(44, result_size * nkeys);
  x.reply_end = base + size_t{result_size} * nkeys;
  return status::kOk;
}

int32_t handle_capability(Exchange& x) {
  if (!x.length_is(460)) return status::kInvalid;
  auto r = x.in();
  uint32_t owner = r.u32_at(16);
  x.f("owner", owner);
  if (x.reply_len != 460) return x.fail(status::kInvalid, "reply length " + num(x.reply_len));
  if ((owner & 0x80000000u) || (owner & 0x0000FF00u))
    return x.fail(status::kInvalid, "owner word breaks the checked header form");
  if (!x.commit) return status::kOk;
  auto w = x.out();
  w.u32_at(28, 29);  // chip id: the one known row
  w.u32_at(440, 1);  // IPv4 capability
  w.u32_at(444, 1);  // IPv6 capability
  x.reply_end = 460;
  return status::kOk;
}

int32_t handle_bulk(Exchange& x) {
  auto r = x.in();
  uint32_t flag = r.u32_at(28), count = r.u16_at(32);
  x.f("flag", flag);
  x.f("count", count);
  if (x.req_len < 36) return x.fail(status::kInvalid, "request length " + num(x.req_len));
  if (x.depth > 0) return x.fail(status::kInvalid, "bulk inside a bulk");
  if (flag & 0x7FFFFFFFu) return x.fail(status::kInvalid, "word 28 has bits other than 31");
  if ((flag & 0x80000000u) && !x.rules.bulk_flag_allowed)
    return x.fail(status::kInvalid, "bit 31 of word 28 set on this family");
  if (x.reply_len != x.req_len)
    return x.fail(status::kInvalid, "reply length " + num(x.reply_len) + " differs");
  // The layout first: each sub-request takes the larger of its two lengths.
  std::vector<std::pair<size_t, size_t>> subs;
  size_t pos = 36;
  for (uint32_t i = 0; i < count; ++i) {
    uint32_t len = r.u32_at(pos + 8), rlen = r.u32_at(pos + 12);
    size_t extent = std::max(len, rlen);
    if (!r.ok() || extent < 28 || extent % 4 != 0 || pos + extent > x.req_len)
      return x.fail(status::kInvalid, "sub-request " + num(i) + " does not fit the container");
    subs.emplace_back(pos, extent);
    pos += extent;
  }
  if (pos != x.req_len)
    return x.fail(status::kInvalid,
                  "sub-requests end at " + num(pos) + ", request length " + num(x.req_len));
  if (x.fields) x.fields->key("subs").begin_array();
  int32_t st = status::kOk;
  for (auto [at, extent] : subs) {
    tools::JsonWriter* sub = nullptr;
    if (x.fields) sub = &x.fields->begin_object();
    st = run_request(x.model, x.chip, x.buf.subspan(at, extent), extent, sub, x.commit, 1);
    if (sub) sub->end_object();
    if (st != status::kOk) {
      x.error = "sub-request at " + num(at) + " failed";
      break;
    }
  }
  if (x.fields) x.fields->end_array();
  return st;
}

}  // namespace ofa::chipsim
