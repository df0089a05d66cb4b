// Bounds-checked big-endian reader and writer for every byte that crosses a socket or a file.
//
// Both keep a sticky failure flag: a read or write that would pass the end of the buffer does
// nothing (a read yields 0), sets the flag and leaves the position where it was. From then on
// every read yields 0 (or nothing) and every write or seek does nothing, even one that would fit,
// so callers check ok() once after a run of fields instead of testing each one.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace ofa::wire {

class Reader {
 public:
  Reader() = default;
  explicit Reader(std::span<const uint8_t> buf) : buf_(buf) {}
  Reader(const void* data, size_t size) : buf_(static_cast<const uint8_t*>(data), size) {}

  bool ok() const { return ok_; }
  size_t size() const { return buf_.size(); }
  size_t offset() const { return pos_; }
  size_t remaining() const { return buf_.size() - pos_; }
  bool has(size_t n) const { return n <= remaining(); }
  std::span<const uint8_t> data() const { return buf_; }
  std::span<const uint8_t> rest() const { return buf_.subspan(pos_); }

  uint8_t u8() { return static_cast<uint8_t>(take(1)); }
  uint16_t u16() { return static_cast<uint16_t>(take(2)); }
  uint32_t u32() { return static_cast<uint32_t>(take(4)); }
  uint64_t u64() { return take(8); }
  int32_t i32() { return static_cast<int32_t>(u32()); }

  // Copies n bytes into out (which must hold n); on overrun copies nothing and fails.
  bool bytes(std::span<uint8_t> out) {
    if (!need(out.size())) return false;
    std::copy_n(buf_.begin() + static_cast<std::ptrdiff_t>(pos_), out.size(), out.begin());
    pos_ += out.size();
    return true;
  }
  // A fixed-width text field: the bytes up to the first NUL or the field's end.
  std::string text(size_t width) {
    if (!need(width)) return {};
    auto field = buf_.subspan(pos_, width);
    pos_ += width;
    auto end = std::find(field.begin(), field.end(), uint8_t{0});
    return std::string(field.begin(), end);
  }
  bool skip(size_t n) {
    if (!need(n)) return false;
    pos_ += n;
    return true;
  }
  bool seek(size_t off) {
    if (!ok_ || off > buf_.size()) return fail();
    pos_ = off;
    return true;
  }
  // A reader over [offset(), offset() + n) that advances this one past it.
  Reader sub(size_t n) {
    if (!need(n)) return Reader(std::span<const uint8_t>{}).failed();
    Reader r(buf_.subspan(pos_, n));
    pos_ += n;
    return r;
  }

  // Absolute reads that do not move the position.
  uint8_t u8_at(size_t off) { return static_cast<uint8_t>(peek(off, 1)); }
  uint16_t u16_at(size_t off) { return static_cast<uint16_t>(peek(off, 2)); }
  uint32_t u32_at(size_t off) { return static_cast<uint32_t>(peek(off, 4)); }
  uint64_t u64_at(size_t off) { return peek(off, 8); }

 private:
  bool fail() {
    ok_ = false;
    return false;
  }
  Reader failed() {
    ok_ = false;
    return *this;
  }
  bool need(size_t n) { return ok_ && has(n) ? true : fail(); }
  uint64_t peek(size_t off, size_t n) {
    if (!ok_ || off > buf_.size() || n > buf_.size() - off) {
      fail();
      return 0;
    }
    uint64_t v = 0;
    for (size_t i = 0; i < n; ++i)
      v = (v << 8) | buf_[off + i];
    return v;
  }
  uint64_t take(size_t n) {
    uint64_t v = peek(pos_, n);
    if (ok_) pos_ += n;
    return v;
  }

  std::span<const uint8_t> buf_;
  size_t pos_ = 0;
  bool ok_ = true;
};

class Writer {
 public:
  Writer() = default;
  explicit Writer(std::span<uint8_t> buf) : buf_(buf) {}
  Writer(void* data, size_t size) : buf_(static_cast<uint8_t*>(data), size) {}

  bool ok() const { return ok_; }
  size_t size() const { return buf_.size(); }
  size_t offset() const { return pos_; }
  size_t remaining() const { return buf_.size() - pos_; }
  std::span<uint8_t> data() const { return buf_; }
  std::span<uint8_t> written() const { return buf_.first(pos_); }

  Writer& u8(uint8_t v) { return put(v, 1); }
  Writer& u16(uint16_t v) { return put(v, 2); }
  Writer& u32(uint32_t v) { return put(v, 4); }
  Writer& u64(uint64_t v) { return put(v, 8); }
  Writer& i32(int32_t v) { return u32(static_cast<uint32_t>(v)); }

  Writer& bytes(std::span<const uint8_t> in) {
    if (!need(in.size())) return *this;
    std::copy(in.begin(), in.end(), buf_.begin() + static_cast<std::ptrdiff_t>(pos_));
    pos_ += in.size();
    return *this;
  }
  Writer& zeros(size_t n) {
    if (!need(n)) return *this;
    std::fill_n(buf_.begin() + static_cast<std::ptrdiff_t>(pos_), n, uint8_t{0});
    pos_ += n;
    return *this;
  }
  // A fixed-width text field: the text cut to width, the rest zero-filled.
  Writer& text(std::string_view s, size_t width) {
    if (!need(width)) return *this;
    size_t n = std::min(s.size(), width);
    auto out = buf_.begin() + static_cast<std::ptrdiff_t>(pos_);
    std::copy_n(s.begin(), n, out);
    std::fill_n(out + static_cast<std::ptrdiff_t>(n), width - n, uint8_t{0});
    pos_ += width;
    return *this;
  }
  bool seek(size_t off) {
    if (!ok_ || off > buf_.size()) return fail();
    pos_ = off;
    return true;
  }

  // Absolute writes that do not move the position.
  bool u8_at(size_t off, uint8_t v) { return poke(off, v, 1); }
  bool u16_at(size_t off, uint16_t v) { return poke(off, v, 2); }
  bool u32_at(size_t off, uint32_t v) { return poke(off, v, 4); }
  bool u64_at(size_t off, uint64_t v) { return poke(off, v, 8); }

 private:
  bool fail() {
    ok_ = false;
    return false;
  }
  bool need(size_t n) { return ok_ && n <= remaining() ? true : fail(); }
  bool poke(size_t off, uint64_t v, size_t n) {
    if (!ok_ || off > buf_.size() || n > buf_.size() - off) return fail();
    for (size_t i = 0; i < n; ++i)
      buf_[off + n - 1 - i] = static_cast<uint8_t>(v >> (8 * i));
    return true;
  }
  Writer& put(uint64_t v, size_t n) {
    if (poke(pos_, v, n)) pos_ += n;
    return *this;
  }

  std::span<uint8_t> buf_;
  size_t pos_ = 0;
  bool ok_ = true;
};

}  // namespace ofa::wire
