// Test helper: builds and inspects expected bytes by hand, big-endian, at absolute offsets.
// Deliberately independent of the library's writer and layout tables.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace ofa::mgr::test {

struct Frame {
  std::vector<uint8_t> b;
  explicit Frame(size_t size) : b(size, 0) {}
  Frame& put(size_t off, uint64_t v, size_t width) {
    for (size_t i = 0; i < width; ++i)
      b.at(off + i) = static_cast<uint8_t>(v >> (8 * (width - 1 - i)));
    return *this;
  }
  Frame& u8(size_t off, uint8_t v) { return put(off, v, 1); }
  Frame& u16(size_t off, uint16_t v) { return put(off, v, 2); }
  Frame& u32(size_t off, uint32_t v) { return put(off, v, 4); }
  Frame& u64(size_t off, uint64_t v) { return put(off, v, 8); }
  Frame& raw(size_t off, std::initializer_list<uint8_t> bytes) {
    for (uint8_t x : bytes)
      b.at(off++) = x;
    return *this;
  }
  Frame& text(size_t off, const std::string& s) {
    for (char c : s)
      b.at(off++) = static_cast<uint8_t>(c);
    return *this;
  }
};

inline uint64_t get(const std::vector<uint8_t>& b, size_t off, size_t width) {
  uint64_t v = 0;
  for (size_t i = 0; i < width; ++i)
    v = (v << 8) | b.at(off + i);
  return v;
}

}  // namespace ofa::mgr::test
