// The ard family's handlers: one per slot of the operation table (of_chip_handlers names the
// 40); the slots not named here are null, the ard backend has no handler for them yet.
#pragma once

#include "backends/ard/ard_evt.h"
#include "backends/ard/ard_flows.h"
#include "backends/ard/ard_groups.h"
#include "backends/ard/ard_policers.h"
#include "backends/ard/ard_ports.h"
#include "backends/ard/ard_regions.h"
#include "backends/ard/ard_stats.h"
#include "backends/ard/ard_vlans.h"
#include "backends/chip_handlers.h"

inline constexpr of_chip_handlers ard_handlers = {
    .chip_reg_add = ard_add_regions,
    .chip_reg_del = ard_del_regions,
    .def_ent_add = ard_add_def_entries,
    .def_ent_upd = ard_upd_def_entries,
    .port_en = ard_of_port_enable,
    .port_dis = ard_of_port_disable,
    .port_state = ard_of_port_state,
    .iivid_add = ard_of_iivid_add_cfg_ioctl,
    .iivid_rem = ard_of_iivid_rem_cfg_ioctl,
    .vlan_flood_mgid_upd = ard_of_vlan_flood_mgid_upd_ioctl,
    .l2fwd_add = ard_of_l2fwd_add,
    .l2fwd_del = ard_of_l2fwd_del,
    .l2flow_add = ard_of_l2flow_add,
    .l2flow_mod = ard_of_l2flow_upd,
    .l2flow_del = ard_of_l2flow_del,
    .l3flow_ipv4add = ard_of_l3flow_ipv4add,
    .l3flow_ipv4mod = ard_of_l3flow_ipv4upd,
    .l3flow_ipv4del = ard_of_l3flow_ipv4del,
    .policer_add = ard_of_policer_add,
    .policer_mod = ard_of_policer_upd,
    .policer_del = ard_of_policer_del,
    .get_flow_stats = ard_of_get_flow_stats,
    .clr_flow_stats = ard_of_clr_flow_stats,
    .get_queue_stats = ard_of_get_queue_stats,
    .clr_pol_stats = ard_of_clr_pol_stats,
    .group_l2_mgid_add = ard_of_group_l2_mgid_add,
    .group_l2_mgid_mod = ard_of_group_l2_mgid_upd,
    .group_l3_mgid_add = ard_of_group_l3_mgid_add,
    .group_l3_mgid_mod = ard_of_group_l3_mgid_upd,
    .group_mgid_del = ard_of_group_mgid_del,
    .group_mp_nhop_add = ard_of_group_mp_nhop_add,
    .group_mp_nhop_mod = ard_of_group_mp_nhop_add,
    .group_sp_nhop_add = ard_of_group_sp_nhop_add,
    .group_sp_nhop_mod = ard_of_group_sp_nhop_add,
    .group_nhop_del = ard_of_group_nhop_del,
    .get_pol_stats = ard_of_get_pol_stats,
    .egr_vlan_trans_upd = ard_of_egr_vlan_trans_upd,
};
