#include "model/commands.h"

#include <array>
#include <charconv>

namespace ofa::chipsim {

namespace {

constexpr std::array<CommandInfo, 32> kCommands{{
    {cmd::kBulk, "bulk"},
    {cmd::kCapability, "capability"},
    {cmd::kPortQosInit, "port_qos_init"},
    {cmd::kL2ExmAdd, "l2exm_add"},
    {cmd::kL2ExmDel, "l2exm_delete"},
    {cmd::kNhopAdd, "nhop_add"},
    {cmd::kNhopDel, "nhop_delete"},
    {cmd::kPortCfg, "port_cfg"},
    {cmd::kPortVlanCfg, "port_vlan_cfg"},
    {cmd::kEvtAdd, "evt_add"},
    {cmd::kEvtRemove, "evt_remove"},
    {cmd::kPartitionId, "partition_id"},
    {cmd::kVidToMgid, "vid_to_mgid"},
    {cmd::kPortL2Ctrl, "port_l2_ctrl"},
    {cmd::kPortVpn, "port_vpn"},
    {cmd::kIvtAdd, "ivt_add"},
    {cmd::kIvtRemove, "ivt_remove"},
    {cmd::kMgidAdd, "mgid_add"},
    {cmd::kMgidUpdate, "mgid_update"},
    {cmd::kMgidDelete, "mgid_delete"},
    {cmd::kStatsRead, "stats_read"},
    {cmd::kStatsClear, "stats_clear"},
    {cmd::kL2FlowAdd, "l2flow_add"},
    {cmd::kL2FlowUpd, "l2flow_upd"},
    {cmd::kL2FlowDel, "l2flow_del"},
    {cmd::kL3FlowAdd, "l3flow_add"},
    {cmd::kL3FlowUpd, "l3flow_upd"},
    {cmd::kL3FlowDel, "l3flow_del"},
    {cmd::kRegionAdd, "region_add"},
    {cmd::kRegionDeleteAll, "region_delete_all"},
    {cmd::kPolicerAdd, "policer_add"},
    {cmd::kPolicerDelete, "policer_delete"},
}};

}  // namespace

std::span<const CommandInfo> all_commands() {
  return kCommands;
}

const CommandInfo* command_by_code(uint32_t code) {
  for (const auto& c : kCommands)
    if (c.code == code) return &c;
  return nullptr;
}

std::optional<uint32_t> command_from_text(std::string_view text) {
  for (const auto& c : kCommands)
    if (c.name == text) return c.code;
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    uint32_t v = 0;
    auto [p, ec] = std::from_chars(text.data() + 2, text.data() + text.size(), v, 16);
    if (ec == std::errc() && p == text.data() + text.size()) return v;
  }
  return std::nullopt;
}

std::string_view command_name(uint32_t code) {
  const CommandInfo* c = command_by_code(code);
  return c ? c->name : "unknown";
}

}  // namespace ofa::chipsim
