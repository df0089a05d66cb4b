// Chip request records: every request the backends send to HSL, built in place (normally in
// ofNLMsgBuf at offset 48) through the bounds-checked writer.
//
// Every builder takes the request area, zero-fills what the request occupies (the larger of its
// request and reply lengths), writes its fields big-endian at their offsets and returns the
// request length, or 0 when the area is too small to hold it (nothing is then sent).
//
// of_cos_hdr, the 28 bytes in front of every request:
//   0 command | 4 reserved | 8 request length | 12 reply length | 16 owner | 20 reserved | 24
//   status
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "agent/status.h"
#include "platform/wire.h"

using of_mac = std::array<uint8_t, 6>;

// Commands.
inline constexpr uint32_t OF_CMD_BULK = 0x00070000;
inline constexpr uint32_t OF_CMD_CAPABILITY = 0x00070001;
inline constexpr uint32_t OF_CMD_PORT_QOS_INIT = 0x01271002;
inline constexpr uint32_t OF_CMD_L2FWD_ADD = 0x04270800;
inline constexpr uint32_t OF_CMD_L2FWD_DEL = 0x04270802;
inline constexpr uint32_t OF_CMD_NHOP_ADD = 0x0427180C;
inline constexpr uint32_t OF_CMD_NHOP_DEL = 0x0427180D;
inline constexpr uint32_t OF_CMD_PORT_CFG = 0x04272001;
inline constexpr uint32_t OF_CMD_PORT_VLAN_CFG = 0x04272003;
inline constexpr uint32_t OF_CMD_EVT_ADD = 0x04272004;
inline constexpr uint32_t OF_CMD_EVT_DEL = 0x04272005;
inline constexpr uint32_t OF_CMD_PARTITION_ID = 0x04272006;
inline constexpr uint32_t OF_CMD_VID_TO_MGID = 0x04272007;
inline constexpr uint32_t OF_CMD_PORT_L2_CTRL = 0x04272014;
inline constexpr uint32_t OF_CMD_PORT_VPN = 0x04272024;
inline constexpr uint32_t OF_CMD_IVT_ADD = 0x04272025;
inline constexpr uint32_t OF_CMD_IVT_DEL = 0x04272026;
inline constexpr uint32_t OF_CMD_MGID_ADD = 0x05270008;
inline constexpr uint32_t OF_CMD_MGID_UPD = 0x05270009;
inline constexpr uint32_t OF_CMD_MGID_DEL = 0x0527000A;
inline constexpr uint32_t OF_CMD_STATS_READ = 0x06270000;
inline constexpr uint32_t OF_CMD_STATS_CLEAR = 0x06270001;
inline constexpr uint32_t OF_CMD_L2FLOW_ADD = 0x07270050;
inline constexpr uint32_t OF_CMD_L2FLOW_UPD = 0x07270051;
inline constexpr uint32_t OF_CMD_L2FLOW_DEL = 0x07270052;
inline constexpr uint32_t OF_CMD_L3FLOW_ADD = 0x072700B8;
inline constexpr uint32_t OF_CMD_L3FLOW_UPD = 0x072700B9;
inline constexpr uint32_t OF_CMD_L3FLOW_DEL = 0x072700BA;
inline constexpr uint32_t OF_CMD_REGION_ADD = 0x07270220;
inline constexpr uint32_t OF_CMD_REGION_DEL_ALL = 0x07270229;
inline constexpr uint32_t OF_CMD_POLICER_ADD = 0x09270002;
inline constexpr uint32_t OF_CMD_POLICER_DEL = 0x09270003;

// Sizes.
inline constexpr uint32_t OF_COS_HDR_SIZE = 28;
inline constexpr uint32_t OF_BULK_HDR_SIZE = 36;
inline constexpr uint32_t OF_CAPABILITY_SIZE = 460;
inline constexpr uint32_t OF_REGION_REQ_SIZE = 48;
inline constexpr uint32_t OF_REGION_DEL_ALL_SIZE = 36;
inline constexpr uint32_t OF_L2FLOW_REQ_SIZE = 184;
inline constexpr uint32_t OF_L2FLOW_UPD_REQ_SIZE = 84;
inline constexpr uint32_t OF_L3FLOW_REQ_SIZE = 208;
inline constexpr uint32_t OF_L3FLOW_UPD_REQ_SIZE = 80;
inline constexpr uint32_t OF_FLOW_DEL_REQ_SIZE = 36;
inline constexpr uint32_t OF_L2_RESULT_OFFSET = 136;
inline constexpr uint32_t OF_L3_RESULT_OFFSET = 164;
inline constexpr uint32_t OF_UPD_RESULT_OFFSET = 36;
inline constexpr uint32_t OF_MGID_L2_GROUP_SIZE = 312;
inline constexpr uint32_t OF_MGID_DEL_SIZE = 36;
inline constexpr uint32_t OF_NHOP_PATH_SIZE = 20;
inline constexpr uint32_t OF_NHOP_MAX_PATHS = 8;
inline constexpr uint32_t OF_NHOP_MP_SIZE = 196;
inline constexpr uint32_t OF_NHOP_DEL_SIZE = 40;
inline constexpr uint32_t OF_NHOP_DEL_ZIM_SHORT_SIZE = 36;
inline constexpr uint32_t OF_PORT_CFG_SIZE = 52;
inline constexpr uint32_t OF_PORT_CTL_SIZE = 84;
inline constexpr uint32_t OF_PORT_VLAN_WIDE_SIZE = 1108;
inline constexpr uint32_t OF_PORT_VLAN_WIDE_ARD2_SIZE = 2132;
inline constexpr uint32_t OF_PORT_VLAN_XLATE_SIZE = 92;
inline constexpr uint32_t OF_PORT_VLAN_XLATE_ZIM_SIZE = 96;
inline constexpr uint32_t OF_PORT_VLAN_BATCH_SIZE = 2084;
inline constexpr uint32_t OF_PORT_VLAN_BATCH_ZIM_SIZE = 3084;
inline constexpr uint32_t OF_PORT_VLAN_BATCH_MAX = 250;
inline constexpr uint32_t OF_PARTITION_ID_SIZE = 48;
inline constexpr uint32_t OF_IVT_SIZE = 152;
inline constexpr uint32_t OF_VID_TO_MGID_SIZE = 56;
inline constexpr uint32_t OF_PORT_L2_CTRL_SIZE = 60;
inline constexpr uint32_t OF_PORT_VPN_SIZE = 44;
inline constexpr uint32_t OF_PORT_QOS_INIT_SIZE = 160;
inline constexpr uint32_t OF_L2FWD_ADD_SIZE = 76;
inline constexpr uint32_t OF_L2FWD_DEL_SIZE = 48;
inline constexpr uint32_t OF_POLICER_ADD_SIZE = 88;
inline constexpr uint32_t OF_POLICER_DEL_SIZE = 36;
inline constexpr uint32_t OF_STATS_HDR_SIZE = 48;
inline constexpr uint32_t OF_QUEUE_STATS_SIZE = 504;

inline constexpr uint32_t OF_COS_MAX_LENGTH = 0x100000;

// ---- header -------------------------------------------------------------------------------

struct of_cos_hdr {
  uint32_t command = 0;
  uint32_t req_len = 0;
  uint32_t rsp_len = 0;
  uint32_t owner = 0;
  int32_t status = 0;
};

// Reads the header of a request (or of a reply in place). False when fewer than 28 bytes.
bool of_cos_hdr_read(std::span<const uint8_t> req, of_cos_hdr* hdr);
// Plain form: zero-fills the larger of the two lengths and writes command and lengths.
uint32_t of_cos_hdr_init(std::span<uint8_t> req, uint32_t cmd, uint32_t req_len, uint32_t rsp_len);
// Checked form: as the plain one, plus the owner word (process id in bits 16 to 30) and the
// status preset OFA_E_PENDING, or OFA_E_HSL_SEND when the lengths are bad (it is never sent).
uint32_t of_cos_hdr_init_checked(std::span<uint8_t> req, uint32_t cmd, uint32_t req_len,
                                 uint32_t rsp_len, uint32_t pid);
// Lengths are good when both are multiples of 4, at most 0x100000, and the request is above 27.
constexpr bool of_cos_lengths_ok(uint32_t req_len, uint32_t rsp_len) {
  return req_len % 4 == 0 && rsp_len % 4 == 0 && req_len <= OF_COS_MAX_LENGTH &&
         rsp_len <= OF_COS_MAX_LENGTH && req_len > 27;
}
constexpr uint32_t of_cos_owner_word(uint32_t pid) {
  return (pid & 0x7fffu) << 16;
}
// The status word of a reply standing in place.
int32_t of_cos_status(std::span<const uint8_t> req);

// ---- bulk container -------------------------------------------------------------------------

// Starts a container: 36 bytes, bit 31 of the word at 28 when `batch_flag` (ard2 translations).
uint32_t of_bulk_init(std::span<uint8_t> req, bool batch_flag);
// Appends a copy of a complete sub-request; it takes the larger of its two lengths. Updates the
// count at 32 and sets both container lengths. Returns the new container length, 0 when the
// sub-request is malformed or does not fit (the container is then unchanged).
uint32_t of_bulk_add(std::span<uint8_t> req, std::span<const uint8_t> sub);
// Where the next sub-request would start, for builders that fill it in place.
uint32_t of_bulk_next_offset(std::span<const uint8_t> req);
// Accounts for a sub-request already built in place at of_bulk_next_offset().
uint32_t of_bulk_commit(std::span<uint8_t> req);

// ---- regions --------------------------------------------------------------------------------

inline constexpr uint8_t OF_LDEV_L2 = 10;
inline constexpr uint8_t OF_LDEV_L3 = 23;
inline constexpr uint8_t OF_REGION_TOP = 10;
inline constexpr uint8_t OF_REGION_FLOW = 20;
inline constexpr uint8_t OF_REGION_DEFAULT = 30;

struct of_region_params {
  uint8_t ldev = 0;
  uint8_t region = 0;
  uint32_t size = 0;
  uint32_t initial = 0;
  uint32_t increment = 0;
};
uint32_t of_build_region_req(std::span<uint8_t> req, const of_region_params& p);
uint32_t of_build_region_del_all(std::span<uint8_t> req, uint8_t ldev);

// ---- L2 flows ---------------------------------------------------------------------------------

// Valid bits of the L2 key (word at 112).
inline constexpr uint32_t OF_L2_VALID_VPN = 1u << 1;
inline constexpr uint32_t OF_L2_VALID_ETHER = 1u << 7;
inline constexpr uint32_t OF_L2_VALID_IIVID = 1u << 8;
inline constexpr uint32_t OF_L2_VALID_VPRI = 1u << 9;
inline constexpr uint32_t OF_L2_VALID_INPORT = 1u << 14;
constexpr uint32_t of_l2_valid_iivid_mask(uint32_t mask) {
  return (mask & 0x3fffu) << 18;
}
// Tag bits (value at 68, mask at 104).
inline constexpr uint32_t OF_L2_TAG_TAGGED = 1u << 18;
inline constexpr uint32_t OF_L2_TAG_ZIM = 1u << 17;
inline constexpr uint32_t OF_L2_TAGMASK_TAGGED = 1u << 8;
inline constexpr uint32_t OF_L2_TAGMASK_ZIM = 1u << 7;
// L2 result flags (result word 28) and QoS (result word 32).
inline constexpr uint32_t OF_L2_FLAG_ACTION_VALID = 1u << 0;
inline constexpr uint32_t OF_L2_FLAG_COPY_CTRL = 1u << 3;
inline constexpr uint32_t OF_L2_FLAG_POLICER = 1u << 5;
constexpr uint32_t of_l2_flag_dscp(uint32_t dscp) {
  return (dscp & 0x3fu) << 8;
}
inline constexpr uint32_t OF_L2_FLAG_REWRITE_DSCP = 1u << 14;
inline constexpr uint32_t OF_L2_FLAG_DEST_MGID = 1u << 19;
constexpr uint32_t of_l2_qos_vpri(uint32_t pri) {
  return (pri & 7u) << 4;
}
constexpr uint32_t of_l2_qos_queue(uint32_t q) {
  return (q & 7u) << 10;
}
inline constexpr uint32_t OF_L2_QOS_VALID = 1u << 13;
inline constexpr uint32_t OF_L2_QOS_NO_STATS = 1u << 15;

// Forward action of an L2 result, by use.
inline constexpr uint8_t OF_L2_FWD_DEST = 0;      // to the destination
inline constexpr uint8_t OF_L2_FWD_DROP = 2;      // drop flows and the default entries (ard, ard2)
inline constexpr uint8_t OF_L2_FWD_LOCAL = 3;     // flows to the controller; reserved-IIVID entries
inline constexpr uint8_t OF_L2_FWD_DROP_ZIM = 4;  // drop flows and the default entries (zim)

struct of_l2_result {
  uint32_t dest = 0;  // interface index, or an mgid with OF_L2_FLAG_DEST_MGID
  uint32_t policer_id = 0;
  uint8_t fwd_action = OF_L2_FWD_DEST;
  uint32_t flags = 0;
  uint32_t qos = 0;
};

struct of_l2flow_key {
  uint32_t in_port = 0;
  uint16_t iivid = 0;
  uint32_t tag = 0;
  of_mac src_mac{};
  of_mac dst_mac{};
  uint8_t vlan_pri = 0;  // 3 bits
  uint16_t ether_type = 0;
  uint32_t vpn_id = 0;
  uint32_t tag_mask = 0;
  uint32_t valid = 0;
  of_mac src_mac_mask{};
  of_mac dst_mac_mask{};
};

struct of_l2flow_params {
  uint32_t handle = 0;
  uint32_t before = 0;
  uint32_t after = 0;
  uint8_t region = 0;
  of_l2flow_key key;
  of_l2_result result;
};
uint32_t of_build_l2flow_req(std::span<uint8_t> req, const of_l2flow_params& p);
uint32_t of_build_l2flow_upd_req(std::span<uint8_t> req, uint32_t handle, uint8_t region,
                                 const of_l2_result& result);
// L2 (OF_CMD_L2FLOW_DEL) or L3 (OF_CMD_L3FLOW_DEL) entry removal.
uint32_t of_build_flow_del_req(std::span<uint8_t> req, uint32_t cmd, uint32_t handle,
                               uint8_t region);

// ---- L3 flows ---------------------------------------------------------------------------------

inline constexpr uint32_t OF_L3_VALID_VPN = 1u << 2;
inline constexpr uint32_t OF_L3_VALID_PROTO = 1u << 3;
inline constexpr uint32_t OF_L3_VALID_VPRI = 1u << 22;
inline constexpr uint32_t OF_L3_VALID_INPORT = 1u << 23;
inline constexpr uint32_t OF_L3_VALID_DSCP = 1u << 24;
inline constexpr uint32_t OF_L3_VALID_IIVID = 1u << 31;
inline constexpr uint32_t OF_L3_L4VALID_DST = 1u << 5;
inline constexpr uint32_t OF_L3_L4VALID_SRC = 1u << 11;
// L3 result flags A (word 20), flags B (word 24), multicast (word 28).
inline constexpr uint32_t OF_L3_FA_QOS_VALID = 1u << 0;
inline constexpr uint32_t OF_L3_FA_TO_CTRL = 1u << 3;
inline constexpr uint32_t OF_L3_FA_DEST_VALID = 1u << 4;
inline constexpr uint32_t OF_L3_FA_QOS_REWRITE = 1u << 5;
inline constexpr uint32_t OF_L3_FA_POLICER = 1u << 8;
inline constexpr uint32_t OF_L3_FA_ACTION_VALID = 1u << 9;
inline constexpr uint32_t OF_L3_FA_NO_STATS = 1u << 10;
constexpr uint32_t of_l3_fa_queue(uint32_t q) {
  return (q & 7u) << 11;
}
constexpr uint32_t of_l3_fa_dscp(uint32_t d) {
  return (d & 0x3fu) << 17;
}
inline constexpr uint32_t OF_L3_FA_REWRITE_DSCP = (1u << 23) | (1u << 24);
inline constexpr uint32_t OF_L3_FA_POLICER2 = 1u << 27;
inline constexpr uint32_t OF_L3_FB_PORT_DEFAULT_NHOP = 1u << 13;
constexpr uint32_t of_l3_fb_vpri(uint32_t p) {
  return (p & 7u) << 14;
}
constexpr uint32_t of_l3_fb_policer(uint32_t id) {
  return (id & 0x3fffu) << 17;
}
inline constexpr uint32_t OF_L3_FB_TO_CTRL = 1u << 31;
inline constexpr uint32_t OF_L3_MC_VALID = 1u << 31;
constexpr uint32_t of_l3_mc_type(uint32_t t) {
  return (t & 3u) << 29;
}
constexpr uint32_t of_l3_mc_mgid(uint32_t m) {
  return (m & 0x1ffffu) << 11;
}
inline constexpr uint32_t OF_L3_MC_L2 = 1u << 5;
inline constexpr uint32_t OF_L3_EGR_VALID = 1u << 31;

// Forward action of an L3 result, by use: to the next hop or mgid; or, for drop flows, flows to
// the controller and the default entries, to no destination, flags B telling whether the packet
// goes to the controller.
inline constexpr uint8_t OF_L3_FWD_DEST = 0;
inline constexpr uint8_t OF_L3_FWD_LOCAL = 3;

struct of_l3_result {
  uint32_t nhop_id = 0;
  uint8_t fwd_action = OF_L3_FWD_DEST;
  uint32_t flags_a = 0;
  uint32_t flags_b = 0;
  uint32_t mcast = 0;
  uint32_t egr_flag = 0;  // OF_L3_EGR_VALID (ard2)
  uint32_t egr_ifindex = 0;
};

struct of_l3flow_key {
  uint32_t in_port = 0;
  uint16_t iivid = 0;
  uint8_t dscp = 0;
  uint8_t vlan_pri = 0;  // 3 bits
  uint32_t src_ip = 0;
  uint32_t dst_ip = 0;
  uint8_t ip_proto = 0;
  uint32_t vpn_id = 0;
  uint32_t l4_valid = 0;
  uint16_t l4_src = 0;  // or ICMP type (high byte) and code (low byte)
  uint16_t l4_dst = 0;
  uint32_t valid = 0;
  uint16_t l4_src_mask = 0;
  uint16_t l4_dst_mask = 0;
  uint32_t src_ip_mask = 0;
  uint32_t dst_ip_mask = 0;
};

struct of_l3flow_params {
  uint32_t handle = 0;
  uint32_t before = 0;
  uint32_t after = 0;
  uint8_t region = 0;
  of_l3flow_key key;
  of_l3_result result;
};
uint32_t of_build_l3flow_req(std::span<uint8_t> req, const of_l3flow_params& p);
uint32_t of_build_l3flow_upd_req(std::span<uint8_t> req, uint32_t handle, uint8_t region,
                                 const of_l3_result& result);

// ---- multicast groups ---------------------------------------------------------------------------

struct of_mgid_member {
  uint32_t first_word = 0;  // 0xFFFFFFFF in the first member (in all on zim L3)
  uint32_t iivid = 0;
  std::span<const uint32_t> ports;  // interface indexes
};
// Mgid add or update (cmd). Members follow each other, 20 bytes plus 4 per port; the request is
// at least `min_len` long (312 for an L2 group).
uint32_t of_build_mgid_req(std::span<uint8_t> req, uint32_t cmd, uint32_t mgid,
                           std::span<const of_mgid_member> members, uint32_t min_len);
uint32_t of_build_mgid_del(std::span<uint8_t> req, uint32_t mgid);

// ---- next hops ----------------------------------------------------------------------------------

inline constexpr uint8_t OF_NHOP_KIND_SINGLE = 1;
inline constexpr uint8_t OF_NHOP_KIND_MULTI = 2;
inline constexpr uint8_t OF_NHOP_KIND_MGID = 8;
inline constexpr uint8_t OF_NHOP_KIND_PORT = 16;
inline constexpr uint8_t OF_NHOP_B35_PORT = 0x80;

struct of_nhop_path {
  uint32_t egr_ifindex = 0;  // the mgid in kind 8
  uint16_t egr_iivid = 0;
  of_mac dmac{};
  uint8_t b12 = 0;  // zim, kinds 8 and 16: bit 4
  uint8_t b13 = 0;  // zim, kind 8: bit 2 and the mgid type
};
struct of_nhop_params {
  uint32_t nhopid = 0;
  uint8_t kind = 0;
  uint8_t b35 = 0;  // bit 7 for a port next hop; zim low bits
  std::span<const of_nhop_path> paths;
};
// Size 36 + 20 per path; a multi-path request is always 196 (8 paths at most).
uint32_t of_build_nhop_add(std::span<uint8_t> req, const of_nhop_params& p);
// 40 bytes, count 1 at 32, id at 36; the short zim form declares 36 with count 0 and still puts
// the id at 36 (the area must hold 40).
uint32_t of_build_nhop_del(std::span<uint8_t> req, uint32_t nhopid, bool zim_short);

// ---- ports --------------------------------------------------------------------------------------

uint32_t of_build_port_cfg(std::span<uint8_t> req, uint32_t ifindex, const of_mac& port_address,
                           uint32_t pid);

struct of_port_ctl_params {
  uint32_t ifindex = 0;
  uint32_t change_mask = 0;  // bit 16 class by type, bit 17 class by MAC, bit 2 (ard2)
  bool ppid_valid = false;   // bit 19 of the word at 40
  bool is_typ_cls = false;   // bit 6 of the word at 48
  bool is_mac_cls = false;   // bit 7 of the word at 48
  uint32_t word52 = 0;
  uint32_t ppid = 0;  // bits 7 to 22 of the word at 56
};
uint32_t of_build_port_ctl(std::span<uint8_t> req, const of_port_ctl_params& p, uint32_t pid);

// Port VLAN configuration change-mask and value bits.
inline constexpr uint32_t OF_PVC_CM_LRN = 1u << 27;
inline constexpr uint32_t OF_PVC_CM_RX_FWD = 1u << 30;
inline constexpr uint32_t OF_PVC_CM_RX_FWD2 = 1u << 29;
inline constexpr uint32_t OF_PVC_CM_TX_EN = 1u << 22;
inline constexpr uint32_t OF_PVC_CM_PVID = 1u << 26;
inline constexpr uint32_t OF_PVC_CM_XLATE_A = 1u << 19;
inline constexpr uint32_t OF_PVC_CM_XLATE_B = 1u << 21;
inline constexpr uint32_t OF_PVC_CM_XLATE_ZIM = 1u << 24;
inline constexpr uint32_t OF_PVC_CM_EFT = 1u << 8;
inline constexpr uint32_t OF_PVC_VAL_IIVID_SET = 1u << 29;
inline constexpr uint32_t OF_PVC_VAL_LRN = 1u << 23;
inline constexpr uint32_t OF_PVC_VAL_RX_FWD = 1u << 26;
inline constexpr uint32_t OF_PVC_VAL_RX_FWD2 = 1u << 25;
inline constexpr uint32_t OF_PVC_VAL_TX_EN = 1u << 22;
inline constexpr uint32_t OF_PVC_VAL_TAGGED = 1u << 21;

enum class of_req_family : uint8_t { zim = 1, ard = 2, ard2 = 3 };

struct of_port_vlan_wide_params {
  uint32_t ifindex = 0;
  uint32_t iivid_min = 0;  // the bit set covers iivid_min..iivid_max inclusive
  uint32_t iivid_max = 0;
  bool lrn = false;
  bool rx_fwd = false;
  bool tx_en = false;
  uint32_t pvid = 0;  // ard and zim only
};
// Port-wide form: 1108 bytes (2132 and no pvid pair on ard2).
uint32_t of_build_port_vlan_wide(std::span<uint8_t> req, const of_port_vlan_wide_params& p,
                                 of_req_family fam);

struct of_vlan_pair {
  uint32_t iivid = 0;
  uint32_t vlan_id = 0;
};
// Translation form with one pair: 92 bytes, 96 on zim (VLAN id again at 92).
uint32_t of_build_port_vlan_xlate(std::span<uint8_t> req, uint32_t ifindex, of_vlan_pair pair,
                                  bool tagged, of_req_family fam);
// Translation form for the whole partition: interface index 0, u16 1 at 32 and u16 7 at 34,
// otherwise as the one-pair form.
uint32_t of_build_port_vlan_partition(std::span<uint8_t> req, of_vlan_pair pair, bool tagged,
                                      of_req_family fam);
// Batch form: at most 250 pairs (more are refused with 0); IIVIDs from 84, the VLAN ids right
// behind them, on zim a second copy of the VLAN ids behind those; 2084 bytes, 3084 on zim.
uint32_t of_build_port_vlan_batch(std::span<uint8_t> req, uint32_t ifindex,
                                  std::span<const of_vlan_pair> pairs, bool tagged,
                                  of_req_family fam);
// EVT add or remove (ard2, cmd OF_CMD_EVT_ADD / OF_CMD_EVT_DEL): 92 bytes.
uint32_t of_build_evt_req(std::span<uint8_t> req, uint32_t cmd, uint32_t ifindex, of_vlan_pair pair,
                          bool tagged);
// EFT entry (ard2): 92 bytes.
uint32_t of_build_eft_req(std::span<uint8_t> req, uint32_t ifindex, of_vlan_pair pair, bool tx_en);
// Partition id (ard): 48 bytes, ppid 7, rte 0 or 1.
uint32_t of_build_partition_id(std::span<uint8_t> req, uint16_t rte, uint32_t iivid,
                               uint32_t vlan_id);
// IVT add or remove (ard2): VLAN form (key type 19) or port form (key type 1).
uint32_t of_build_ivt_vlan(std::span<uint8_t> req, uint32_t cmd, uint32_t vlan_id, uint32_t iivid);
uint32_t of_build_ivt_port(std::span<uint8_t> req, uint32_t cmd, uint32_t ifindex, uint32_t iivid);
uint32_t of_build_vid_to_mgid(std::span<uint8_t> req, uint16_t iivid, uint32_t mgid);
uint32_t of_build_port_l2_ctrl(std::span<uint8_t> req, uint32_t ifindex, uint32_t lldp_vlan_ovrd,
                               uint32_t l2_ctrl_ovrd);
uint32_t of_build_port_vpn(std::span<uint8_t> req, uint32_t ifindex, uint32_t vpnid);
uint32_t of_build_port_qos_init(std::span<uint8_t> req, uint32_t ifindex, bool enabling);
uint32_t of_build_l2fwd_add(std::span<uint8_t> req, uint16_t iivid, const of_mac& mac,
                            uint32_t port_ifindex);
uint32_t of_build_l2fwd_del(std::span<uint8_t> req, uint16_t iivid, const of_mac& mac);

// ---- policers -----------------------------------------------------------------------------------

uint32_t of_build_policer_add(std::span<uint8_t> req, uint32_t policer_id, uint32_t instance,
                              uint64_t rate, uint32_t burst);
uint32_t of_build_policer_del(std::span<uint8_t> req, uint32_t policer_id, uint32_t instance);

// ---- statistics -----------------------------------------------------------------------------

inline constexpr uint32_t OF_STATS_CLASS_L2FLOW = 12;
inline constexpr uint32_t OF_STATS_CLASS_L3FLOW = 25;
inline constexpr uint32_t OF_STATS_CLASS_POLICER = 46;
inline constexpr uint32_t OF_STATS_CLASS_QUEUE = 49;
inline constexpr uint32_t OF_STATS_FLOW_RESULT_BYTES = 24;
inline constexpr uint32_t OF_STATS_POLICER_RESULT_BYTES = 32;

// Flow read or clear (cmd) of the handles, class 12 or 25, region 20: keys (handle, 65535) from
// 48, the key count at 34, `wanted` at 36, then a bit set with bits 0 to set_bits - 1 set.
// Request length 48 + 8 per key ((n + 6) * 8); the reply length is the caller's.
uint32_t of_build_flow_stats(std::span<uint8_t> req, uint32_t cmd, uint32_t cls,
                             std::span<const uint32_t> handles, uint16_t wanted, uint32_t set_bits,
                             uint32_t rsp_len);
struct of_policer_key {
  uint32_t policer_id = 0;
  uint32_t instance = 0;
};
// Policer read or clear, class 46: 12-byte keys (id, instance, 65535) from 48, the key count at
// 34, `wanted` at 36, the bit set behind the keys. Request length 48 + 12 per key.
uint32_t of_build_policer_stats(std::span<uint8_t> req, uint32_t cmd,
                                std::span<const of_policer_key> keys, uint16_t wanted,
                                uint32_t set_bits, uint32_t rsp_len);
// Queue read: 504 bytes, class 49, 1 at 32, 2 at 40, ifIndex at 48.
uint32_t of_build_queue_stats(std::span<uint8_t> req, uint32_t ifindex);
inline constexpr uint32_t OF_QUEUE_STATS_FIRST = 184;
inline constexpr uint32_t OF_QUEUE_STATS_SECOND = 248;
// Offset of result n in a reply: behind the keys and the bit set.
uint32_t of_stats_result_offset(uint32_t key_bytes, uint32_t wanted, uint32_t result_bytes,
                                uint32_t n);

// ---- capability ---------------------------------------------------------------------------------

uint32_t of_build_capability(std::span<uint8_t> req, uint32_t pid);
// Where the reply carries the chip id from IFM and the two capability words.
inline constexpr uint32_t OF_CAPABILITY_CHIP_ID_OFFSET = 28;
inline constexpr uint32_t OF_CAPABILITY_IPV4_OFFSET = 440;
inline constexpr uint32_t OF_CAPABILITY_IPV6_OFFSET = 444;
