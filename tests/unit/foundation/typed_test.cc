// Typed owners: limits and zeroing come through from the pool, owners give memory back (the
// sanitizer and valgrind runs check that nothing leaks).
#include "foundation/typed.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using namespace ofa::foundation;

struct Group {
  dce_avl_node link;
  uint32_t group_id;
  uint32_t buckets;
};

TEST(TypedPool, KeepsTheLimitAndZeroes) {
  TypedPool<Group> pool(512, GENERIC_POOL_FIXED_GROWTH, 1024);
  ASSERT_TRUE(pool.ok());
  std::vector<Group*> all;
  for (int i = 0; i < 1024; ++i) {
    Group* g = pool.get();
    ASSERT_NE(g, nullptr) << i;
    EXPECT_EQ(g->group_id, 0u);
    g->group_id = static_cast<uint32_t>(i);
    all.push_back(g);
  }
  EXPECT_EQ(pool.get(), nullptr);
  EXPECT_EQ(pool.in_use(), 1024u);
  pool.put(all[7]);
  Group* again = pool.get();
  EXPECT_EQ(again, all[7]);
  EXPECT_EQ(again->group_id, 0u);
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

  dce_avl_tree groups{};
  dce_avl_tree_init(&groups, dce_compare_uint32, offsetof(Group, group_id), offsetof(Group, link));
  Group g{};
  g.group_id = 9;
  dce_avl_insert_or_find(&groups, &g.link);
  uint32_t key = 9;
  EXPECT_EQ(dce_record<Group>(dce_avl_find(&groups, &key)), &g);
}

}  // namespace
