// generic_pool and generic_multi_pool: rounding, growth, limits, guard words, conversions, texts.
#include "foundation/generic_pool.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "fake_clock.h"

namespace {

TEST(PoolSizes, RoundUpAndGrowFactor) {
  const std::pair<uint32_t, uint32_t> rounds[] = {
      {0, 1024},          {1, 1024},      {1024, 1024},         {1025, 2048},
      {4096, 4096},       {40960, 65536}, {0x200000, 0x200000}, {0x200001, 0x400000},
      {5000000, 0x400000}};
  for (auto [in, out] : rounds)
    EXPECT_EQ(mem_round_up_size(in), out) << in;
  std::vector<uint32_t> got;
  for (uint32_t i = 0; i < 9; ++i)
    got.push_back(get_pool_grow_factor(i));
  EXPECT_EQ(got, (std::vector<uint32_t>{1, 1, 2, 4, 8, 16, 20, 20, 20}));
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
  };
  for (const Case& c : cases) {
    generic_pool pool;
    ASSERT_EQ(init_generic_pool(&pool, c.initial, c.unit, c.flags), 1);
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

TEST(GenericPool, NoFirstBlockFillsOnFirstGet) {
  generic_pool pool;
  EXPECT_EQ(init_generic_pool(&pool, 10, 16, GENERIC_POOL_NO_FIRST_BLOCK), 0);
  EXPECT_EQ(pool.total_number, 0u);
  ASSERT_NE(generic_get_mem_from_pool(&pool), nullptr);
  EXPECT_EQ(pool.total_number, 64u);
  free_generic_pool(&pool);
}

TEST(GenericPool, ElementsComeZeroedAndIndexesMatchTheFirstBlock) {
  generic_pool pool;
  ASSERT_EQ(init_generic_pool(&pool, 16, 20, 0), 1);
  EXPECT_EQ(pool.unit_size, 24u);
  auto* a = static_cast<unsigned char*>(generic_get_mem_from_pool(&pool));
  auto* b = static_cast<unsigned char*>(generic_get_mem_from_pool(&pool));
  EXPECT_EQ(generic_pool_pointer_to_index(&pool, a), 0u);
  EXPECT_EQ(generic_pool_pointer_to_index(&pool, b), 1u);
  EXPECT_EQ(generic_pool_index_to_pointer(&pool, 1), b);
  std::memset(a, 0xAB, 20);
  generic_free_mem_to_pool(&pool, a);
  auto* again = static_cast<unsigned char*>(generic_get_mem_from_pool(&pool));
  ASSERT_EQ(again, a);
  for (int i = 0; i < 20; ++i)
    EXPECT_EQ(again[i], 0) << i;
  free_generic_pool(&pool);
}

TEST(GenericPool, NullPoolAnswers) {
  EXPECT_EQ(generic_get_mem_from_pool(nullptr), nullptr);
  EXPECT_EQ(generic_get_pool_allocated_number(nullptr), 0xFFFFFFFFu);
  EXPECT_EQ(generic_get_pool_total_number(nullptr), 0xFFFFFFFFu);
  EXPECT_EQ(generic_get_pool_upper_limit(nullptr), 0u);
  generic_free_mem_to_pool(nullptr, nullptr);
}

class GuardWords : public ::testing::Test {
 protected:
  void SetUp() override {
    fake_clock::install(1000000000);
    ASSERT_EQ(init_generic_pool(&pool_, 8, 32, GENERIC_POOL_GUARD), 1);
  }
  void TearDown() override {
    free_generic_pool(&pool_);
    fake_clock::uninstall();
  }
  generic_pool pool_;
};

TEST_F(GuardWords, DoubleFreeCountsAndLeavesFreeListAlone) {
  EXPECT_EQ(pool_.unit_size, 40u);
  void* a = generic_get_mem_from_pool(&pool_);
  void* b = generic_get_mem_from_pool(&pool_);
  uint32_t guard;
  std::memcpy(&guard, static_cast<char*>(a) + 36, 4);
  EXPECT_EQ(guard, GENERIC_POOL_GUARD_IN_USE);
  generic_free_mem_to_pool(&pool_, a);
  testing::internal::CaptureStdout();
  generic_free_mem_to_pool(&pool_, a);
  std::string out = testing::internal::GetCapturedStdout();
  EXPECT_NE(out.find("double free"), std::string::npos) << out;
  EXPECT_EQ(pool_.free_fail, 1u);
  EXPECT_EQ(generic_get_pool_allocated_number(&pool_), 1u);
  EXPECT_EQ(generic_get_mem_from_pool(&pool_), a);
  EXPECT_NE(generic_get_mem_from_pool(&pool_), a);  // a was on the free list once only
  generic_free_mem_to_pool(&pool_, b);
}

TEST_F(GuardWords, CorruptionCountsKeepsElementAndReportIsRateLimited) {
  fake_clock::advance_ms(20000);
  void* a = generic_get_mem_from_pool(&pool_);
  void* b = generic_get_mem_from_pool(&pool_);
  std::memset(a, 0x55, 40);  // overruns into the guard word
  std::memset(b, 0x55, 40);
  testing::internal::CaptureStdout();
  generic_free_mem_to_pool(&pool_, a);
  generic_free_mem_to_pool(&pool_, b);  // within 10 s: counted, not reported
  std::string out = testing::internal::GetCapturedStdout();
  EXPECT_EQ(pool_.corrupt_fail, 2u);
  EXPECT_EQ(generic_get_pool_allocated_number(&pool_), 2u);  // both lost, not reused
  size_t first = out.find("corrupted guard word");
  ASSERT_NE(first, std::string::npos) << out;
  EXPECT_EQ(out.find("corrupted guard word", first + 1), std::string::npos) << out;
  EXPECT_NE(out.find("55555555 55555555"), std::string::npos) << out;
}

TEST(GenericPoolText, PrintAndUpperLimitWords) {
  generic_pool pool;
  init_generic_pool(&pool, 512, 80, GENERIC_POOL_FIXED_GROWTH);
  char buf[16];
  EXPECT_STREQ(get_upper_limit_in_string(&pool, buf, sizeof buf), "32768");  // 64 x 512
  set_generic_pool_upper_limit(&pool, 1024);
  testing::internal::CaptureStdout();
  print_generic_pool(&pool);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "init#=512 unit_s=80 total=512 in_use=0 fail=0 upper=1024 min_mem=0 freeFail=0 "
            "corruptFail=0\n");
  free_generic_pool(&pool);
  init_generic_pool(&pool, 4, 8, GENERIC_POOL_NO_GROW);
  EXPECT_STREQ(get_upper_limit_in_string(&pool, buf, sizeof buf), "4");
  free_generic_pool(&pool);
  init_generic_pool(&pool, 4, 8, 0);
  EXPECT_STREQ(get_upper_limit_in_string(&pool, buf, sizeof buf), "none");
  testing::internal::CaptureStdout();
  dump_generic_pool(&pool);
  std::string dump = testing::internal::GetCapturedStdout();
  EXPECT_NE(dump.find(", unit_size: 8, initial_number:4, upper_limit:2000000000\n"
                      "  total_number:4, allocated_number:0, alloc_failure 0\n"
                      "  flag: 0, pool_index:1, avail_data:"),
            std::string::npos)
      << dump;
  free_generic_pool(&pool);
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
  EXPECT_EQ(generic_get_pool_allocated_number(&multi.pools[0]), 1u);
  EXPECT_EQ(generic_get_pool_allocated_number(&multi.pools[1]), 1u);
  EXPECT_EQ(generic_get_pool_allocated_number(&multi.pools[2]), 1u);
  testing::internal::CaptureStdout();
  EXPECT_EQ(generic_get_mem_from_multi_pool(&multi, 300), nullptr);
  EXPECT_EQ(generic_get_mem_from_multi_pool(&multi, 0), nullptr);
  std::string out = testing::internal::GetCapturedStdout();
  EXPECT_NE(out.find("generic_get..multi_pool(). largest size is size[2]=256, try to get 300\n"),
            std::string::npos)
      << out;
  generic_free_mem_to_multi_pool(&multi, b);
  EXPECT_EQ(generic_get_pool_allocated_number(&multi.pools[1]), 0u);
  uint32_t stray[4] = {0x11111111, 0, 0, 0};
  testing::internal::CaptureStdout();
  generic_free_mem_to_multi_pool(&multi, &stray[2]);
  out = testing::internal::GetCapturedStdout();
  EXPECT_NE(out.find("wrong mem, signature=11111111"), std::string::npos) << out;
  generic_free_mem_to_multi_pool(&multi, a);
  generic_free_mem_to_multi_pool(&multi, c);
  free_generic_multi_pool(&multi);
}

}  // namespace
