#include "chip/chip_flow_tree.h"

#include "agent/flow_record.h"
#include "agent/status.h"
#include "agent/trace.h"
#include "chip/chip_table.h"
#include "foundation/avl_tree.h"

int of_chip_cmp_flows(const void* a, const void* b) {
  auto* x = static_cast<const of_chip_flow_node*>(a);
  auto* y = static_cast<const of_chip_flow_node*>(b);
  if (x->priority != y->priority) return x->priority > y->priority ? -1 : 1;
  if (x->flow_id != y->flow_id) return x->flow_id > y->flow_id ? -1 : 1;
  return 0;
}

int of_chip_init_flow_table(of_chip_entry* chip) {
  file_printf("init Flow Table");
  for (avl_tree** tree : {&chip->l2_flow_tree, &chip->l3_flow_tree}) {
    if (*tree) continue;
    int rc = avl_create_inline(tree, sizeof(of_chip_flow_node), of_chip_cmp_flows);
    if (rc != 0) {
      // The L3 tree's failure is reported with the L2 words.
      file_printf("Failed to initialize l2flow chip table, error = %d", rc);
      return OFA_E_NO_MEMORY;
    }
  }
  return 0;
}

void of_chip_free_flow_table(of_chip_entry* chip) {
  if (chip->l2_flow_tree) avl_tree_free(&chip->l2_flow_tree, nullptr);
  if (chip->l3_flow_tree) avl_tree_free(&chip->l3_flow_tree, nullptr);
}

avl_tree* of_chip_flow_tree(of_flow_tree_kind kind, of_chip_entry* chip) {
  if (!chip) return nullptr;
  return kind == of_flow_tree_kind::l2 ? chip->l2_flow_tree : chip->l3_flow_tree;
}

namespace {

const of_chip_flow_node* item_of(avl_node* node) {
  return node ? static_cast<const of_chip_flow_node*>(node->info) : nullptr;
}

}  // namespace

int of_chip_avl_flow_add(of_flow_tree_kind kind, of_chip_entry* chip, uint32_t priority,
                         uint32_t flow_id, const of_flow_hw_ref* hw) {
  avl_tree* tree = of_chip_flow_tree(kind, chip);
  of_chip_flow_node item{priority, flow_id, hw->get(chip->chip_id)};
  if (avl_insert_node(tree, &item, true)) return 0;
  if (of_chip_avl_lookup_flow(kind, chip, priority, flow_id)) {
    file_printf("flow already exists priority:%d flow_id:%d", priority, flow_id);
    return 0;
  }
  file_printf("failed to create interface entry priority:%d flow_id:%d", priority, flow_id);
  return OFA_E_INVALID_ARG;
}

int of_chip_avl_flow_del(of_flow_tree_kind kind, of_chip_entry* chip, uint32_t priority,
                         uint32_t flow_id) {
  avl_tree* tree = of_chip_flow_tree(kind, chip);
  of_chip_flow_node key{priority, flow_id, 0};
  avl_node* node = tree ? avl_search(tree, &key) : nullptr;
  if (!node) {
    file_printf("Ignore unknown flow delete. priority:%d flow_id:%d", priority, flow_id);
    return 0;
  }
  avl_delete_node(tree, node);
  return 0;
}

const of_chip_flow_node* of_chip_avl_lookup_flow(of_flow_tree_kind kind, of_chip_entry* chip,
                                                 uint32_t priority, uint32_t flow_id) {
  avl_tree* tree = of_chip_flow_tree(kind, chip);
  of_chip_flow_node key{priority, flow_id, 0};
  return tree ? item_of(avl_search(tree, &key)) : nullptr;
}

const of_chip_flow_node* of_chip_avl_lookup_next_flow(of_flow_tree_kind kind, of_chip_entry* chip,
                                                      uint32_t priority, uint32_t flow_id) {
  avl_tree* tree = of_chip_flow_tree(kind, chip);
  of_chip_flow_node key{priority, flow_id, 0};
  return tree ? item_of(avl_get_next(tree, &key)) : nullptr;
}

const of_chip_flow_node* of_chip_avl_lookup_prev_flow(of_flow_tree_kind kind, of_chip_entry* chip,
                                                      uint32_t priority, uint32_t flow_id) {
  avl_tree* tree = of_chip_flow_tree(kind, chip);
  of_chip_flow_node key{priority, flow_id, 0};
  return tree ? item_of(avl_get_prev(tree, &key)) : nullptr;
}

void of_chip_avl_lookup_neighbours(of_flow_tree_kind kind, of_chip_entry* chip, uint32_t priority,
                                   uint32_t flow_id, const of_chip_flow_node** lower,
                                   const of_chip_flow_node** higher) {
  *lower = *higher = nullptr;
  avl_tree* tree = of_chip_flow_tree(kind, chip);
  if (!tree) return;
  of_chip_flow_node key{priority, flow_id, 0};
  for (avl_node* n = tree->root; n;) {
    int cmp = of_chip_cmp_flows(&key, n->info);
    if (cmp == 0) {
      // The pair is in the tree (an entry the chip kept): its own neighbours, one side each.
      *lower = item_of(avl_get_next(tree, &key));
      *higher = item_of(avl_get_prev(tree, &key));
      return;
    }
    if (cmp < 0) {
      *lower = item_of(n);
      n = n->left;
    } else {
      *higher = item_of(n);
      n = n->right;
    }
  }
}
