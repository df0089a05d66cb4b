// Encoders: message structures to bytes, each field at its offset of layout.h.
#include "codec.h"

#include <algorithm>
#include <string>

#include "layout.h"
#include "member_layout.h"
#include "platform/wire.h"

namespace ofa::mgr {
namespace {

using detail::member;
using detail::member_base;
using detail::member_reach;
using wire::Writer;

// Writes each described field at its offset.
struct Put {
  Writer& w;
  template <class T>
  void u8(size_t off, const char*, const T& x) {
    w.u8_at(off, static_cast<uint8_t>(x));
  }
  template <class T>
  void u16(size_t off, const char*, const T& x) {
    w.u16_at(off, static_cast<uint16_t>(x));
  }
  template <class T>
  void u32(size_t off, const char*, const T& x) {
    w.u32_at(off, static_cast<uint32_t>(x));
  }
  void u64(size_t off, const char*, uint64_t x) { w.u64_at(off, x); }
  void ip(size_t off, const char*, uint32_t x) { w.u32_at(off, x); }
  void bits(size_t off, const char*, uint32_t x) { w.u32_at(off, x); }
  void hi16(size_t off, const char*, uint32_t x) { w.u16_at(off, static_cast<uint16_t>(x >> 16)); }
  void flag_v1(size_t off, const char*, uint32_t bits) {
    w.u8_at(off, (bits & kActMemberFlag) ? 0x80 : 0);
  }
  void mac(size_t off, const char*, const Mac& m) {
    for (size_t i = 0; i < m.size(); ++i)
      w.u8_at(off + i, m[i]);
  }
  template <size_t N>
  void raw(size_t off, const char*, const std::array<uint8_t, N>& a) {
    for (size_t i = 0; i < N; ++i)
      w.u8_at(off + i, a[i]);
  }
  // Text is cut so that a terminating NUL always fits.
  void text(size_t off, size_t width, const char*, const std::string& s) {
    if (!w.seek(off)) return;
    w.text(std::string_view(s).substr(0, width - 1), width);
  }
  void mask(size_t off, const char*, const PortMask& m) {
    for (size_t i = 0; i < m.words.size(); ++i)
      w.u32_at(off + 4 * i, m.words[i]);
  }
};

Result<Bytes> fixed_body(size_t size, auto&& describe) {
  Bytes body(size, 0);
  Writer w(body.data(), body.size());
  Put put{w};
  describe(put);
  if (!w.ok()) return Result<Bytes>::fail("internal: field outside the body");
  return body;
}

Result<Bytes> body_of(const ConfigMsg& m) {
  return fixed_body(kConfigBodySize, [&](Put& p) { layout::config(p, m); });
}

Result<Bytes> body_of(const SyncCompleteMsg& m) {
  if (m.body_length > kMaxBodyLength) return Result<Bytes>::fail("sync complete: body too long");
  return Bytes(m.body_length, 0);
}

Result<Bytes> body_of(const FlowMsg& m) {
  if (!m.members.empty() && member_base(m.version) == 0) {
    return Result<Bytes>::fail("flow " + std::to_string(m.flow_id) + ": version " +
                               std::to_string(m.version) + " has no action member layout");
  }
  // Members stand end to end at their strides; a member whose L is below 4 reaches into the
  // next one, which then overwrites those bytes, as the agent would read them.
  size_t end = kFlowFixedSize, reach = kFlowFixedSize;
  for (const auto& mem : m.members) {
    reach = std::max(reach, end + member_reach(m.version));
    end += member_stride(m.version, mem.length);
  }
  size_t size = std::max({end, reach, static_cast<size_t>(m.min_body)});
  if (size > kMaxBodyLength) {
    return Result<Bytes>::fail("flow " + std::to_string(m.flow_id) + ": " + std::to_string(size) +
                               " bytes exceed the 65535 a message holds");
  }
  FlowMsg head = m;
  if (!m.member_count_override) head.member_count = static_cast<uint16_t>(m.members.size());
  return fixed_body(size, [&](Put& p) {
    layout::flow_head(p, head);
    size_t at = kFlowFixedSize;
    for (const auto& mem : m.members) {
      member(p, mem, m.version, at);
      at += member_stride(m.version, mem.length);
    }
  });
}

Result<Bytes> body_of(const GroupMsg& m) {
  if (m.buckets.size() > kMaxLongBuckets) {
    return Result<Bytes>::fail(
        "group " + std::to_string(m.group_id) + ": " + std::to_string(m.buckets.size()) +
        " buckets, a message has room for " + std::to_string(kMaxLongBuckets));
  }
  GroupMsg head = m;
  if (!m.bucket_count_override) head.bucket_count = static_cast<uint32_t>(m.buckets.size());
  size_t size = std::max(kGroupBodySize, layout::kBucketBase + m.buckets.size() * kBucketSize);
  return fixed_body(size, [&](Put& p) {
    layout::group_head(p, head);
    for (size_t i = 0; i < m.buckets.size(); ++i) {
      layout::bucket(p, m.buckets[i], layout::kBucketBase + i * kBucketSize);
    }
  });
}

Result<Bytes> body_of(const MeterMsg& m) {
  return fixed_body(kMeterBodySize, [&](Put& p) { layout::meter(p, m); });
}
Result<Bytes> body_of(const VlanMsg& m) {
  return fixed_body(kVlanBodySize, [&](Put& p) { layout::vlan(p, m); });
}
Result<Bytes> body_of(const PortVlanMsg& m) {
  return fixed_body(kPortVlanBodySize, [&](Put& p) { layout::port_vlan(p, m); });
}
Result<Bytes> body_of(const EvtMsg& m) {
  return fixed_body(kEvtBodySize, [&](Put& p) { layout::evt(p, m); });
}
Result<Bytes> body_of(const StatusMsg& m) {
  return fixed_body(kStatusBodySize, [&](Put& p) { layout::status(p, m); });
}
Result<Bytes> body_of(const RegisterMsg& m) {
  return fixed_body(kRegisterBodySize, [&](Put& p) {
    p.u32(0, "header", layout::kRegisterInnerHeader);
    layout::register_msg(p, m);
  });
}
Result<Bytes> body_of(const FlowStatsMsg& m) {
  return fixed_body(kFlowStatsBodySize, [&](Put& p) { layout::flow_stats(p, m); });
}
Result<Bytes> body_of(const QueueStatsMsg& m) {
  return fixed_body(kQueueStatsBodySize, [&](Put& p) {
    layout::queue_stats_head(p, m);
    for (size_t i = 0; i < kQueueCount; ++i) {
      layout::queue_record(p, m.queues[i], layout::kQueueRecordBase + i * kQueueRecordSize);
    }
  });
}
Result<Bytes> body_of(const MeterStatsMsg& m) {
  if (m.records.size() > kMeterStatsRecords) {
    return Result<Bytes>::fail("meter statistics: " + std::to_string(m.records.size()) +
                               " records, the message has room for 27");
  }
  return fixed_body(kMeterStatsBodySize, [&](Put& p) {
    p.u32(0, "count", static_cast<uint32_t>(m.records.size()));
    for (size_t i = 0; i < m.records.size(); ++i) {
      layout::meter_record(p, m.records[i], layout::kMeterRecordBase + i * kMeterRecordSize);
    }
  });
}

}  // namespace

size_t member_stride(uint8_t version, uint16_t length_word) {
  size_t base = member_base(version);
  return base == 0 ? 0 : base + (length_word & kMemberLengthMask);
}

uint32_t message_type(const Message& m) {
  static constexpr uint32_t kTypes[] = {
      kMsgConfig,    kMsgSyncComplete, kMsgFlow,      kMsgGroup,      kMsgMeter,
      kMsgVlan,      kMsgPortVlan,     kMsgEvt,       kMsgFlowStatus, kMsgRegister,
      kMsgFlowStats, kMsgQueueStats,   kMsgMeterStats};
  static_assert(std::size(kTypes) == std::variant_size_v<Message>);
  return kTypes[m.index()];
}

std::vector<uint32_t> PortMask::ports() const {
  std::vector<uint32_t> out;
  for (uint32_t p = 0; p <= kMaxPort; ++p) {
    if (test(p)) out.push_back(p);
  }
  return out;
}

uint32_t derived_action_key(const FlowMsg& flow) {
  FlowMsg f = flow;
  f.min_body = 0;  // members only, no padding
  auto body = f.members.empty() ? Result<Bytes>::fail("") : body_of(f);
  if (!body.ok()) return 0;
  uint32_t h = 2166136261u;
  auto mix = [&h](uint8_t x) { h = (h ^ x) * 16777619u; };
  mix(static_cast<uint8_t>(f.members.size() >> 8));
  mix(static_cast<uint8_t>(f.members.size()));
  for (size_t i = kFlowFixedSize; i < body.value().size(); ++i)
    mix(body.value()[i]);
  return h == 0 ? 1 : h;
}

std::vector<FlowMsg> split_fragments(const FlowMsg& flow, size_t per_message) {
  per_message = std::max<size_t>(per_message, 1);
  if (flow.members.size() <= per_message) return {flow};
  std::vector<FlowMsg> out;
  for (size_t at = 0; at < flow.members.size(); at += per_message) {
    FlowMsg f = flow;
    size_t end = std::min(flow.members.size(), at + per_message);
    f.members.assign(flow.members.begin() + static_cast<std::ptrdiff_t>(at),
                     flow.members.begin() + static_cast<std::ptrdiff_t>(end));
    if (!f.member_count_override) f.member_count = static_cast<uint16_t>(f.members.size());
    f.more_fragments = end < flow.members.size() ? 1 : flow.more_fragments;
    out.push_back(std::move(f));
  }
  return out;
}

Result<Bytes> encode_body(const Message& m) {
  return std::visit([](const auto& msg) { return body_of(msg); }, m);
}

Result<Bytes> encode(const Message& m) {
  auto body = encode_body(m);
  if (!body.ok()) return body;
  Bytes out(kHeaderSize + body.value().size());
  Writer w(out.data(), out.size());
  w.u32(make_header(message_type(m), static_cast<uint32_t>(body.value().size())));
  w.bytes(body.value());
  return out;
}

std::optional<std::string> Datagram::add(const Message& m) {
  auto bytes = encode(m);
  if (!bytes.ok()) return bytes.error();
  bytes_.insert(bytes_.end(), bytes.value().begin(), bytes.value().end());
  ++messages_;
  return std::nullopt;
}

void Datagram::add_raw(std::span<const uint8_t> bytes) {
  bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
  ++messages_;
}

}  // namespace ofa::mgr
