// Numbers of the manager link: message types, operation sub-types, wildcard and action bits,
// reserved port ids. The values are those of the wire; the names are what the tool prints.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace ofa::mgr {

// Message types of the 4-byte transport header (type in bits 31-22, length in bits 15-0).
enum MsgType : uint32_t {
  kMsgConfig = 0,
  kMsgSyncComplete = 1,
  kMsgMeter = 2,
  kMsgFlowStatus = 3,
  kMsgMeterStats = 4,
  kMsgFlowStats = 5,
  kMsgQueueStats = 6,
  kMsgFlow = 7,
  kMsgPortVlan = 8,
  kMsgGroup = 9,
  kMsgVlan = 10,
  kMsgRegister = 11,
  kMsgEvt = 12,
};
inline constexpr uint32_t kMaxMsgType = 12;
inline constexpr size_t kHeaderSize = 4;
inline constexpr size_t kMaxBodyLength = 0xffff;

constexpr uint32_t make_header(uint32_t type, uint32_t length) {
  return (type << 22) | (length & 0xffff);
}
constexpr uint32_t header_type(uint32_t word) {
  return word >> 22;
}
constexpr uint32_t header_length(uint32_t word) {
  return word & 0xffff;
}

// The agent's names of the message types ("Unknown" for any other value).
std::string_view msg_type_name(uint32_t type);

// Sub-types: one number space for operations and configuration sub-commands.
enum SubType : uint16_t {
  kSubAddFlow = 1,
  kSubAddFlowPrefix = 2,
  kSubDeleteFlow = 3,
  kSubModifyFlow = 4,
  kSubModifyFlowPrefix = 5,
  kSubConfigOf = 6,
  kSubConfigEdge = 7,
  kSubConfigExtender = 8,
  kSubLpAck = 9,
  kSubConfigInterface = 10,
  kSubConfigActStd = 11,
  kSubClearFlowStats = 12,
  kSubDefaultMode = 13,
  kSubAddFlowMembers = 14,
  kSubClearCtrlrStats = 15,
  kSubProtectedVlan = 16,
  kSubDeleteAllFlows = 17,
  kSubAddGroup = 19,
  kSubModifyGroup = 20,
  kSubDeleteGroup = 21,
  kSubAddMeter = 22,
  kSubModifyMeter = 23,
  kSubDeleteMeter = 24,
  kSubClearMeterStats = 25,
  kSubAddPortVlan = 26,
  kSubDelPortVlan = 27,
  kSubAddVlan = 28,
  kSubDelVlan = 29,
  kSubAddEvt = 30,
  kSubDelEvt = 31,
  kSubPortOffline = 33,
  kSubPortOnline = 34,
};

// A readable name of a sub-type: the agent's own for 0 to 16, descriptive words above.
std::string_view sub_type_name(uint32_t sub_type);

// Minimum body lengths the agent accepts per type (0: no check).
inline constexpr size_t kConfigBodySize = 3720;
inline constexpr size_t kSyncCompleteMinBody = 316;
inline constexpr size_t kFlowMinBody = 316;
inline constexpr size_t kGroupBodySize = 1056;
inline constexpr size_t kMeterBodySize = 40;
inline constexpr size_t kVlanBodySize = 16;
inline constexpr size_t kPortVlanBodySize = 16;
inline constexpr size_t kEvtBodySize = 44;

// Agent-to-manager body lengths (header length field).
inline constexpr size_t kStatusBodySize = 124;
inline constexpr size_t kRegisterBodySize = 8;
inline constexpr size_t kFlowStatsBodySize = 28;
inline constexpr size_t kQueueStatsBodySize = 332;
inline constexpr size_t kMeterStatsBodySize = 1732;

// Flow message layout.
inline constexpr size_t kFlowFixedSize = 236;  // members start here
inline constexpr size_t kMemberBaseV1 = 48;    // member stride is base + L
inline constexpr size_t kMemberBaseV4 = 76;
inline constexpr uint16_t kMemberMinLength = 4;  // smallest L that covers the fixed fields
inline constexpr uint16_t kMemberLengthMask = 0x3ff;

// Wildcard bits of the flow message: a set bit leaves the field out of the match.
inline constexpr uint32_t kWcInPort = 0x00000001;
inline constexpr uint32_t kWcSrcMac = 0x00000004;
inline constexpr uint32_t kWcDstMac = 0x00000008;
inline constexpr uint32_t kWcEtherType = 0x00000010;
inline constexpr uint32_t kWcIpProto = 0x00000020;
inline constexpr uint32_t kWcSrcPort = 0x00000040;
inline constexpr uint32_t kWcDstPort = 0x00000080;
inline constexpr uint32_t kWcIcmpv4Type = 0x00000200;
inline constexpr uint32_t kWcIcmpv4Code = 0x00000400;
inline constexpr uint32_t kWcInVlan = 0x00002000;
inline constexpr uint32_t kWcVlanPcp = 0x00008000;
inline constexpr uint32_t kWcSrcMacMask = 0x00010000;
inline constexpr uint32_t kWcDstMacMask = 0x00020000;
inline constexpr uint32_t kWcIpTos = 0x00200000;
inline constexpr uint32_t kWcIcmpv6Type = 0x00800000;
inline constexpr uint32_t kWcIcmpv6Code = 0x01000000;
inline constexpr uint32_t kWcSrcIp = 0x10000000;
inline constexpr uint32_t kWcDstIp = 0x20000000;
// Every defined wildcard bit: the word of a flow that matches everything.
inline constexpr uint32_t kWcAll = 0x31a3a6fd;

// Action bits of a version 4 member (the word at member offset 60, upper half).
inline constexpr uint32_t kActPopVlan = 0x80000000;
inline constexpr uint32_t kActPushVlan = 0x40000000;
inline constexpr uint32_t kActSetVlan = 0x20000000;
inline constexpr uint32_t kActDecTtl = 0x10000000;
inline constexpr uint32_t kActPopInner = 0x00800000;
inline constexpr uint32_t kActPushInner = 0x00400000;
inline constexpr uint32_t kActSetInner = 0x00200000;
inline constexpr uint32_t kActMemberFlag =
    0x00100000;  // the top bit of the word at offset 48 in version 1

// Reserved values.
inline constexpr uint16_t kPortNone = 65535;
inline constexpr uint16_t kPortController = 65533;
inline constexpr uint16_t kPortAll = 65532;
inline constexpr uint16_t kPortFlood = 65531;
inline constexpr uint16_t kPortNormal = 65530;
inline constexpr uint32_t kMaxPort = 288;
inline constexpr int32_t kGroupNone = -255;
inline constexpr uint32_t kVlanNone = 4096;
inline constexpr uint8_t kUpbitsNone = 15;
inline constexpr uint8_t kTosNone = 192;
inline constexpr uint8_t kByteNone = 255;  // TTL and queue
inline constexpr uint16_t kFidNone = 65535;
inline constexpr uint16_t kMvidNone = 2048;
inline constexpr uint32_t kAllIds = 0xffffffff;  // group or meter id: all of them

// Group types.
inline constexpr uint32_t kGroupAll = 0;
inline constexpr uint32_t kGroupSelect = 1;
inline constexpr uint32_t kGroupIndirect = 2;
inline constexpr uint32_t kGroupFf = 3;
inline constexpr size_t kMaxBuckets = 64;  // in a message of kGroupBodySize
inline constexpr size_t kBucketSize = 16;
// Past 64 buckets the message grows by 16 bytes a bucket, up to the longest body.
inline constexpr size_t kMaxLongBuckets = (65535 - 32) / kBucketSize;

// Meter flag bits and band types.
inline constexpr uint32_t kMeterKbps = 1;
inline constexpr uint32_t kMeterPktps = 2;
inline constexpr uint32_t kMeterBurst = 4;
inline constexpr uint32_t kMeterStats = 8;

// Statistics messages.
inline constexpr size_t kQueueCount = 8;
inline constexpr size_t kQueueRecordSize = 40;
inline constexpr size_t kMeterStatsRecords = 27;
inline constexpr size_t kMeterRecordSize = 64;

// Status text.
inline constexpr size_t kStatusTextSize = 80;
inline constexpr std::string_view kPseudoPrefix = "PSEUDO_SUCCESS";

// Port masks: 680 bytes of 32-bit words.
inline constexpr size_t kPortMaskBytes = 680;
inline constexpr size_t kPortMaskWords = kPortMaskBytes / 4;

}  // namespace ofa::mgr
