// generic_pool and generic_multi_pool: rounding, growth, limits, guard words, the multi pool's
// choice of pool and its refusals.
#include "foundation/generic_pool.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "fake_clock.h"
#include "stdout_capture.h"

namespace {

using ofa::test::stdout_of;

TEST(PoolSizes, RoundUpAndGrowFactor) {
  const std::pair<uint32_t, uint32_t> rounds[] = {
      {1, 1024}, {1024, 1024}, {1025, 2048}, {0x200000, 0x200000}, {0x200001, 0x400000}};
  for (auto [in, out] : rounds)
    EXPECT_EQ(mem_round_up_size(in), out) << in;
  std::vector<uint32_t> got;
  for (uint32_t i = 0; i < 8; ++i)
    got.push_back(get_pool_grow_factor(i));
  EXPECT_EQ(got, (std::vector<uint32_t>{1, 1, 2, 4, 8, 16, 20, 20}));
}

// Growth: take elements until the pool refuses one; the limit, the no-grow flag and the block
// count each stop it.
TEST(GenericPool, GrowsUntilTheLimit) {
  struct Case {
    uint32_t initial, unit, flags, limit;
    int taken;
    uint32_t total, blocks, failures, flags_after;
  };
  const Case cases[] = {
      // 512 x 80 bytes rounds to 64 KiB: the second block holds 819.
      {512, 80, GENERIC_POOL_FIXED_GROWTH, 1024, 1024, 1331, 2, 0, GENERIC_POOL_FIXED_GROWTH},
      // 4 + 4 would pass 6: the second block holds the 2 left.
      {4, 16, GENERIC_POOL_FIXED_GROWTH, 6, 6, 6, 2, 0, GENERIC_POOL_FIXED_GROWTH},
      // 0 means no limit: 1, then 63 blocks of 128.
      {1, 8, GENERIC_POOL_FIXED_GROWTH, 0, 8065, 8065, 64, 1, GENERIC_POOL_FIXED_GROWTH},
      // A limit not above the total leaves the flag; a higher one lifts it, and the block of
      // 4 more is rounded up to 1 KiB.
      {4, 16, GENERIC_POOL_NO_GROW, 4, 4, 4, 1, 0, GENERIC_POOL_NO_GROW},
      {4, 16, GENERIC_POOL_NO_GROW, 8, 8, 68, 2, 0, 0},
      // No first block: the first get fills one of 1 KiB.
      {10, 16, GENERIC_POOL_NO_FIRST_BLOCK, 64, 64, 64, 1, 0, GENERIC_POOL_NO_FIRST_BLOCK},
  };
  for (const Case& c : cases) {
    generic_pool pool;
    ASSERT_EQ(init_generic_pool(&pool, c.initial, c.unit, c.flags),
              c.flags == GENERIC_POOL_NO_FIRST_BLOCK ? 0 : 1);
    set_generic_pool_upper_limit(&pool, c.limit);
    int taken = 0;
    while (generic_get_mem_from_pool(&pool) != nullptr && taken < 10000)
      ++taken;
    EXPECT_EQ(
        std::make_tuple(taken, pool.total_number, pool.block_count, pool.alloc_failure, pool.flag),
        std::make_tuple(c.taken, c.total, c.blocks, c.failures, c.flags_after))
        << c.initial << " limit " << c.limit;
    free_generic_pool(&pool);
    EXPECT_EQ(std::make_pair(pool.block_count, pool.total_number), std::make_pair(0u, 0u));
  }
}

// A double free and an overrun guard word are counted and the element stays out of the free
// list; the report (with the element's words) comes at most once in 10 s.
TEST(GuardWords, CountedKeptOutAndReportedAtMostEveryTenSeconds) {
  fake_clock::install(1000000000);
  generic_pool pool;
  ASSERT_EQ(init_generic_pool(&pool, 8, 32, GENERIC_POOL_GUARD), 1);
  EXPECT_EQ(pool.unit_size, 40u);
  void* a = generic_get_mem_from_pool(&pool);
  void* b = generic_get_mem_from_pool(&pool);
  void* c = generic_get_mem_from_pool(&pool);
  std::memset(a, 0x55, 40);  // overruns into the guard word
  std::memset(b, 0x55, 40);
  std::string out = stdout_of([&] {
    generic_free_mem_to_pool(&pool, a);
    generic_free_mem_to_pool(&pool, b);  // within 10 s: counted, not reported
  });
  EXPECT_EQ(pool.corrupt_fail, 2u);
  EXPECT_EQ(out.find("corrupted guard word", out.find("corrupted guard word") + 1),
            std::string::npos)
      << out;
  EXPECT_NE(out.find("55555555 55555555"), std::string::npos) << out;
  fake_clock::advance_ms(10000);
  std::memset(c, 0x77, 36);  // its own bytes, not the guard word
  generic_free_mem_to_pool(&pool, c);
  EXPECT_NE(stdout_of([&] { generic_free_mem_to_pool(&pool, c); }).find("double free"),
            std::string::npos);
  EXPECT_EQ(pool.free_fail, 1u);
  EXPECT_EQ(generic_get_pool_allocated_number(&pool), 2u);  // a and b lost, not reused
  auto* again = static_cast<unsigned char*>(generic_get_mem_from_pool(&pool));
  ASSERT_EQ(again, c);
  EXPECT_EQ(again[35], 0);                         // taken elements come zeroed
  EXPECT_NE(generic_get_mem_from_pool(&pool), c);  // c was on the free list once only
  free_generic_pool(&pool);
  fake_clock::uninstall();
}

TEST(GenericMultiPool, PicksSmallestFittingPoolAndFallsThroughWhenFull) {
  generic_multi_pool multi;
  const uint32_t sizes[] = {16, 64, 256};
  const uint32_t initial[] = {4, 4, 4};
  ASSERT_EQ(init_generic_multi_pool(&multi, 3, sizes, initial, GENERIC_POOL_FIXED_GROWTH, nullptr),
            1);
  const uint32_t limits[] = {1, 0, 0};
  set_generic_multi_pool_upper_limit(&multi, limits);
  void* a = generic_get_mem_from_multi_pool(&multi, 10);
  void* b = generic_get_mem_from_multi_pool(&multi, 10);  // pool 0 full: from pool 1
  void* c = generic_get_mem_from_multi_pool(&multi, 200);
  ASSERT_TRUE(a && b && c);
  EXPECT_EQ(stdout_of([&] {
              EXPECT_EQ(generic_get_mem_from_multi_pool(&multi, 300), nullptr);
              EXPECT_EQ(generic_get_mem_from_multi_pool(&multi, 0), nullptr);
            }),
            "generic_get..multi_pool(). largest size is size[2]=256, try to get 300\n"
            "generic_get..multi_pool(). largest size is size[2]=256, try to get 0\n");
  generic_free_mem_to_multi_pool(&multi, b);  // back to pool 1, which gave it
  EXPECT_EQ(generic_get_pool_allocated_number(&multi.pools[1]), 0u);
  uint32_t stray[4] = {0x11111111, 0, 0, 0};
  EXPECT_NE(stdout_of([&] {
              generic_free_mem_to_multi_pool(&multi, &stray[2]);
            }).find("wrong mem, signature=11111111"),
            std::string::npos);
  generic_free_mem_to_multi_pool(&multi, a);
  generic_free_mem_to_multi_pool(&multi, c);
  free_generic_multi_pool(&multi);
}

}  // namespace
