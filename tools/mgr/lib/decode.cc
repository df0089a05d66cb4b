// Decoders: bytes to message structures, through the bounds-checked reader.
#include <algorithm>
#include <cstdio>
#include <string>

#include "codec.h"
#include "layout.h"
#include "member_layout.h"
#include "platform/wire.h"

namespace ofa::mgr {
namespace {

using detail::member;
using detail::member_base;
using detail::member_reach;
using wire::Reader;

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
  void ip(size_t off, const char*, uint32_t& x) { x = r.u32_at(off); }
  void bits(size_t off, const char*, uint32_t& x) { x = r.u32_at(off); }
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
  if (m.bucket_count > (body.size() - layout::kBucketBase) / kBucketSize) {
    return Result<Message>::fail("group operation: bucket count " + std::to_string(m.bucket_count) +
                                 " runs past the " + std::to_string(body.size()) + " bytes");
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
