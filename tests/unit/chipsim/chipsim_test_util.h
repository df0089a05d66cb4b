// Test helpers: requests written field by field at the offsets of the wire tables, the HSL
// envelope around them, and a model with one chip per family.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "model/model.h"
#include "platform/ifindex.h"
#include "platform/wire.h"

namespace ofa::chipsim::test {

inline constexpr uint32_t kChip = platform::chip_ifindex(1, 0);  // 0x84400000

// A request record: zero-filled, command and both lengths set, fields put at their offsets.
struct Req {
  std::vector<uint8_t> b;
  Req(uint32_t command, uint32_t len, uint32_t reply_len) : b(len, 0) {
    u32(0, command).u32(8, len).u32(12, reply_len);
  }
  Req(uint32_t command, uint32_t len) : Req(command, len, len) {}
  Req& u8(size_t off, uint8_t v) {
    wire::Writer(b).u8_at(off, v);
    return *this;
  }
  Req& u16(size_t off, uint16_t v) {
    wire::Writer(b).u16_at(off, v);
    return *this;
  }
  Req& u32(size_t off, uint32_t v) {
    wire::Writer(b).u32_at(off, v);
    return *this;
  }
  Req& mac(size_t off, std::initializer_list<uint8_t> m) {
    size_t i = 0;
    for (uint8_t v : m)
      b.at(off + i++) = v;
    return *this;
  }
  // Appends a complete sub-request (for a bulk container), fixing the container's lengths.
  Req& sub(const Req& r) {
    b.insert(b.end(), r.b.begin(), r.b.end());
    u32(8, static_cast<uint32_t>(b.size())).u32(12, static_cast<uint32_t>(b.size()));
    u16(32, static_cast<uint16_t>(wire::Reader(b).u16_at(32) + 1));
    return *this;
  }
};

// The message of one ioctl: envelope (length, type 203, seq), routing block (target, kind 0,
// class 16, total), then the request.
inline std::vector<uint8_t> message(uint32_t target, const std::vector<uint8_t>& req) {
  std::vector<uint8_t> m(48 + req.size(), 0);
  wire::Writer w(m);
  w.u32_at(0, static_cast<uint32_t>(m.size()));
  w.u16_at(4, 203);
  w.u32_at(8, 1);
  w.u32_at(20, target);
  w.u32_at(28, 16);
  w.u32_at(40, static_cast<uint32_t>(m.size() - 20));
  std::copy(req.begin(), req.end(), m.begin() + 48);
  return m;
}

struct Answer {
  int32_t status;
  std::vector<uint8_t> reply;  // the whole answer, from the envelope on
  std::string log;             // the request log line
};

// Sends `req` to `target` through the model's ioctl entry, in a 4096-byte buffer.
inline Answer call(Model& m, const std::vector<uint8_t>& req, uint32_t target = kChip) {
  std::string line;
  m.set_request_log([&line](const std::string& l) { line = l; });
  auto msg = message(target, req);
  std::vector<uint8_t> buf(kMaxMessage, 0);
  size_t n = std::min(msg.size(), buf.size());
  std::copy_n(msg.begin(), n, buf.begin());
  size_t answer = m.ioctl(buf, n);
  buf.resize(answer);
  auto st = static_cast<int32_t>(wire::Reader(buf).u32_at(72));
  m.set_request_log(nullptr);
  return {st, buf, line};
}

inline int32_t status_of(Model& m, const Req& r) {
  return call(m, r.b).status;
}

inline ModelConfig config(Family f, uint32_t tcam = 4096) {
  ModelConfig c;
  c.family = f;
  c.model = f == Family::ard ? 131 : f == Family::ard2 ? 153 : f == Family::zim ? 1004 : 1;
  c.l2_tcam_size = tcam;
  c.l3_tcam_size = tcam;
  c.chips = {{1, 0, 1, 0}};
  return c;
}

// Requests used across the tests.
inline Req region_add(uint8_t ldev, uint8_t region, uint32_t size, uint32_t initial,
                      uint32_t increment) {
  return Req(0x07270220, 48)
      .u8(28, ldev)
      .u8(29, region)
      .u8(30, 1)
      .u32(36, size)
      .u32(40, initial)
      .u32(44, increment);
}

// A flow add, L2 (184 bytes) or L3 (208 bytes), placed between `before` and `after`.
inline Req flow_add(bool l3, uint32_t handle, uint8_t region, uint32_t before, uint32_t after) {
  return Req(l3 ? 0x072700B8 : 0x07270050, l3 ? 208 : 184)
      .u32(28, handle)
      .u32(32, before)
      .u32(36, after)
      .u8(40, region)
      .u8(42, 1);
}

inline Req l2_add(uint32_t handle, uint8_t region, uint32_t before, uint32_t after) {
  return flow_add(false, handle, region, before, after);
}

inline Req flow_del(bool l3, uint32_t handle, uint8_t region) {
  return Req(l3 ? 0x072700BA : 0x07270052, 36).u32(28, handle).u8(32, region);
}

// Handles of a region in chip order.
inline std::vector<uint32_t> order(Model& m, uint8_t ldev, uint8_t region) {
  std::vector<uint32_t> v;
  const ChipState& c = m.chips().at(kChip);
  auto it = c.regions.find({ldev, region});
  if (it == c.regions.end()) return v;
  for (const auto& e : it->second.entries)
    v.push_back(e.handle);
  return v;
}

}  // namespace ofa::chipsim::test
