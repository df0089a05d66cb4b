#include <array>

#include "msg_types.h"

namespace ofa::mgr {

static_assert((kWcInPort | kWcSrcMac | kWcDstMac | kWcEtherType | kWcIpProto | kWcSrcPort |
               kWcDstPort | kWcIcmpv4Type | kWcIcmpv4Code | kWcInVlan | kWcVlanPcp | kWcSrcMacMask |
               kWcDstMacMask | kWcIpTos | kWcIcmpv6Type | kWcIcmpv6Code | kWcSrcIp | kWcDstIp) ==
              kWcAll);
static_assert(make_header(kMsgFlowStats, 28) == 0x0140001C);

std::string_view msg_type_name(uint32_t type) {
  static constexpr std::array<std::string_view, kMaxMsgType + 1> kNames = {
      "MSGTYPE_OPENFLOW_CONFIG",
      "MSGTYPE_OPENFLOW_SYNC_COMPLETE",
      "MSGTYPE_OPENFLOW_METER_OPERATION",
      "MSGTYPE_OPENFLOW_FLOW_STATUS",
      "MSGTYPE_OPENFLOW_STATS_SYNC_EVENT",
      "MSGTYPE_OPENFLOW_STATISTICS_SYNC_EVENT",
      "MSGTYPE_OPENFLOW_PORT_STATS",
      "MSGTYPE_OPENFLOW_FLOW_OPERATION",
      "MSGTYPE_OPENFLOW_PORT_VLAN_UPD",
      "MSGTYPE_OPENFLOW_GROUP_OPERATION",
      "MSGTYPE_OPENFLOW_VLAN_IVID_UPD",
      "MXL_MSGTYPE_OPENFLOW_LP_REGISTER_EVENT",
      "MXL_MSGTYPE_OPENFLOW_EVT_OPERATION",
  };
  return type < kNames.size() ? kNames[type] : "Unknown";
}

std::string_view sub_type_name(uint32_t sub_type) {
  static constexpr std::array<std::string_view, 35> kNames = {
      "ERROR",
      "ADD_FLOW",
      "ADD_FLOW_PREFIX",
      "DELETE_FLOW",
      "MODIFY_FLOW ",  // the agent's name ends in a blank
      "MODIFY_FLOW_PREFIX",
      "CONFIG_OF",
      "CONFIG_EDGE",
      "CONFIG_EXTENDER",
      "LP_ACK",
      "CONFIG_INTERFACE",
      "CONFIG_ACT_STD",
      "CONFIG_CLEAR_FLOW_STATS",
      "CONFIG_DEFAULT_MODE",
      "ADD_FLOW_MEMBERS",
      "CONFIG_CLEAR_CTRLR_STATS",
      "CONFIG_PROTECTED_VLAN",
      "DELETE_FLOWS",
      "UNKNOWN",
      "ADD_GROUP",
      "MODIFY_GROUP",
      "DELETE_GROUP",
      "ADD_METER",
      "MODIFY_METER",
      "DELETE_METER",
      "CLEAR_METER_STATS",
      "ADD_PORT_VLAN",
      "DEL_PORT_VLAN",
      "ADD_VLAN",
      "DEL_VLAN",
      "ADD_EVT",
      "DEL_EVT",
      "UNKNOWN",
      "PORT_OFFLINE",
      "PORT_ONLINE",
  };
  return sub_type < kNames.size() ? kNames[sub_type] : "UNKNOWN";
}

}  // namespace ofa::mgr
