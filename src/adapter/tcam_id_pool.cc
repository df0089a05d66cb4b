#include "adapter/tcam_id_pool.h"

#include <new>

#include "agent/trace.h"

of_id_list* l2flow_tcam_idpool_node = nullptr;
of_id_list* l3ipv4flow_tcam_idpool_node = nullptr;

of_id_list* create_list(uint32_t first, uint32_t end) {
  if (first >= end) return nullptr;
  auto* list = new (std::nothrow) of_id_list;
  if (!list) return nullptr;
  for (uint32_t id = first; id < end; ++id)
    list->free_ids.push_back(id);
  list->free_count = static_cast<int32_t>(end - first);
  list->used_at.reserve(1024);
  return list;
}

void free_id_list(of_id_list* list) {
  delete list;
}

uint32_t checkout_new_id(of_id_list* list) {
  if (!list || list->free_ids.empty()) return 0;
  auto it = list->free_ids.begin();
  uint32_t id = *it;
  list->used_ids.splice(list->used_ids.end(), list->free_ids, it);
  list->used_at[id] = it;  // splice keeps the iterator valid
  --list->free_count;
  ++list->used_count;
  return id;
}

void checkin_id(of_id_list* list, uint32_t id) {
  if (!list) return;
  auto found = list->used_at.find(id);
  if (found != list->used_at.end()) {
    list->free_ids.splice(list->free_ids.end(), list->used_ids, found->second);
    list->used_at.erase(found);
  }
  ++list->free_count;
  --list->used_count;
}

int openflow_lp_init_tcam_id_pool() {
  if (!l2flow_tcam_idpool_node)
    l2flow_tcam_idpool_node = create_list(OF_TCAM_ID_FIRST, OF_TCAM_ID_END);
  if (!l2flow_tcam_idpool_node) {
    file_printf("Failure creating L2FLOW TCAM ID POOL Node");
    return 0;
  }
  if (!l3ipv4flow_tcam_idpool_node)
    l3ipv4flow_tcam_idpool_node = create_list(OF_TCAM_ID_FIRST, OF_TCAM_ID_END);
  if (!l3ipv4flow_tcam_idpool_node) {
    file_printf("Failure creating L3FLOW TCAM ID POOL Node");
    return 0;
  }
  file_printf("Created L2FLOW TCAM ID POOL Node");
  return 1;
}
