// The chip request commands: code and the name used in the request log, the dump and faults.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace ofa::chipsim {

namespace cmd {
inline constexpr uint32_t kBulk = 0x00070000;
inline constexpr uint32_t kCapability = 0x00070001;
inline constexpr uint32_t kPortQosInit = 0x01271002;
inline constexpr uint32_t kL2ExmAdd = 0x04270800;
inline constexpr uint32_t kL2ExmDel = 0x04270802;
inline constexpr uint32_t kNhopAdd = 0x0427180C;
inline constexpr uint32_t kNhopDel = 0x0427180D;
inline constexpr uint32_t kPortCfg = 0x04272001;
inline constexpr uint32_t kPortVlanCfg = 0x04272003;
inline constexpr uint32_t kEvtAdd = 0x04272004;
inline constexpr uint32_t kEvtRemove = 0x04272005;
inline constexpr uint32_t kPartitionId = 0x04272006;
inline constexpr uint32_t kVidToMgid = 0x04272007;
inline constexpr uint32_t kPortL2Ctrl = 0x04272014;
inline constexpr uint32_t kPortVpn = 0x04272024;
inline constexpr uint32_t kIvtAdd = 0x04272025;
inline constexpr uint32_t kIvtRemove = 0x04272026;
inline constexpr uint32_t kMgidAdd = 0x05270008;
inline constexpr uint32_t kMgidUpdate = 0x05270009;
inline constexpr uint32_t kMgidDelete = 0x0527000A;
inline constexpr uint32_t kStatsRead = 0x06270000;
inline constexpr uint32_t kStatsClear = 0x06270001;
inline constexpr uint32_t kL2FlowAdd = 0x07270050;
inline constexpr uint32_t kL2FlowUpd = 0x07270051;
inline constexpr uint32_t kL2FlowDel = 0x07270052;
inline constexpr uint32_t kL3FlowAdd = 0x072700B8;
inline constexpr uint32_t kL3FlowUpd = 0x072700B9;
inline constexpr uint32_t kL3FlowDel = 0x072700BA;
inline constexpr uint32_t kRegionAdd = 0x07270220;
inline constexpr uint32_t kRegionDeleteAll = 0x07270229;
inline constexpr uint32_t kPolicerAdd = 0x09270002;
inline constexpr uint32_t kPolicerDelete = 0x09270003;
}  // namespace cmd

struct CommandInfo {
  uint32_t code;
  std::string_view name;
};

// All 32 commands, in the order of their codes.
std::span<const CommandInfo> all_commands();
const CommandInfo* command_by_code(uint32_t code);
// By name ("region_add") or by code in hex ("0x07270220").
std::optional<uint32_t> command_from_text(std::string_view text);
// The name of a command, or "unknown".
std::string_view command_name(uint32_t code);

}  // namespace ofa::chipsim
