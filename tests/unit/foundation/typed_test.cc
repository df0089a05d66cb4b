// Typed owners: limits and zeroing come through from the pool, owners give memory back (the
// sanitizer and valgrind runs check that nothing leaks).
#include "foundation/typed.h"

#include <gtest/gtest.h>

namespace {

using namespace ofa::foundation;

struct Group {
  dce_avl_node link;
  uint32_t group_id;
  uint32_t buckets;
};

TEST(TypedPool, PassesTheLimitThroughAndZeroes) {
  TypedPool<Group> pool(2, GENERIC_POOL_NO_FIRST_BLOCK, 3);
  ASSERT_TRUE(pool.ok());  // no first block is no failure
  Group* g[3] = {pool.get(), pool.get(), pool.get()};
  ASSERT_TRUE(g[0] && g[1] && g[2]);
  EXPECT_EQ(pool.get(), nullptr);
  g[1]->group_id = 5;
  pool.put(g[1]);
  EXPECT_EQ(pool.in_use(), 2u);
  EXPECT_EQ(pool.get()->group_id, 0u);
}

int cmp_u32(const void* a, const void* b) {
  return dce_compare_uint32(a, b);
}

TEST(TypedOwners, TreeAndTableGoWithTheirOwners) {
  avl_tree_ptr tree = make_avl_tree(cmp_u32);
  ASSERT_NE(tree, nullptr);
  uint32_t keys[] = {3, 1, 2};
  for (uint32_t& k : keys)
    ASSERT_EQ(avl_insert(tree.get(), &k), 0);
  EXPECT_EQ(*avl_item<uint32_t>(avl_getfirst(tree.get())), 1u);
  EXPECT_EQ(avl_item<uint32_t>(nullptr), nullptr);

  hash_table_ptr table(hashFastGenericCreate(
      16, nullptr,
      [](hash_key_t key, void* data, uintptr_t) {
        return static_cast<int>(key) - static_cast<int>(*static_cast<uint32_t*>(data));
      },
      nullptr));
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(hashFastGenericInsert(table.get(), 2, &keys[2]), 1);
}

}  // namespace
