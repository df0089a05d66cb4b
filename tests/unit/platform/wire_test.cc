#include "platform/wire.h"

#include <gtest/gtest.h>

#include <array>

namespace {

using ofa::wire::Reader;
using ofa::wire::Writer;

TEST(WireWriter, BigEndianFieldsLandAtTheirOffsets) {
  std::array<uint8_t, 24> buf{};
  Writer w(buf);
  w.u8(0x01).u16(0x0203).u32(0x04050607).u64(0x08090a0b0c0d0e0fULL).text("ab", 4).zeros(1);
  ASSERT_TRUE(w.ok());
  EXPECT_EQ(w.offset(), 20u);
  EXPECT_TRUE(w.u32_at(20, 0xdeadbeef));
  EXPECT_EQ(buf, (std::array<uint8_t, 24>{1,  2,  3,  4,   5,   6, 7, 8, 9,    10,   11,   12,
                                          13, 14, 15, 'a', 'b', 0, 0, 0, 0xde, 0xad, 0xbe, 0xef}));
}

TEST(WireWriter, OverrunWritesNothingAndSticks) {
  std::array<uint8_t, 6> buf{0xaa, 0xaa, 0xaa, 0xaa, 0xaa, 0xaa};
  Writer w(buf);
  w.u32(1);
  w.u32(2);  // would pass the end
  EXPECT_FALSE(w.ok());
  EXPECT_FALSE(w.u16_at(5, 1));
  EXPECT_FALSE(w.u8_at(6, 1));
  // Sticky: writes that would fit write nothing either.
  EXPECT_FALSE(w.u8_at(5, 1));
  EXPECT_FALSE(w.seek(0));
  const std::array<uint8_t, 1> one{1};
  w.u8(1).zeros(1).bytes(one).text("a", 1);
  EXPECT_FALSE(w.ok());
  EXPECT_EQ(w.offset(), 4u);
  EXPECT_EQ(buf, (std::array<uint8_t, 6>{0, 0, 0, 1, 0xaa, 0xaa}));
}

// Every kind of read past the end yields zero, leaves the position and sets the flag; from then
// on reads that would fit yield zero too.
TEST(WireReader, EveryOverrunIsRefused) {
  const std::array<uint8_t, 3> buf{1, 2, 3};
  struct Case {
    const char* what;
    bool (*op)(Reader&);
  };
  const Case cases[] = {
      {"u32", [](Reader& r) { return r.u32() == 0; }},
      {"u64", [](Reader& r) { return r.u64() == 0; }},
      {"skip", [](Reader& r) { return !r.skip(4); }},
      {"seek", [](Reader& r) { return !r.seek(4); }},
      {"text", [](Reader& r) { return r.text(4).empty(); }},
      {"u16_at", [](Reader& r) { return r.u16_at(2) == 0; }},
      {"u32_at huge", [](Reader& r) { return r.u32_at(SIZE_MAX - 1) == 0; }},
      {"sub", [](Reader& r) { return !r.sub(4).ok(); }},
      {"bytes",
       [](Reader& r) {
         std::array<uint8_t, 4> out{};
         return !r.bytes(out);
       }},
  };
  for (const auto& c : cases) {
    Reader r(buf);
    r.u8();
    EXPECT_TRUE(c.op(r)) << c.what;
    EXPECT_FALSE(r.ok()) << c.what;
    EXPECT_EQ(r.offset(), 1u) << c.what;
    EXPECT_EQ(r.u8(), 0u) << c.what;
    EXPECT_EQ(r.u8_at(0), 0u) << c.what;
    EXPECT_TRUE(r.text(1).empty() && !r.skip(1) && !r.seek(0) && !r.sub(1).ok()) << c.what;
    EXPECT_EQ(r.offset(), 1u) << c.what;
    EXPECT_FALSE(r.ok()) << c.what;
  }
}

TEST(WireReader, SubReaderIsBoundedToItsSlice) {
  const std::array<uint8_t, 8> buf{0, 0, 0, 7, 0, 0, 0, 9};
  Reader r(buf);
  Reader first = r.sub(4);
  EXPECT_EQ(first.u32(), 7u);
  EXPECT_EQ(first.u8(), 0u);
  EXPECT_FALSE(first.ok());
  EXPECT_TRUE(r.ok());
  EXPECT_EQ(r.u32(), 9u);
}

TEST(WireReader, TextStopsAtNulOrFieldEnd) {
  const std::array<uint8_t, 6> buf{'a', 'b', 0, 'c', 'd', 'e'};
  Reader r(buf);
  EXPECT_EQ(r.text(3), "ab");
  EXPECT_EQ(r.text(3), "cde");
}

}  // namespace
