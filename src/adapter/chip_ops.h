// The chip operation table: 40 slots, each an array of five handlers indexed by the family
// (0 none, 1 zim, 2 ard, 3 ard2, 4 unsupported), each row made of the families' handler lists
// (backends/<family>/). A null entry means the family lacks the operation. Callers compute the
// family afresh, read the slot, and take their no-handler path when it is null; no caller caches a
// handler or the family.
//
// Handlers answer 0 or a negative status (agent/status.h): OFA_E_CHIP the chip refused,
// OFA_E_HSL_SEND not sent, OFA_E_BAD_OR_MISSING unknown chip, OFA_E_NO_HANDLER (callers),
// OFA_E_NO_MEMORY, OFA_E_INVALID_ARG.
#pragma once

#include <array>
#include <cstdint>

#include "backends/chip_family.h"
#include "backends/chip_handlers.h"

template <typename Fn>
using of_slot = std::array<Fn, OF_FAMILY_COLUMNS>;

extern const of_slot<of_chip_fn> of_chip_reg_add_ioctl_fn;                    // 1
extern const of_slot<of_chip_fn> of_chip_reg_del_ioctl_fn;                    // 2
extern const of_slot<of_chip_action_fn> of_def_ent_add_ioctl_fn;              // 3
extern const of_slot<of_chip_action_fn> of_def_ent_upd_ioctl_fn;              // 4
extern const of_slot<of_port_handle_action_fn> of_port_def_ent_add_ioctl_fn;  // 5
extern const of_slot<of_port_handle_action_fn> of_port_def_ent_upd_ioctl_fn;  // 6
extern const of_slot<of_port_handle_fn> of_port_def_ent_del_ioctl_fn;         // 7
extern const of_slot<of_port_word_fn> of_port_en_ioctl_fn;                    // 8
extern const of_slot<of_port_fn> of_port_dis_ioctl_fn;                        // 9
extern const of_slot<of_port_word_fn> of_port_state_ioctl_fn;                 // 10
extern const of_slot<of_vlan_fn> of_iivid_add_fn;                             // 11
extern const of_slot<of_vlan_word_fn> of_iivid_rem_fn;                        // 12
extern const of_slot<of_vlan_fn> of_vlan_flood_mgid_upd_ioctl_fn;             // 13
extern const of_slot<of_l2fwd_add_fn> of_l2fwd_add_ioctl_fn;                  // 14
extern const of_slot<of_l2fwd_del_fn> of_l2fwd_del_ioctl_fn;                  // 15
extern const of_slot<of_flow_fn> of_l2flow_add_ioctl_fn;                      // 16
extern const of_slot<of_flow_fn> of_l2flow_mod_ioctl_fn;                      // 17
extern const of_slot<of_flow_del_fn> of_l2flow_del_ioctl_fn;                  // 18
extern const of_slot<of_flow_fn> of_l3flow_ipv4add_ioctl_fn;                  // 19
extern const of_slot<of_flow_fn> of_l3flow_ipv4mod_ioctl_fn;                  // 20
extern const of_slot<of_flow_del_fn> of_l3flow_ipv4del_ioctl_fn;              // 21
extern const of_slot<of_policer_fn> of_policer_add_ioctl_fn;                  // 22
extern const of_slot<of_policer_fn> of_policer_mod_ioctl_fn;                  // 23
extern const of_slot<of_policer_del_fn> of_policer_del_ioctl_fn;              // 24
extern const of_slot<of_get_flow_stats_fn> of_dpx_get_flow_stats_fn;          // 25
extern const of_slot<of_clr_flow_stats_fn> of_dpx_clr_flow_stats_fn;          // 26
extern const of_slot<of_get_queue_stats_fn> of_dpx_get_queue_stats_fn;        // 27
extern const of_slot<of_clr_pol_stats_fn> of_dpx_clr_pol_stats_fn;            // 28
extern const of_slot<of_group_mgid_fn> of_group_l2_mgid_add_ioctl_fn;         // 29
extern const of_slot<of_group_mgid_fn> of_group_l2_mgid_mod_ioctl_fn;         // 30
extern const of_slot<of_group_mgid_fn> of_group_l3_mgid_add_ioctl_fn;         // 31
extern const of_slot<of_group_mgid_fn> of_group_l3_mgid_mod_ioctl_fn;         // 32
extern const of_slot<of_group_mgid_del_fn> of_group_mgid_del_ioctl_fn;        // 33
extern const of_slot<of_group_nhop_fn> of_group_mp_nhop_add_ioctl_fn;         // 34
extern const of_slot<of_group_nhop_fn> of_group_mp_nhop_mod_ioctl_fn;         // 35
extern const of_slot<of_group_nhop_fn> of_group_sp_nhop_add_ioctl_fn;         // 36
extern const of_slot<of_group_nhop_fn> of_group_sp_nhop_mod_ioctl_fn;         // 37
extern const of_slot<of_group_nhop_del_fn> of_group_nhop_del_ioctl_fn;        // 38
extern const of_slot<of_get_pol_stats_fn> of_dpx_get_pol_stats_fn;            // 39
extern const of_slot<of_egr_vlan_trans_fn> of_egr_vlan_trans_upd_ioctl_fn;    // 40

// The handler of a slot for this switch's family (null when it has none).
template <typename Fn>
Fn of_chip_op(const of_slot<Fn>& slot) {
  uint32_t fam = of_chip_family();
  return fam < OF_FAMILY_COLUMNS ? slot[fam] : nullptr;
}
