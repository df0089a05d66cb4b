#include "codec.h"

#include <algorithm>
#include <string>

#include "layout.h"
#include "platform/wire.h"

namespace ofa::mgr {
namespace {

using wire::Reader;
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

// Reads each described field from its offset; the caller has checked the lengths.
struct Get {
  Reader& r;
  template <class T>
  void u8(size_t off, const char*, T& x) {
    x = static_cast<T>(r.u8_at(off));
  }
  template <class T>
  void u16(size_t off, const char*, T& x) {
    x = static_cast<T>(r.u16_at(off));
  }
  template <class T>
  void u32(size_t off, const char*, T& x) {
    x = static_cast<T>(r.u32_at(off));
  }
  void u64(size_t off, const char*, uint64_t& x) { x = r.u64_at(off); }
  void hi16(size_t off, const char*, uint32_t& x) {
    x = (x & 0xffff) | (static_cast<uint32_t>(r.u16_at(off)) << 16);
  }
  void flag_v1(size_t off, const char*, uint32_t& bits) {
    bits = (r.u8_at(off) & 0x80) ? kActMemberFlag : 0;
  }
  void mac(size_t off, const char*, Mac& m) {
    for (size_t i = 0; i < m.size(); ++i)
      m[i] = r.u8_at(off + i);
  }
  template <size_t N>
  void raw(size_t off, const char*, std::array<uint8_t, N>& a) {
    for (size_t i = 0; i < N; ++i)
      a[i] = r.u8_at(off + i);
  }
  void text(size_t off, size_t width, const char*, std::string& s) {
    if (!r.seek(off)) return;
    s = r.text(width);
  }
  void mask(size_t off, const char*, PortMask& m) {
    for (size_t i = 0; i < m.words.size(); ++i)
      m.words[i] = r.u32_at(off + 4 * i);
  }
};

size_t member_base(uint8_t version) {
  return version == 1 ? kMemberBaseV1 : version == 4 ? kMemberBaseV4 : 0;
}

// Bytes a member's fixed fields reach past its start.
size_t member_reach(uint8_t version) {
  return member_base(version) + kMemberMinLength;
}

template <class V, class M>
void member(V& v, M& m, uint8_t version, size_t base) {
  if (version == 1) {
    layout::member_v1(v, m, base);
  } else {
    layout::member_v4(v, m, base);
  }
}

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
  if (m.buckets.size() > kMaxBuckets) {
    return Result<Bytes>::fail("group " + std::to_string(m.group_id) + ": " +
                               std::to_string(m.buckets.size()) +
                               " buckets, the message has room for 64");
  }
  GroupMsg head = m;
  if (!m.bucket_count_override) head.bucket_count = static_cast<uint32_t>(m.buckets.size());
  return fixed_body(kGroupBodySize, [&](Put& p) {
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

// ---- decoding ---------------------------------------------------------------------------

std::string lengths(const char* what, size_t got, const char* relation, size_t want) {
  return std::string(what) + ": body of " + std::to_string(got) + " bytes, " + relation + " " +
         std::to_string(want);
}

// A body of exactly `want` bytes (agent-to-manager messages have one size each).
std::optional<std::string> exact(const char* what, size_t got, size_t want) {
  if (got < want) return lengths(what, got, "too short: expected", want);
  if (got > want) return lengths(what, got, "too long: expected", want);
  return std::nullopt;
}
std::optional<std::string> at_least(const char* what, size_t got, size_t want) {
  if (got < want) return lengths(what, got, "too short: needs at least", want);
  return std::nullopt;
}

template <class M>
Result<Message> read_fixed(std::span<const uint8_t> body, std::optional<std::string> length_error,
                           auto&& describe) {
  if (length_error) return Result<Message>::fail(*length_error);
  Reader r(body);
  Get get{r};
  M m;
  describe(get, m);
  if (!r.ok()) return Result<Message>::fail("internal: field outside the body");
  return Message{std::move(m)};
}

Result<Message> read_flow(std::span<const uint8_t> body) {
  if (auto e = at_least("flow operation", body.size(), kFlowFixedSize)) {
    return Result<Message>::fail(*e);
  }
  Reader r(body);
  Get get{r};
  FlowMsg m;
  layout::flow_head(get, m);
  size_t base = member_base(m.version);
  size_t at = kFlowFixedSize;
  if (base != 0) {
    for (uint16_t i = 0; i < m.member_count; ++i) {
      if (at + member_reach(m.version) > body.size()) {
        return Result<Message>::fail(
            "flow operation: member " + std::to_string(i) + " at offset " + std::to_string(at) +
            " needs " + std::to_string(member_reach(m.version)) + " bytes, the body has " +
            std::to_string(body.size() - std::min(at, body.size())) + " left");
      }
      FlowMember mem;
      member(get, mem, m.version, at);
      at += member_stride(m.version, mem.length);
      m.members.push_back(mem);
    }
  }
  m.member_count_override = m.members.size() != m.member_count;
  m.min_body = body.size() > at ? static_cast<uint32_t>(body.size()) : kFlowMinBody;
  if (!r.ok()) return Result<Message>::fail("internal: field outside the body");
  return Message{std::move(m)};
}

Result<Message> read_group(std::span<const uint8_t> body) {
  if (auto e = at_least("group operation", body.size(), kGroupBodySize)) {
    return Result<Message>::fail(*e);
  }
  Reader r(body);
  Get get{r};
  GroupMsg m;
  layout::group_head(get, m);
  if (m.bucket_count > kMaxBuckets) {
    return Result<Message>::fail("group operation: bucket count " + std::to_string(m.bucket_count) +
                                 " exceeds the 64 the message has room for");
  }
  m.buckets.resize(m.bucket_count);
  for (size_t i = 0; i < m.buckets.size(); ++i) {
    layout::bucket(get, m.buckets[i], layout::kBucketBase + i * kBucketSize);
  }
  return Message{std::move(m)};
}

Result<Message> read_register(std::span<const uint8_t> body) {
  if (auto e = exact("registration", body.size(), kRegisterBodySize)) {
    return Result<Message>::fail(*e);
  }
  Reader r(body);
  uint32_t inner = r.u32_at(0);
  if (inner != layout::kRegisterInnerHeader) {
    char buf[96];
    snprintf(buf, sizeof buf, "registration: inner header 0x%08x is not type 11 of length 4",
             inner);
    return Result<Message>::fail(buf);
  }
  RegisterMsg m;
  Get get{r};
  layout::register_msg(get, m);
  return Message{m};
}

Result<Message> read_meter_stats(std::span<const uint8_t> body) {
  if (auto e = exact("meter statistics", body.size(), kMeterStatsBodySize)) {
    return Result<Message>::fail(*e);
  }
  Reader r(body);
  uint32_t count = r.u32_at(0);
  if (count > kMeterStatsRecords) {
    return Result<Message>::fail("meter statistics: count " + std::to_string(count) +
                                 " exceeds the 27 records the message holds");
  }
  MeterStatsMsg m;
  m.records.resize(count);
  Get get{r};
  for (size_t i = 0; i < count; ++i) {
    layout::meter_record(get, m.records[i], layout::kMeterRecordBase + i * kMeterRecordSize);
  }
  return Message{std::move(m)};
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

Result<Message> decode_body(uint32_t type, std::span<const uint8_t> body) {
  size_t n = body.size();
  switch (type) {
    case kMsgConfig:
      return read_fixed<ConfigMsg>(body, at_least("configuration", n, kConfigBodySize),
                                   [](Get& g, ConfigMsg& m) { layout::config(g, m); });
    case kMsgSyncComplete: {
      if (auto e = at_least("sync complete", n, kSyncCompleteMinBody)) {
        return Result<Message>::fail(*e);
      }
      return Message{SyncCompleteMsg{static_cast<uint32_t>(n)}};
    }
    case kMsgMeter:
      return read_fixed<MeterMsg>(body, at_least("meter operation", n, kMeterBodySize),
                                  [](Get& g, MeterMsg& m) { layout::meter(g, m); });
    case kMsgFlowStatus:
      return read_fixed<StatusMsg>(body, exact("flow status", n, kStatusBodySize),
                                   [](Get& g, StatusMsg& m) { layout::status(g, m); });
    case kMsgMeterStats:
      return read_meter_stats(body);
    case kMsgFlowStats:
      return read_fixed<FlowStatsMsg>(body, exact("flow statistics", n, kFlowStatsBodySize),
                                      [](Get& g, FlowStatsMsg& m) { layout::flow_stats(g, m); });
    case kMsgQueueStats:
      return read_fixed<QueueStatsMsg>(
          body, exact("queue statistics", n, kQueueStatsBodySize), [](Get& g, QueueStatsMsg& m) {
            layout::queue_stats_head(g, m);
            for (size_t i = 0; i < kQueueCount; ++i) {
              layout::queue_record(g, m.queues[i], layout::kQueueRecordBase + i * kQueueRecordSize);
            }
          });
    case kMsgFlow:
      return read_flow(body);
    case kMsgPortVlan:
      return read_fixed<PortVlanMsg>(body, at_least("port VLAN update", n, kPortVlanBodySize),
                                     [](Get& g, PortVlanMsg& m) { layout::port_vlan(g, m); });
    case kMsgGroup:
      return read_group(body);
    case kMsgVlan:
      return read_fixed<VlanMsg>(body, at_least("VLAN update", n, kVlanBodySize),
                                 [](Get& g, VlanMsg& m) { layout::vlan(g, m); });
    case kMsgRegister:
      return read_register(body);
    case kMsgEvt:
      return read_fixed<EvtMsg>(body, at_least("EVT operation", n, kEvtBodySize),
                                [](Get& g, EvtMsg& m) { layout::evt(g, m); });
    default:
      return Result<Message>::fail("type " + std::to_string(type) + " is not a message type");
  }
}

std::vector<Decoded> decode_datagram(std::span<const uint8_t> datagram) {
  std::vector<Decoded> out;
  Reader r(datagram);
  while (r.remaining() > 0) {
    size_t at = r.offset();
    if (!r.has(kHeaderSize)) {
      out.push_back(DecodeError{
          at, std::to_string(r.remaining()) + " bytes left, too short for a 4-byte header"});
      break;
    }
    uint32_t word = r.u32();
    uint32_t type = header_type(word), length = header_length(word);
    if (type > kMaxMsgType) {
      out.push_back(DecodeError{at, "type " + std::to_string(type) + " is not a message type"});
      break;
    }
    if (!r.has(length)) {
      out.push_back(DecodeError{at, std::string(msg_type_name(type)) + ": length " +
                                        std::to_string(length) + " overruns the datagram (" +
                                        std::to_string(r.remaining()) + " bytes left)"});
      break;
    }
    auto body = r.sub(length);
    auto msg = decode_body(type, body.data());
    if (!msg.ok()) {
      out.push_back(DecodeError{at, msg.error()});
      break;
    }
    out.push_back(std::move(msg.value()));
  }
  return out;
}

}  // namespace ofa::mgr
