// The operation table as constant data. Columns: none, zim, ard, ard2, unsupported. A family's
// handlers enter their column as its backend lands; until then the slot is null there and the
// callers' no-handler paths run.
#include "adapter/chip_ops.h"

#include "agent/agent_globals.h"
#include "backends/ard/ard_regions.h"

uint32_t of_chip_family() {
  return of_family_index(openflowAgtPcb.model);
}

namespace {
// Only the ard column is filled in this table's current state.
template <typename Fn>
constexpr of_slot<Fn> ard_only(Fn ard) {
  return {nullptr, nullptr, ard, nullptr, nullptr};
}
template <typename Fn>
constexpr of_slot<Fn> none() {
  return {nullptr, nullptr, nullptr, nullptr, nullptr};
}
}  // namespace

const of_slot<of_chip_fn> of_chip_reg_add_ioctl_fn = ard_only<of_chip_fn>(ard_add_regions);
const of_slot<of_chip_fn> of_chip_reg_del_ioctl_fn = ard_only<of_chip_fn>(ard_del_regions);
const of_slot<of_chip_action_fn> of_def_ent_add_ioctl_fn =
    ard_only<of_chip_action_fn>(ard_add_def_entries);
const of_slot<of_chip_action_fn> of_def_ent_upd_ioctl_fn =
    ard_only<of_chip_action_fn>(ard_upd_def_entries);
const of_slot<of_port_handle_action_fn> of_port_def_ent_add_ioctl_fn =
    none<of_port_handle_action_fn>();
const of_slot<of_port_handle_action_fn> of_port_def_ent_upd_ioctl_fn =
    none<of_port_handle_action_fn>();
const of_slot<of_port_handle_fn> of_port_def_ent_del_ioctl_fn = none<of_port_handle_fn>();
const of_slot<of_port_word_fn> of_port_en_ioctl_fn = none<of_port_word_fn>();
const of_slot<of_port_fn> of_port_dis_ioctl_fn = none<of_port_fn>();
const of_slot<of_port_word_fn> of_port_state_ioctl_fn = none<of_port_word_fn>();
const of_slot<of_vlan_fn> of_iivid_add_fn = none<of_vlan_fn>();
const of_slot<of_vlan_word_fn> of_iivid_rem_fn = none<of_vlan_word_fn>();
const of_slot<of_vlan_fn> of_vlan_flood_mgid_upd_ioctl_fn = none<of_vlan_fn>();
const of_slot<of_l2fwd_add_fn> of_l2fwd_add_ioctl_fn = none<of_l2fwd_add_fn>();
const of_slot<of_l2fwd_del_fn> of_l2fwd_del_ioctl_fn = none<of_l2fwd_del_fn>();
const of_slot<of_flow_fn> of_l2flow_add_ioctl_fn = none<of_flow_fn>();
const of_slot<of_flow_fn> of_l2flow_mod_ioctl_fn = none<of_flow_fn>();
const of_slot<of_flow_del_fn> of_l2flow_del_ioctl_fn = none<of_flow_del_fn>();
const of_slot<of_flow_fn> of_l3flow_ipv4add_ioctl_fn = none<of_flow_fn>();
const of_slot<of_flow_fn> of_l3flow_ipv4mod_ioctl_fn = none<of_flow_fn>();
const of_slot<of_flow_del_fn> of_l3flow_ipv4del_ioctl_fn = none<of_flow_del_fn>();
const of_slot<of_policer_fn> of_policer_add_ioctl_fn = none<of_policer_fn>();
const of_slot<of_policer_fn> of_policer_mod_ioctl_fn = none<of_policer_fn>();
const of_slot<of_policer_del_fn> of_policer_del_ioctl_fn = none<of_policer_del_fn>();
const of_slot<of_get_flow_stats_fn> of_dpx_get_flow_stats_fn = none<of_get_flow_stats_fn>();
const of_slot<of_clr_flow_stats_fn> of_dpx_clr_flow_stats_fn = none<of_clr_flow_stats_fn>();
const of_slot<of_get_queue_stats_fn> of_dpx_get_queue_stats_fn = none<of_get_queue_stats_fn>();
const of_slot<of_clr_pol_stats_fn> of_dpx_clr_pol_stats_fn = none<of_clr_pol_stats_fn>();
const of_slot<of_group_mgid_fn> of_group_l2_mgid_add_ioctl_fn = none<of_group_mgid_fn>();
const of_slot<of_group_mgid_fn> of_group_l2_mgid_mod_ioctl_fn = none<of_group_mgid_fn>();
const of_slot<of_group_mgid_fn> of_group_l3_mgid_add_ioctl_fn = none<of_group_mgid_fn>();
const of_slot<of_group_mgid_fn> of_group_l3_mgid_mod_ioctl_fn = none<of_group_mgid_fn>();
const of_slot<of_group_mgid_del_fn> of_group_mgid_del_ioctl_fn = none<of_group_mgid_del_fn>();
const of_slot<of_group_nhop_fn> of_group_mp_nhop_add_ioctl_fn = none<of_group_nhop_fn>();
const of_slot<of_group_nhop_fn> of_group_mp_nhop_mod_ioctl_fn = of_group_mp_nhop_add_ioctl_fn;
const of_slot<of_group_nhop_fn> of_group_sp_nhop_add_ioctl_fn = none<of_group_nhop_fn>();
const of_slot<of_group_nhop_fn> of_group_sp_nhop_mod_ioctl_fn = of_group_sp_nhop_add_ioctl_fn;
const of_slot<of_group_nhop_del_fn> of_group_nhop_del_ioctl_fn = none<of_group_nhop_del_fn>();
const of_slot<of_get_pol_stats_fn> of_dpx_get_pol_stats_fn = none<of_get_pol_stats_fn>();
const of_slot<of_egr_vlan_trans_fn> of_egr_vlan_trans_upd_ioctl_fn = none<of_egr_vlan_trans_fn>();
