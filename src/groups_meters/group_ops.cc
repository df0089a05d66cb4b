// The operations of the group message: add, modify, delete and delete all over the group base,
// each handing the change to the hardware mapping.
#include "agent/trace.h"
#include "groups_meters/group_db.h"
#include "groups_meters/group_hw.h"
#include "groups_meters/group_internal.h"
#include "platform/wire.h"

namespace {

// Whether the message holds the buckets its count names. Checked before anything is taken.
bool buckets_fit(const of_group_msg& m) {
  return uint64_t{m.bucket_count} * OF_GROUP_BUCKET_SIZE <= m.buckets.size();
}

// The buckets of the message in its order, or null: none, or the pool ran dry (the buckets
// already taken go back then).
group_bucket* openflow_build_group_buckets(const of_group_msg& m) {
  ofa::wire::Reader r(m.buckets);
  group_bucket* head = nullptr;
  group_bucket** tail = &head;
  for (uint32_t i = 0; i < m.bucket_count; ++i) {
    group_bucket* b = of_lp_group_take_bucket();
    if (!b) {
      file_printf("ERROR: %s, bucket NULL, Memory allocation failed \n",
                  "openflow_build_group_band");
      of_lp_group_free_buckets(head);
      return nullptr;
    }
    size_t at = size_t{i} * OF_GROUP_BUCKET_SIZE;
    b->port_id = r.u16_at(at);
    b->vlan_id = r.u32_at(at + 4);
    b->mac_hi = r.u32_at(at + 8);
    b->mac_lo = r.u32_at(at + 12);
    b->weight = m.type == OF_LP_GROUP_SELECT ? 1 : 0;
    file_printf("OPENFLOW GROUP: openflow_fill_group_bucket: port_id:%d vlan_id:%d\n", b->port_id,
                b->vlan_id);
    *tail = b;
    tail = &b->next;
  }
  return head;
}

// A new record with its buckets, or null (pool dry, or no buckets), nothing kept taken.
group_node* openflow_generic_mode_copy_group(const of_group_msg& m) {
  group_node* g = of_lp_group_take_node();
  if (!g) {
    file_printf("ERROR: %s, group_node is NULL, Memory allocation failed \n",
                "openflow_generic_mode_copy_group");
    return nullptr;
  }
  g->group_id = m.group_id;
  g->type = m.type;
  g->all_type = m.all_type;
  g->mgid = m.mgid;
  g->nhopid = m.nhopid;
  file_printf("OPENFLOW GROUP: Copy mgid:%d nhopid:%d\n", g->mgid, g->nhopid);
  g->bucket_list = openflow_build_group_buckets(m);
  if (!g->bucket_list) {
    file_printf("ERROR: %s, group_band_node is NULL \n", "openflow_generic_mode_copy_group");
    of_lp_group_free(g);
    return nullptr;
  }
  g->bucket_count = m.bucket_count;
  return g;
}

bool refuse_overrun(const of_group_msg& m) {
  if (buckets_fit(m)) return false;
  file_printf("ERROR: group %d names %d buckets, the message holds %d\n", m.group_id,
              m.bucket_count, static_cast<int>(m.buckets.size() / OF_GROUP_BUCKET_SIZE));
  return true;
}

}  // namespace

bool of_group_msg_read(std::span<const uint8_t> msg, of_group_msg* out) {
  ofa::wire::Reader r(msg);
  out->sub_type = r.u32_at(0) & 0xffff;
  out->group_id = r.u32_at(8);
  out->bucket_count = r.u32_at(12);
  out->mgid = r.u32_at(16);
  out->nhopid = r.u32_at(20);
  out->type = r.u32_at(24);
  out->all_type = r.u32_at(28);
  out->buckets = msg.size() > OF_GROUP_BUCKETS_OFFSET ? msg.subspan(OF_GROUP_BUCKETS_OFFSET)
                                                      : std::span<const uint8_t>{};
  return r.ok();
}

int lp_openflow_generic_add_group(const of_group_msg& m) {
  file_printf("OPENFLOW GROUP: Adding Group with Group id:%d mgid:%d nhopid:%d\n", m.group_id,
              m.mgid, m.nhopid);
  if (of_lp_retrieve_group_from_groupbase(m.group_id)) {
    file_printf("OPENFLOW GROUP: GROUP ENTRY with Group id:%d already exist \n", m.group_id);
    return 0;
  }
  if (refuse_overrun(m)) return 0;
  group_node* g = openflow_generic_mode_copy_group(m);
  if (!g) {
    file_printf("ERROR: %s, group_node is NULL \n", "lp_openflow_generic_add_group");
    return 0;
  }
  if (!of_lp_group_add_group_to_groupbase(g)) {
    file_printf("OPENFLOW GROUP: GROUP %d info is adding to DB failed \n", m.group_id);
    of_lp_group_free(g);
    return 0;
  }
  file_printf("OPENFLOW GROUP: GROUP %d info is added to DB \n", m.group_id);
  file_printf("OPENFLOW GROUP: Call DPX func Group id:%d mgid:%d nhopid:%d\n", m.group_id, m.mgid,
              m.nhopid);
  if (!openflow_lp_dpx_create_group(g)) {
    // The record stays: a later delete finds it.
    file_printf("OPENFLOW GROUP: GROUP %d creation failed in hardware \n", m.group_id);
    return 0;
  }
  return 1;
}

int lp_openflow_generic_modify_group(const of_group_msg& m) {
  file_printf("OPENFLOW GROUP: Modify Group for Group id:%d mgid:%d nhopid:%d\n", m.group_id,
              m.mgid, m.nhopid);
  group_node* old = of_lp_retrieve_group_from_groupbase(m.group_id);
  if (!old) {
    file_printf("OPENFLOW GROUP: GROUP NODE with Group id:%d do not exist \n", m.group_id);
    return 0;
  }
  if (refuse_overrun(m)) return 0;
  of_lp_group_remove_from_groupbase(old);
  file_printf("OPENFLOW GROUP: OLD Group info for Group %d is removed from DB \n", m.group_id);
  group_node* g = openflow_generic_mode_copy_group(m);
  if (!g) {
    // The old record is out of the base: it goes back to its pool.
    of_lp_group_free(old);
    return 0;
  }
  g->carried_word = old->carried_word;
  g->carried_half = old->carried_half;
  of_lp_group_add_group_to_groupbase(g);
  int done = openflow_lp_dpx_modify_group(g, old);
  if (!done) file_printf("OPENFLOW GROUP: GROUP %d modify failed in hardware \n", m.group_id);
  // Out of the base either way: the old record goes back, so that the limits stay exact.
  of_lp_group_free(old);
  return done;
}

int lp_openflow_generic_del_group(const of_group_msg& m) {
  if (m.group_id == OF_GROUP_ID_ALL) {
    int done = lp_openflow_generic_del_group_all();
    file_printf(done ? "lp_openflow_generic_del_group_all success\n"
                     : "lp_openflow_generic_del_group_all failed\n");
    return done;
  }
  file_printf("OPENFLOW GROUP: Delete Group for Group :%d\n", m.group_id);
  group_node* g = of_lp_retrieve_group_from_groupbase(m.group_id);
  if (!g) {
    file_printf("OPENFLOW GROUP: GROUP Entry with Group id:%d do not exist \n", m.group_id);
    return 0;
  }
  if (!openflow_lp_dpx_delete_group(g)) {
    file_printf("OPENFLOW GROUP: GROUP %d deletion failed in hardware \n", m.group_id);
    return 0;
  }
  file_printf("OPENFLOW GROUP: GROUP %d is succesfully deleted from hardware \n", m.group_id);
  of_lp_group_remove_from_groupbase(g);
  file_printf("OPENFLOW GROUP: GROUP %d info is removed from DB \n", m.group_id);
  of_lp_group_free(g);
  return 1;
}

int lp_openflow_generic_del_group_all() {
  openflow_lp_group_destroy();
  if (!openflow_lp_group_init()) {
    file_printf("Group resource Initialisation Failed\n");
    return 0;
  }
  return 1;
}
