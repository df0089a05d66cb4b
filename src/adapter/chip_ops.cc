// The operation table as constant data: each row takes the same slot of every family's handler
// list. Columns: none, zim, ard, ard2, unsupported.
#include "adapter/chip_ops.h"

#include <type_traits>

#include "backends/ard/ard.h"
#include "backends/ard2/ard2.h"
#include "backends/zim/zim.h"

namespace {
template <auto Slot>
constexpr auto row() {
  using Fn = std::remove_cvref_t<decltype(ard_handlers.*Slot)>;
  return of_slot<Fn>{nullptr, zim_handlers.*Slot, ard_handlers.*Slot, ard2_handlers.*Slot, nullptr};
}
}  // namespace

const of_slot<of_chip_fn> of_chip_reg_add_ioctl_fn = row<&of_chip_handlers::chip_reg_add>();
const of_slot<of_chip_fn> of_chip_reg_del_ioctl_fn = row<&of_chip_handlers::chip_reg_del>();
const of_slot<of_chip_action_fn> of_def_ent_add_ioctl_fn = row<&of_chip_handlers::def_ent_add>();
const of_slot<of_chip_action_fn> of_def_ent_upd_ioctl_fn = row<&of_chip_handlers::def_ent_upd>();
const of_slot<of_port_handle_action_fn> of_port_def_ent_add_ioctl_fn =
    row<&of_chip_handlers::port_def_ent_add>();
const of_slot<of_port_handle_action_fn> of_port_def_ent_upd_ioctl_fn =
    row<&of_chip_handlers::port_def_ent_upd>();
const of_slot<of_port_handle_fn> of_port_def_ent_del_ioctl_fn =
    row<&of_chip_handlers::port_def_ent_del>();
const of_slot<of_port_word_fn> of_port_en_ioctl_fn = row<&of_chip_handlers::port_en>();
const of_slot<of_port_fn> of_port_dis_ioctl_fn = row<&of_chip_handlers::port_dis>();
const of_slot<of_port_word_fn> of_port_state_ioctl_fn = row<&of_chip_handlers::port_state>();
const of_slot<of_vlan_fn> of_iivid_add_fn = row<&of_chip_handlers::iivid_add>();
const of_slot<of_vlan_word_fn> of_iivid_rem_fn = row<&of_chip_handlers::iivid_rem>();
const of_slot<of_vlan_fn> of_vlan_flood_mgid_upd_ioctl_fn =
    row<&of_chip_handlers::vlan_flood_mgid_upd>();
const of_slot<of_l2fwd_add_fn> of_l2fwd_add_ioctl_fn = row<&of_chip_handlers::l2fwd_add>();
const of_slot<of_l2fwd_del_fn> of_l2fwd_del_ioctl_fn = row<&of_chip_handlers::l2fwd_del>();
const of_slot<of_flow_fn> of_l2flow_add_ioctl_fn = row<&of_chip_handlers::l2flow_add>();
const of_slot<of_flow_fn> of_l2flow_mod_ioctl_fn = row<&of_chip_handlers::l2flow_mod>();
const of_slot<of_flow_del_fn> of_l2flow_del_ioctl_fn = row<&of_chip_handlers::l2flow_del>();
const of_slot<of_flow_fn> of_l3flow_ipv4add_ioctl_fn = row<&of_chip_handlers::l3flow_ipv4add>();
const of_slot<of_flow_fn> of_l3flow_ipv4mod_ioctl_fn = row<&of_chip_handlers::l3flow_ipv4mod>();
const of_slot<of_flow_del_fn> of_l3flow_ipv4del_ioctl_fn = row<&of_chip_handlers::l3flow_ipv4del>();
const of_slot<of_policer_fn> of_policer_add_ioctl_fn = row<&of_chip_handlers::policer_add>();
const of_slot<of_policer_fn> of_policer_mod_ioctl_fn = row<&of_chip_handlers::policer_mod>();
const of_slot<of_policer_del_fn> of_policer_del_ioctl_fn = row<&of_chip_handlers::policer_del>();
const of_slot<of_get_flow_stats_fn> of_dpx_get_flow_stats_fn =
    row<&of_chip_handlers::get_flow_stats>();
const of_slot<of_clr_flow_stats_fn> of_dpx_clr_flow_stats_fn =
    row<&of_chip_handlers::clr_flow_stats>();
const of_slot<of_get_queue_stats_fn> of_dpx_get_queue_stats_fn =
    row<&of_chip_handlers::get_queue_stats>();
const of_slot<of_clr_pol_stats_fn> of_dpx_clr_pol_stats_fn =
    row<&of_chip_handlers::clr_pol_stats>();
const of_slot<of_group_mgid_fn> of_group_l2_mgid_add_ioctl_fn =
    row<&of_chip_handlers::group_l2_mgid_add>();
const of_slot<of_group_mgid_fn> of_group_l2_mgid_mod_ioctl_fn =
    row<&of_chip_handlers::group_l2_mgid_mod>();
const of_slot<of_group_mgid_fn> of_group_l3_mgid_add_ioctl_fn =
    row<&of_chip_handlers::group_l3_mgid_add>();
const of_slot<of_group_mgid_fn> of_group_l3_mgid_mod_ioctl_fn =
    row<&of_chip_handlers::group_l3_mgid_mod>();
const of_slot<of_group_mgid_del_fn> of_group_mgid_del_ioctl_fn =
    row<&of_chip_handlers::group_mgid_del>();
const of_slot<of_group_nhop_fn> of_group_mp_nhop_add_ioctl_fn =
    row<&of_chip_handlers::group_mp_nhop_add>();
const of_slot<of_group_nhop_fn> of_group_mp_nhop_mod_ioctl_fn =
    row<&of_chip_handlers::group_mp_nhop_mod>();
const of_slot<of_group_nhop_fn> of_group_sp_nhop_add_ioctl_fn =
    row<&of_chip_handlers::group_sp_nhop_add>();
const of_slot<of_group_nhop_fn> of_group_sp_nhop_mod_ioctl_fn =
    row<&of_chip_handlers::group_sp_nhop_mod>();
const of_slot<of_group_nhop_del_fn> of_group_nhop_del_ioctl_fn =
    row<&of_chip_handlers::group_nhop_del>();
const of_slot<of_get_pol_stats_fn> of_dpx_get_pol_stats_fn =
    row<&of_chip_handlers::get_pol_stats>();
const of_slot<of_egr_vlan_trans_fn> of_egr_vlan_trans_upd_ioctl_fn =
    row<&of_chip_handlers::egr_vlan_trans_upd>();
