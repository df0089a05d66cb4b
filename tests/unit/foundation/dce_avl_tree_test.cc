// dce_avl_tree: intrusive insert/find, find-or-find-next, first/last upkeep, deletes with and
// without rebalancing, and the key compares.
#include "foundation/dce_avl_tree.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "tree_checker.h"

namespace {

struct Rec {
  dce_avl_node link;  // at the head, as the group and meter bases have it
  uint32_t id;
};

class DceAvlTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dce_avl_tree_init(&tree_, dce_compare_uint32, offsetof(Rec, id), offsetof(Rec, link));
    recs_.resize(100);
    for (uint32_t i = 0; i < recs_.size(); ++i)
      recs_[i].id = i;
  }
  void insert(std::initializer_list<uint32_t> ids) {
    for (uint32_t id : ids) {
      ASSERT_EQ(dce_avl_insert_or_find(&tree_, &recs_[id].link), nullptr);
      tree_check::check(&tree_);
    }
  }
  std::vector<uint32_t> ids() {
    std::vector<uint32_t> out;
    for (void* r : tree_check::check(&tree_))
      out.push_back(static_cast<Rec*>(r)->id);
    return out;
  }
  static uint32_t id_of(void* rec) { return rec ? static_cast<Rec*>(rec)->id : 9999; }

  dce_avl_tree tree_{};
  std::vector<Rec> recs_;
};

TEST_F(DceAvlTest, EmptyTreeFromZeroedRecord) {
  dce_avl_tree t{};
  t.compare = dce_compare_uint32;
  t.key_offset = offsetof(Rec, id);
  t.rebalance = 1;
  uint32_t key = 3;
  EXPECT_EQ(dce_avl_find(&t, &key), nullptr);
  EXPECT_EQ(dce_avl_find_or_find_next(&t, &key, 1), nullptr);
  EXPECT_EQ(dce_avl_next(&t, nullptr), nullptr);
  EXPECT_EQ(dce_avl_insert_or_find(&t, &recs_[3].link), nullptr);
  EXPECT_EQ(dce_avl_find(&t, &key), &recs_[3]);
}

TEST_F(DceAvlTest, FindOrFindNext) {
  insert({10, 20, 30});
  struct Case {
    uint32_t key;
    int after;
    uint32_t expect;  // 9999: null
  };
  for (Case c : {Case{0, 1, 10}, Case{0, 0, 10}, Case{10, 0, 10}, Case{10, 1, 20}, Case{15, 0, 20},
                 Case{15, 1, 20}, Case{30, 1, 9999}, Case{31, 0, 9999}}) {
    EXPECT_EQ(id_of(dce_avl_find_or_find_next(&tree_, &c.key, c.after)), c.expect)
        << c.key << "/" << c.after;
  }
}

TEST_F(DceAvlTest, WalkContinuesAfterDeletingCurrentRecord) {
  insert({5, 1, 9, 3, 7});
  std::vector<uint32_t> seen;
  uint32_t key = 0;
  for (void* r = dce_avl_find_or_find_next(&tree_, &key, 1); r != nullptr;
       r = dce_avl_find_or_find_next(&tree_, &key, 1)) {
    key = id_of(r);
    seen.push_back(key);
    dce_avl_delete(&tree_, &static_cast<Rec*>(r)->link);
    tree_check::check(&tree_);
  }
  EXPECT_EQ(seen, (std::vector<uint32_t>{1, 3, 5, 7, 9}));
  EXPECT_EQ(tree_.root, nullptr);
  EXPECT_EQ(tree_.first, nullptr);
  EXPECT_EQ(tree_.last, nullptr);
}

TEST_F(DceAvlTest, DeleteRootOfTwoNodeTreeKeepsFirstAndLast) {
  for (bool root_is_low : {true, false}) {
    SetUp();
    insert(root_is_low ? std::initializer_list<uint32_t>{1, 2}
                       : std::initializer_list<uint32_t>{2, 1});
    uint32_t root_id = id_of(dce_avl_record(&tree_, tree_.root));
    dce_avl_delete(&tree_, tree_.root);
    uint32_t other = root_id == 1 ? 2 : 1;
    EXPECT_EQ(tree_.first, &recs_[other].link);
    EXPECT_EQ(tree_.last, &recs_[other].link);
    EXPECT_EQ(ids(), (std::vector<uint32_t>{other}));
  }
}

TEST_F(DceAvlTest, EveryDeleteKeepsBalanceAndRank) {
  for (uint32_t i = 0; i < 100; ++i)
    ASSERT_EQ(dce_avl_insert_or_find(&tree_, &recs_[(i * 37) % 100].link), nullptr);
  for (uint32_t i = 0; i < 100; ++i) {
    dce_avl_delete(&tree_, &recs_[(i * 53) % 100].link);
    tree_check::check(&tree_);
  }
  EXPECT_EQ(tree_.root, nullptr);
}

TEST(DceCompare, WidthsAndOrdinarySense) {
  uint32_t a32 = 1, b32 = 0xFFFFFFFF;
  uint16_t a16 = 2, b16 = 0xFFFF;
  uint8_t a8 = 3, b8 = 0xFF;
  EXPECT_EQ(dce_compare_uint32(&a32, &b32), -1);
  EXPECT_EQ(dce_compare_uint32(&b32, &a32), 1);
  EXPECT_EQ(dce_compare_uint32(&a32, &a32), 0);
  EXPECT_EQ(dce_compare_uint16(&a16, &b16), -1);
  EXPECT_EQ(dce_compare_uint16(&b16, &b16), 0);
  EXPECT_EQ(dce_compare_uint8(&b8, &a8), 1);
}

}  // namespace
