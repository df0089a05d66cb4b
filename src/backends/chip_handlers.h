// What a chip family's backend offers: one handler per slot of the operation table, null where
// the family has none. Each family exports one of_chip_handlers from src/backends/<family>/; the
// operation table (adapter/chip_ops.h) picks every family's entry for each of its rows.
//
// Handlers answer 0 or a negative status: -106 the chip refused, -111 not sent, -125 unknown
// chip, -127 no memory, -128 bad argument.
#pragma once

#include <cstdint>

struct of_chip_entry;
struct of_if_entry;
struct of_vlan_entry;
struct group_node;
struct fd_entry;
struct of_flow_actions;
struct of_flow_hw_ref;
struct of_flow_stats_batch;
struct of_queue_stats_record;

// Committed rate and burst, a word copied along, excess rate and burst, a last word.
struct of_policer_rate {
  uint64_t cir = 0;
  uint32_t cbs = 0;
  uint32_t spare = 0;
  uint64_t eir = 0;
  uint32_t ebs = 0;
  uint32_t last = 0;
};

using of_chip_fn = int (*)(of_chip_entry* chip);
using of_chip_action_fn = int (*)(of_chip_entry* chip, uint8_t default_action);
using of_port_handle_action_fn = int (*)(of_if_entry* port, uint32_t handle,
                                         uint8_t default_action);
using of_port_handle_fn = int (*)(of_if_entry* port, uint32_t handle);
using of_port_word_fn = int (*)(of_if_entry* port, uint32_t spare);
using of_port_fn = int (*)(of_if_entry* port);
using of_vlan_fn = int (*)(of_vlan_entry* vlan);
using of_vlan_word_fn = int (*)(of_vlan_entry* vlan, uint32_t spare);
using of_l2fwd_add_fn = int (*)(uint32_t zero, uint32_t iivid, const uint8_t* mac, uint32_t port);
using of_l2fwd_del_fn = int (*)(uint32_t zero, uint32_t iivid, const uint8_t* mac);
using of_flow_fn = int (*)(of_chip_entry* chip, fd_entry* flow, of_flow_actions* actions,
                           of_flow_hw_ref* hw);
using of_flow_del_fn = int (*)(of_chip_entry* chip, fd_entry* flow, of_flow_hw_ref* hw);
using of_policer_fn = int (*)(of_chip_entry* chip, uint32_t policer_id,
                              const of_policer_rate* rate);
using of_policer_del_fn = int (*)(of_chip_entry* chip, uint32_t policer_id);
using of_get_flow_stats_fn = int (*)(of_flow_stats_batch* batch, uint32_t l3);
using of_clr_flow_stats_fn = int (*)(uint32_t handle, uint32_t l3);
using of_get_queue_stats_fn = int (*)(of_queue_stats_record* record);
using of_clr_pol_stats_fn = int (*)(const uint32_t* ids, uint32_t count);
using of_group_mgid_fn = int (*)(uint32_t mgid, uint32_t nhopid, group_node* group);
using of_group_mgid_del_fn = int (*)(uint32_t mgid, uint32_t nhopid);
using of_group_nhop_fn = int (*)(uint32_t nhopid, group_node* group);
using of_group_nhop_del_fn = int (*)(uint32_t nhopid, uint32_t nhopid_again);
using of_get_pol_stats_fn = int (*)(uint32_t chip_ifindex, const uint32_t* ids, uint64_t* first,
                                    uint64_t* second, uint32_t count);
using of_egr_vlan_trans_fn = int (*)(int32_t iivid, of_if_entry* port, uint32_t tagged,
                                     uint32_t egr_vlan, uint32_t remove);

// Every slot is null unless the family's list names it.
struct of_chip_handlers {
  of_chip_fn chip_reg_add = nullptr;                    //  1 of_chip_reg_add_ioctl_fn
  of_chip_fn chip_reg_del = nullptr;                    //  2 of_chip_reg_del_ioctl_fn
  of_chip_action_fn def_ent_add = nullptr;              //  3 of_def_ent_add_ioctl_fn
  of_chip_action_fn def_ent_upd = nullptr;              //  4 of_def_ent_upd_ioctl_fn
  of_port_handle_action_fn port_def_ent_add = nullptr;  //  5 of_port_def_ent_add_ioctl_fn
  of_port_handle_action_fn port_def_ent_upd = nullptr;  //  6 of_port_def_ent_upd_ioctl_fn
  of_port_handle_fn port_def_ent_del = nullptr;         //  7 of_port_def_ent_del_ioctl_fn
  of_port_word_fn port_en = nullptr;                    //  8 of_port_en_ioctl_fn
  of_port_fn port_dis = nullptr;                        //  9 of_port_dis_ioctl_fn
  of_port_word_fn port_state = nullptr;                 // 10 of_port_state_ioctl_fn
  of_vlan_fn iivid_add = nullptr;                       // 11 of_iivid_add_fn
  of_vlan_word_fn iivid_rem = nullptr;                  // 12 of_iivid_rem_fn
  of_vlan_fn vlan_flood_mgid_upd = nullptr;             // 13 of_vlan_flood_mgid_upd_ioctl_fn
  of_l2fwd_add_fn l2fwd_add = nullptr;                  // 14 of_l2fwd_add_ioctl_fn
  of_l2fwd_del_fn l2fwd_del = nullptr;                  // 15 of_l2fwd_del_ioctl_fn
  of_flow_fn l2flow_add = nullptr;                      // 16 of_l2flow_add_ioctl_fn
  of_flow_fn l2flow_mod = nullptr;                      // 17 of_l2flow_mod_ioctl_fn
  of_flow_del_fn l2flow_del = nullptr;                  // 18 of_l2flow_del_ioctl_fn
  of_flow_fn l3flow_ipv4add = nullptr;                  // 19 of_l3flow_ipv4add_ioctl_fn
  of_flow_fn l3flow_ipv4mod = nullptr;                  // 20 of_l3flow_ipv4mod_ioctl_fn
  of_flow_del_fn l3flow_ipv4del = nullptr;              // 21 of_l3flow_ipv4del_ioctl_fn
  of_policer_fn policer_add = nullptr;                  // 22 of_policer_add_ioctl_fn
  of_policer_fn policer_mod = nullptr;                  // 23 of_policer_mod_ioctl_fn
  of_policer_del_fn policer_del = nullptr;              // 24 of_policer_del_ioctl_fn
  of_get_flow_stats_fn get_flow_stats = nullptr;        // 25 of_dpx_get_flow_stats_fn
  of_clr_flow_stats_fn clr_flow_stats = nullptr;        // 26 of_dpx_clr_flow_stats_fn
  of_get_queue_stats_fn get_queue_stats = nullptr;      // 27 of_dpx_get_queue_stats_fn
  of_clr_pol_stats_fn clr_pol_stats = nullptr;          // 28 of_dpx_clr_pol_stats_fn
  of_group_mgid_fn group_l2_mgid_add = nullptr;         // 29 of_group_l2_mgid_add_ioctl_fn
  of_group_mgid_fn group_l2_mgid_mod = nullptr;         // 30 of_group_l2_mgid_mod_ioctl_fn
  of_group_mgid_fn group_l3_mgid_add = nullptr;         // 31 of_group_l3_mgid_add_ioctl_fn
  of_group_mgid_fn group_l3_mgid_mod = nullptr;         // 32 of_group_l3_mgid_mod_ioctl_fn
  of_group_mgid_del_fn group_mgid_del = nullptr;        // 33 of_group_mgid_del_ioctl_fn
  of_group_nhop_fn group_mp_nhop_add = nullptr;         // 34 of_group_mp_nhop_add_ioctl_fn
  // Modifying a group's next hop is adding it again: 35 and 37 hold the family's add handlers.
  of_group_nhop_fn group_mp_nhop_mod = nullptr;       // 35 of_group_mp_nhop_mod_ioctl_fn
  of_group_nhop_fn group_sp_nhop_add = nullptr;       // 36 of_group_sp_nhop_add_ioctl_fn
  of_group_nhop_fn group_sp_nhop_mod = nullptr;       // 37 of_group_sp_nhop_mod_ioctl_fn
  of_group_nhop_del_fn group_nhop_del = nullptr;      // 38 of_group_nhop_del_ioctl_fn
  of_get_pol_stats_fn get_pol_stats = nullptr;        // 39 of_dpx_get_pol_stats_fn
  of_egr_vlan_trans_fn egr_vlan_trans_upd = nullptr;  // 40 of_egr_vlan_trans_upd_ioctl_fn
};
