#include "chip/chip_req.h"

#include <algorithm>

using ofa::wire::Reader;
using ofa::wire::Writer;

namespace {

// Zero-fills `fill` bytes of the area and writes the plain header. 0 when the area is short.
uint32_t start(std::span<uint8_t> req, uint32_t cmd, uint32_t req_len, uint32_t rsp_len,
               uint32_t fill = 0) {
  size_t need = std::max({req_len, rsp_len, fill, OF_COS_HDR_SIZE});
  if (req.size() < need) return 0;
  std::fill_n(req.begin(), need, uint8_t{0});
  Writer w(req);
  w.u32_at(0, cmd);
  w.u32_at(8, req_len);
  w.u32_at(12, rsp_len);
  return req_len;
}

void put_mac(Writer& w, size_t off, const of_mac& mac) {
  for (size_t i = 0; i < mac.size(); ++i)
    w.u8_at(off + i, mac[i]);
}

void put_l2_result(Writer& w, size_t base, const of_l2_result& r) {
  w.u32_at(base + 0, r.dest);
  w.u32_at(base + 8, r.policer_id);
  w.u8_at(base + 24, r.fwd_action);
  w.u32_at(base + 28, r.flags);
  w.u32_at(base + 32, r.qos);
}

void put_l3_result(Writer& w, size_t base, const of_l3_result& r) {
  w.u32_at(base + 0, r.nhop_id);
  w.u8_at(base + 4, r.fwd_action);
  w.u32_at(base + 20, r.flags_a);
  w.u32_at(base + 24, r.flags_b);
  w.u32_at(base + 28, r.mcast);
  w.u32_at(base + 32, r.egr_flag);
  w.u32_at(base + 36, r.egr_ifindex);
}

void put_bitset(Writer& w, size_t base, uint32_t bits) {
  for (uint32_t n = 0; n < bits; ++n) {
    size_t off = base + 4 * (n / 32);
    Reader r(w.data());
    w.u32_at(off, r.u32_at(off) | (1u << (n % 32)));
  }
}

uint32_t bitset_bytes(uint32_t bits) {
  return 4 * ((bits + 31) / 32);
}

}  // namespace

// ---- header -----------------------------------------------------------------------------------

bool of_cos_hdr_read(std::span<const uint8_t> req, of_cos_hdr* hdr) {
  *hdr = {};
  if (req.size() < OF_COS_HDR_SIZE) return false;
  Reader r(req);
  hdr->command = r.u32_at(0);
  hdr->req_len = r.u32_at(8);
  hdr->rsp_len = r.u32_at(12);
  hdr->owner = r.u32_at(16);
  hdr->status = static_cast<int32_t>(r.u32_at(24));
  return r.ok();
}

uint32_t of_cos_hdr_init(std::span<uint8_t> req, uint32_t cmd, uint32_t req_len, uint32_t rsp_len) {
  return start(req, cmd, req_len, rsp_len);
}

uint32_t of_cos_hdr_init_checked(std::span<uint8_t> req, uint32_t cmd, uint32_t req_len,
                                 uint32_t rsp_len, uint32_t pid) {
  if (!start(req, cmd, req_len, rsp_len)) return 0;
  Writer w(req);
  w.u32_at(16, of_cos_owner_word(pid));
  w.u32_at(24, static_cast<uint32_t>(of_cos_lengths_ok(req_len, rsp_len) ? OFA_E_PENDING
                                                                         : OFA_E_HSL_SEND));
  return req_len;
}

int32_t of_cos_status(std::span<const uint8_t> req) {
  Reader r(req);
  return static_cast<int32_t>(r.u32_at(24));
}

// ---- bulk ---------------------------------------------------------------------------------------

uint32_t of_bulk_init(std::span<uint8_t> req, bool batch_flag) {
  if (!start(req, OF_CMD_BULK, OF_BULK_HDR_SIZE, OF_BULK_HDR_SIZE)) return 0;
  Writer w(req);
  w.u32_at(28, batch_flag ? 0x80000000u : 0u);
  return OF_BULK_HDR_SIZE;
}

uint32_t of_bulk_next_offset(std::span<const uint8_t> req) {
  Reader r(req);
  uint32_t len = r.u32_at(8);
  return r.ok() ? len : 0;
}

namespace {
uint32_t bulk_account(std::span<uint8_t> req, uint32_t at, uint32_t amount) {
  Reader r(req);
  uint16_t count = r.u16_at(32);
  Writer w(req);
  uint32_t len = at + amount;
  w.u16_at(32, static_cast<uint16_t>(count + 1));
  w.u32_at(8, len);
  w.u32_at(12, len);
  return len;
}
}  // namespace

uint32_t of_bulk_add(std::span<uint8_t> req, std::span<const uint8_t> sub) {
  of_cos_hdr h;
  if (!of_cos_hdr_read(sub, &h)) return 0;
  uint32_t amount = std::max(h.req_len, h.rsp_len);
  uint32_t at = of_bulk_next_offset(req);
  if (at < OF_BULK_HDR_SIZE || amount < OF_COS_HDR_SIZE || amount > sub.size() ||
      amount > req.size() || at > req.size() - amount)
    return 0;
  std::copy_n(sub.begin(), amount, req.begin() + at);
  return bulk_account(req, at, amount);
}

uint32_t of_bulk_commit(std::span<uint8_t> req) {
  uint32_t at = of_bulk_next_offset(req);
  if (at < OF_BULK_HDR_SIZE || at > req.size()) return 0;
  of_cos_hdr h;
  if (!of_cos_hdr_read(req.subspan(at), &h)) return 0;
  uint32_t amount = std::max(h.req_len, h.rsp_len);
  if (amount < OF_COS_HDR_SIZE || amount > req.size() - at) return 0;
  return bulk_account(req, at, amount);
}

// ---- regions --------------------------------------------------------------------------------

uint32_t of_build_region_req(std::span<uint8_t> req, const of_region_params& p) {
  if (!start(req, OF_CMD_REGION_ADD, OF_REGION_REQ_SIZE, OF_REGION_REQ_SIZE)) return 0;
  Writer w(req);
  w.u8_at(28, p.ldev);
  w.u8_at(29, p.region);
  w.u8_at(30, 1);
  w.u32_at(36, p.size);
  w.u32_at(40, p.initial);
  w.u32_at(44, p.increment);
  return OF_REGION_REQ_SIZE;
}

uint32_t of_build_region_del_all(std::span<uint8_t> req, uint8_t ldev) {
  if (!start(req, OF_CMD_REGION_DEL_ALL, OF_REGION_DEL_ALL_SIZE, OF_REGION_DEL_ALL_SIZE)) return 0;
  Writer w(req);
  w.u32_at(28, (uint32_t{ldev} << 24) | (3u << 22));
  return OF_REGION_DEL_ALL_SIZE;
}

// ---- flows ----------------------------------------------------------------------------------

namespace {
void put_flow_head(Writer& w, uint32_t handle, uint32_t before, uint32_t after, uint8_t region,
                   uint32_t in_port) {
  w.u32_at(28, handle);
  w.u32_at(32, before);
  w.u32_at(36, after);
  w.u8_at(40, region);
  w.u8_at(42, 1);
  w.u32_at(44, in_port);
}
}  // namespace

uint32_t of_build_l2flow_req(std::span<uint8_t> req, const of_l2flow_params& p) {
  if (!start(req, OF_CMD_L2FLOW_ADD, OF_L2FLOW_REQ_SIZE, OF_L2FLOW_REQ_SIZE)) return 0;
  Writer w(req);
  const of_l2flow_key& k = p.key;
  put_flow_head(w, p.handle, p.before, p.after, p.region, k.in_port);
  w.u16_at(56, k.iivid);
  w.u32_at(68, k.tag);
  put_mac(w, 76, k.src_mac);
  put_mac(w, 82, k.dst_mac);
  w.u8_at(88, static_cast<uint8_t>((k.vlan_pri & 7u) << 5));
  w.u16_at(90, k.ether_type);
  w.u32_at(96, k.vpn_id);
  w.u32_at(104, k.tag_mask);
  w.u32_at(112, k.valid);
  put_mac(w, 124, k.src_mac_mask);
  put_mac(w, 130, k.dst_mac_mask);
  put_l2_result(w, OF_L2_RESULT_OFFSET, p.result);
  return OF_L2FLOW_REQ_SIZE;
}

namespace {
// The head of an entry update: handle at 28, region and type 1 at 32 and 33.
bool upd_head(std::span<uint8_t> req, uint32_t cmd, uint32_t size, uint32_t handle,
              uint8_t region) {
  if (!start(req, cmd, size, size)) return false;
  Writer w(req);
  w.u32_at(28, handle);
  w.u8_at(32, region);
  w.u8_at(33, 1);
  return true;
}
}  // namespace

uint32_t of_build_l2flow_upd_req(std::span<uint8_t> req, uint32_t handle, uint8_t region,
                                 const of_l2_result& result) {
  if (!upd_head(req, OF_CMD_L2FLOW_UPD, OF_L2FLOW_UPD_REQ_SIZE, handle, region)) return 0;
  Writer w(req);
  put_l2_result(w, OF_UPD_RESULT_OFFSET, result);
  return OF_L2FLOW_UPD_REQ_SIZE;
}

uint32_t of_build_flow_del_req(std::span<uint8_t> req, uint32_t cmd, uint32_t handle,
                               uint8_t region) {
  if (!start(req, cmd, OF_FLOW_DEL_REQ_SIZE, OF_FLOW_DEL_REQ_SIZE)) return 0;
  Writer w(req);
  w.u32_at(28, handle);
  w.u8_at(32, region);
  return OF_FLOW_DEL_REQ_SIZE;
}

uint32_t of_build_l3flow_req(std::span<uint8_t> req, const of_l3flow_params& p) {
  if (!start(req, OF_CMD_L3FLOW_ADD, OF_L3FLOW_REQ_SIZE, OF_L3FLOW_REQ_SIZE)) return 0;
  Writer w(req);
  const of_l3flow_key& k = p.key;
  put_flow_head(w, p.handle, p.before, p.after, p.region, k.in_port);
  w.u16_at(56, k.iivid);
  w.u8_at(80, k.dscp);
  w.u8_at(81, static_cast<uint8_t>(k.vlan_pri & 7u));
  w.u32_at(92, k.src_ip);
  w.u32_at(96, k.dst_ip);
  w.u8_at(103, k.ip_proto);
  w.u32_at(104, k.vpn_id);
  w.u32_at(108, k.l4_valid);
  w.u16_at(112, k.l4_src);
  w.u16_at(114, k.l4_dst);
  w.u32_at(116, k.valid);
  w.u16_at(124, k.l4_src_mask);
  w.u16_at(126, k.l4_dst_mask);
  w.u32_at(128, k.src_ip_mask);
  w.u32_at(132, k.dst_ip_mask);
  put_l3_result(w, OF_L3_RESULT_OFFSET, p.result);
  return OF_L3FLOW_REQ_SIZE;
}

uint32_t of_build_l3flow_upd_req(std::span<uint8_t> req, uint32_t handle, uint8_t region,
                                 const of_l3_result& result) {
  if (!upd_head(req, OF_CMD_L3FLOW_UPD, OF_L3FLOW_UPD_REQ_SIZE, handle, region)) return 0;
  Writer w(req);
  put_l3_result(w, OF_UPD_RESULT_OFFSET, result);
  return OF_L3FLOW_UPD_REQ_SIZE;
}

// ---- multicast groups -----------------------------------------------------------------------

uint32_t of_build_mgid_req(std::span<uint8_t> req, uint32_t cmd, uint32_t mgid,
                           std::span<const of_mgid_member> members, uint32_t min_len) {
  uint64_t natural = 36;
  for (const auto& m : members)
    natural += 20 + 4 * uint64_t{m.ports.size()};
  if (natural > OF_COS_MAX_LENGTH) return 0;
  uint32_t len = std::max(static_cast<uint32_t>(natural), min_len);
  if (!start(req, cmd, len, len)) return 0;
  Writer w(req);
  w.u32_at(28, mgid);
  w.u32_at(32, static_cast<uint32_t>(members.size()));
  size_t at = 36;
  for (const auto& m : members) {
    w.u32_at(at, m.first_word);
    w.u32_at(at + 4, m.iivid);
    w.u8_at(at + 12, 1);
    w.u16_at(at + 14, static_cast<uint16_t>(m.ports.size()));
    for (size_t i = 0; i < m.ports.size(); ++i)
      w.u32_at(at + 20 + 4 * i, m.ports[i]);
    at += 20 + 4 * m.ports.size();
  }
  return w.ok() ? len : 0;
}

uint32_t of_build_mgid_del(std::span<uint8_t> req, uint32_t mgid) {
  if (!start(req, OF_CMD_MGID_DEL, OF_MGID_DEL_SIZE, OF_MGID_DEL_SIZE)) return 0;
  Writer w(req);
  w.u32_at(28, mgid);
  return OF_MGID_DEL_SIZE;
}

// ---- next hops ------------------------------------------------------------------------------

uint32_t of_build_nhop_add(std::span<uint8_t> req, const of_nhop_params& p) {
  bool multi = p.kind == OF_NHOP_KIND_MULTI;
  if (p.paths.size() > (multi ? OF_NHOP_MAX_PATHS : 255u)) return 0;
  uint32_t len =
      multi ? OF_NHOP_MP_SIZE : 36 + OF_NHOP_PATH_SIZE * static_cast<uint32_t>(p.paths.size());
  if (!start(req, OF_CMD_NHOP_ADD, len, len)) return 0;
  Writer w(req);
  w.u32_at(28, p.nhopid);
  w.u8_at(33, static_cast<uint8_t>(p.paths.size()));
  w.u8_at(34, p.kind);
  w.u8_at(35, p.b35);
  for (size_t i = 0; i < p.paths.size(); ++i) {
    size_t at = 36 + OF_NHOP_PATH_SIZE * i;
    const of_nhop_path& e = p.paths[i];
    w.u32_at(at, e.egr_ifindex);
    w.u16_at(at + 4, e.egr_iivid);
    put_mac(w, at + 6, e.dmac);
    w.u8_at(at + 12, e.b12);
    w.u8_at(at + 13, e.b13);
  }
  return w.ok() ? len : 0;
}

uint32_t of_build_nhop_del(std::span<uint8_t> req, uint32_t nhopid, bool zim_short) {
  uint32_t len = zim_short ? OF_NHOP_DEL_ZIM_SHORT_SIZE : OF_NHOP_DEL_SIZE;
  if (!start(req, OF_CMD_NHOP_DEL, len, len, OF_NHOP_DEL_SIZE)) return 0;
  Writer w(req);
  if (!zim_short) w.u32_at(32, 1);
  w.u32_at(36, nhopid);
  return len;
}

// ---- ports ----------------------------------------------------------------------------------

uint32_t of_build_port_cfg(std::span<uint8_t> req, uint32_t ifindex, const of_mac& port_address,
                           uint32_t pid) {
  if (!of_cos_hdr_init_checked(req, OF_CMD_PORT_CFG, OF_PORT_CFG_SIZE, OF_PORT_CFG_SIZE, pid))
    return 0;
  Writer w(req);
  w.u8_at(28, 6);
  w.u32_at(32, 0x80000000u);
  put_mac(w, 38, port_address);
  w.u32_at(48, ifindex);
  return OF_PORT_CFG_SIZE;
}

uint32_t of_build_port_ctl(std::span<uint8_t> req, const of_port_ctl_params& p, uint32_t pid) {
  if (!of_cos_hdr_init_checked(req, OF_CMD_PORT_CFG, OF_PORT_CTL_SIZE, OF_PORT_CTL_SIZE, pid))
    return 0;
  Writer w(req);
  w.u8_at(28, 0);
  w.u32_at(32, p.ifindex);
  w.u32_at(36, p.change_mask);
  w.u32_at(40, p.ppid_valid ? (1u << 19) : 0u);
  w.u32_at(48, (p.is_typ_cls ? (1u << 6) : 0u) | (p.is_mac_cls ? (1u << 7) : 0u));
  w.u32_at(52, p.word52);
  w.u32_at(56, (p.ppid & 0xffffu) << 7);
  return OF_PORT_CTL_SIZE;
}

uint32_t of_build_port_vlan_wide(std::span<uint8_t> req, const of_port_vlan_wide_params& p,
                                 of_req_family fam) {
  bool ard2 = fam == of_req_family::ard2;
  uint32_t len = ard2 ? OF_PORT_VLAN_WIDE_ARD2_SIZE : OF_PORT_VLAN_WIDE_SIZE;
  uint32_t bits = (len - 84) * 8;
  if (!start(req, OF_CMD_PORT_VLAN_CFG, len, len)) return 0;
  Writer w(req);
  uint32_t cm = OF_PVC_CM_LRN | OF_PVC_CM_RX_FWD | OF_PVC_CM_RX_FWD2 | OF_PVC_CM_TX_EN;
  uint32_t val = OF_PVC_VAL_IIVID_SET;
  if (p.lrn) val |= OF_PVC_VAL_LRN;
  if (p.rx_fwd) val |= OF_PVC_VAL_RX_FWD | OF_PVC_VAL_RX_FWD2;
  if (p.tx_en) val |= OF_PVC_VAL_TX_EN;
  if (!ard2) {
    cm |= OF_PVC_CM_PVID;
    w.u32_at(48, p.pvid);
  }
  w.u32_at(28, p.ifindex);
  w.u32_at(36, cm);
  w.u32_at(40, val);
  Reader r(req);
  for (uint32_t n = p.iivid_min; n <= p.iivid_max && n < bits; ++n) {
    size_t off = 84 + 4 * (n / 32);
    w.u32_at(off, r.u32_at(off) | (1u << (n % 32)));
  }
  return len;
}

namespace {
uint32_t xlate_mask(of_req_family fam) {
  return OF_PVC_CM_XLATE_A | OF_PVC_CM_XLATE_B |
         (fam == of_req_family::zim ? OF_PVC_CM_XLATE_ZIM : 0u);
}
}  // namespace

uint32_t of_build_port_vlan_xlate(std::span<uint8_t> req, uint32_t ifindex, of_vlan_pair pair,
                                  bool tagged, of_req_family fam) {
  bool zim = fam == of_req_family::zim;
  uint32_t len = zim ? OF_PORT_VLAN_XLATE_ZIM_SIZE : OF_PORT_VLAN_XLATE_SIZE;
  if (!start(req, OF_CMD_PORT_VLAN_CFG, len, len)) return 0;
  Writer w(req);
  w.u32_at(28, ifindex);
  w.u32_at(36, xlate_mask(fam));
  w.u32_at(40, tagged ? OF_PVC_VAL_TAGGED : 0u);
  w.u32_at(56, 1);
  w.u32_at(84, pair.iivid);
  w.u32_at(88, pair.vlan_id);
  if (zim) w.u32_at(92, pair.vlan_id);
  return len;
}

uint32_t of_build_port_vlan_partition(std::span<uint8_t> req, of_vlan_pair pair, bool tagged,
                                      of_req_family fam) {
  uint32_t len = of_build_port_vlan_xlate(req, 0, pair, tagged, fam);
  if (!len) return 0;
  Writer w(req);
  w.u16_at(32, 1);
  w.u16_at(34, 7);
  return len;
}

uint32_t of_build_port_vlan_batch(std::span<uint8_t> req, uint32_t ifindex,
                                  std::span<const of_vlan_pair> pairs, bool tagged,
                                  of_req_family fam) {
  if (pairs.size() > OF_PORT_VLAN_BATCH_MAX) return 0;
  bool zim = fam == of_req_family::zim;
  uint32_t len = zim ? OF_PORT_VLAN_BATCH_ZIM_SIZE : OF_PORT_VLAN_BATCH_SIZE;
  if (!start(req, OF_CMD_PORT_VLAN_CFG, len, len)) return 0;
  Writer w(req);
  size_t n = pairs.size();
  w.u32_at(28, ifindex);
  w.u32_at(36, xlate_mask(fam));
  w.u32_at(40, tagged ? OF_PVC_VAL_TAGGED : 0u);
  w.u32_at(56, static_cast<uint32_t>(n));
  for (size_t i = 0; i < n; ++i) {
    w.u32_at(84 + 4 * i, pairs[i].iivid);
    w.u32_at(84 + 4 * (n + i), pairs[i].vlan_id);
    if (zim) w.u32_at(84 + 4 * (2 * n + i), pairs[i].vlan_id);
  }
  return len;
}

uint32_t of_build_evt_req(std::span<uint8_t> req, uint32_t cmd, uint32_t ifindex, of_vlan_pair pair,
                          bool tagged) {
  if (!start(req, cmd, OF_PORT_VLAN_XLATE_SIZE, OF_PORT_VLAN_XLATE_SIZE)) return 0;
  Writer w(req);
  w.u32_at(28, ifindex);
  w.u32_at(36, OF_PVC_CM_XLATE_A | OF_PVC_CM_XLATE_B | OF_PVC_CM_TX_EN);
  w.u32_at(40, (tagged ? OF_PVC_VAL_TAGGED : 0u) | OF_PVC_VAL_TX_EN);
  w.u32_at(56, 1);
  w.u32_at(84, pair.iivid);
  w.u32_at(88, pair.vlan_id);
  return OF_PORT_VLAN_XLATE_SIZE;
}

uint32_t of_build_eft_req(std::span<uint8_t> req, uint32_t ifindex, of_vlan_pair pair, bool tx_en) {
  if (!start(req, OF_CMD_PORT_VLAN_CFG, OF_PORT_VLAN_XLATE_SIZE, OF_PORT_VLAN_XLATE_SIZE)) return 0;
  Writer w(req);
  w.u32_at(28, ifindex);
  w.u32_at(36,
           OF_PVC_CM_EFT | OF_PVC_CM_XLATE_A | OF_PVC_CM_XLATE_B | (tx_en ? OF_PVC_CM_TX_EN : 0u));
  w.u32_at(40, OF_PVC_VAL_TAGGED | OF_PVC_VAL_TX_EN);
  w.u32_at(56, 1);
  w.u32_at(84, pair.iivid);
  w.u32_at(88, pair.vlan_id);
  return OF_PORT_VLAN_XLATE_SIZE;
}

uint32_t of_build_partition_id(std::span<uint8_t> req, uint16_t rte, uint32_t iivid,
                               uint32_t vlan_id) {
  if (!start(req, OF_CMD_PARTITION_ID, OF_PARTITION_ID_SIZE, OF_PARTITION_ID_SIZE)) return 0;
  Writer w(req);
  w.u16_at(28, 7);
  w.u16_at(30, rte);
  w.u32_at(36, 1);
  w.u32_at(40, iivid);
  w.u32_at(44, vlan_id);
  return OF_PARTITION_ID_SIZE;
}

namespace {
uint32_t ivt_start(std::span<uint8_t> req, uint32_t cmd, uint8_t key_type, uint32_t iivid,
                   uint32_t kind) {
  if (!start(req, cmd, OF_IVT_SIZE, OF_IVT_SIZE)) return 0;
  Writer w(req);
  w.u32_at(28, 1);
  w.u32_at(32, uint32_t{key_type} << 24);
  w.u32_at(52, ((iivid & 0x3fffu) << 18) | ((kind & 0xfu) << 14));
  return OF_IVT_SIZE;
}
}  // namespace

uint32_t of_build_ivt_vlan(std::span<uint8_t> req, uint32_t cmd, uint32_t vlan_id, uint32_t iivid) {
  if (!ivt_start(req, cmd, 19, iivid, 14)) return 0;
  Writer w(req);
  w.u32_at(36, ((vlan_id & 0xfffu) << 20) | (7u << 17));
  return OF_IVT_SIZE;
}

uint32_t of_build_ivt_port(std::span<uint8_t> req, uint32_t cmd, uint32_t ifindex, uint32_t iivid) {
  if (!ivt_start(req, cmd, 1, iivid, 13)) return 0;
  Writer w(req);
  w.u32_at(40, ifindex);
  return OF_IVT_SIZE;
}

uint32_t of_build_vid_to_mgid(std::span<uint8_t> req, uint16_t iivid, uint32_t mgid) {
  if (!start(req, OF_CMD_VID_TO_MGID, OF_VID_TO_MGID_SIZE, OF_VID_TO_MGID_SIZE)) return 0;
  Writer w(req);
  w.u32_at(44, 1);
  w.u16_at(50, iivid);
  w.u32_at(52, mgid & 0x1ffffu);
  return OF_VID_TO_MGID_SIZE;
}

uint32_t of_build_port_l2_ctrl(std::span<uint8_t> req, uint32_t ifindex, uint32_t lldp_vlan_ovrd,
                               uint32_t l2_ctrl_ovrd) {
  if (!start(req, OF_CMD_PORT_L2_CTRL, OF_PORT_L2_CTRL_SIZE, OF_PORT_L2_CTRL_SIZE)) return 0;
  Writer w(req);
  w.u32_at(28, 1);
  w.u32_at(32, 0x00020000u);
  w.u32_at(36, 4);
  w.u32_at(48, ifindex);
  w.u32_at(52, lldp_vlan_ovrd);
  w.u32_at(56, l2_ctrl_ovrd);
  return OF_PORT_L2_CTRL_SIZE;
}

uint32_t of_build_port_vpn(std::span<uint8_t> req, uint32_t ifindex, uint32_t vpnid) {
  if (!start(req, OF_CMD_PORT_VPN, OF_PORT_VPN_SIZE, OF_PORT_VPN_SIZE)) return 0;
  Writer w(req);
  w.u32_at(28, ifindex);
  w.u32_at(32, 0x80000000u);
  w.u32_at(36, vpnid);
  return OF_PORT_VPN_SIZE;
}

uint32_t of_build_port_qos_init(std::span<uint8_t> req, uint32_t ifindex, bool enabling) {
  if (!start(req, OF_CMD_PORT_QOS_INIT, OF_PORT_QOS_INIT_SIZE, OF_PORT_QOS_INIT_SIZE)) return 0;
  Writer w(req);
  w.u32_at(28, ifindex);
  for (uint32_t i = 0; i < 32; ++i) {
    uint32_t c = i % 8;
    uint8_t b0 = c == 0 ? 1 : c == 1 ? 0 : static_cast<uint8_t>(c);
    w.u8_at(32 + 4 * i, b0);
    w.u8_at(33 + 4 * i, enabling ? static_cast<uint8_t>(c) : 0);
  }
  return OF_PORT_QOS_INIT_SIZE;
}

uint32_t of_build_l2fwd_add(std::span<uint8_t> req, uint16_t iivid, const of_mac& mac,
                            uint32_t port_ifindex) {
  if (!start(req, OF_CMD_L2FWD_ADD, OF_L2FWD_ADD_SIZE, OF_L2FWD_ADD_SIZE)) return 0;
  Writer w(req);
  w.u32_at(40, 1u << 30);
  w.u16_at(42, iivid);
  put_mac(w, 44, mac);
  w.u32_at(64, port_ifindex);
  w.u8_at(68, 3);
  w.u8_at(69, 0);
  return OF_L2FWD_ADD_SIZE;
}

uint32_t of_build_l2fwd_del(std::span<uint8_t> req, uint16_t iivid, const of_mac& mac) {
  if (!start(req, OF_CMD_L2FWD_DEL, OF_L2FWD_DEL_SIZE, OF_L2FWD_DEL_SIZE)) return 0;
  Writer w(req);
  w.u16_at(32, iivid);
  put_mac(w, 34, mac);
  return OF_L2FWD_DEL_SIZE;
}

// ---- policers -------------------------------------------------------------------------------

uint32_t of_build_policer_add(std::span<uint8_t> req, uint32_t policer_id, uint32_t instance,
                              uint64_t rate, uint32_t burst) {
  if (!start(req, OF_CMD_POLICER_ADD, OF_POLICER_ADD_SIZE, OF_POLICER_ADD_SIZE)) return 0;
  Writer w(req);
  w.u32_at(28, 0x80000000u);
  w.u64_at(32, burst);
  w.u64_at(40, rate);
  w.u32_at(76, (instance & 0xfu) << 28);
  w.u32_at(80, policer_id);
  return OF_POLICER_ADD_SIZE;
}

uint32_t of_build_policer_del(std::span<uint8_t> req, uint32_t policer_id, uint32_t instance) {
  if (!start(req, OF_CMD_POLICER_DEL, OF_POLICER_DEL_SIZE, OF_POLICER_DEL_SIZE)) return 0;
  Writer w(req);
  w.u32_at(28, 1);
  w.u32_at(32, ((instance & 0xfu) << 28) | (policer_id & 0x0fffffffu));
  return OF_POLICER_DEL_SIZE;
}

// ---- statistics -----------------------------------------------------------------------------

namespace {
uint32_t stats_start(std::span<uint8_t> req, uint32_t cmd, uint32_t cls, uint8_t region,
                     uint32_t keys, uint32_t key_bytes, uint16_t wanted, uint32_t set_bits,
                     uint32_t rsp_len) {
  uint64_t req_len = OF_STATS_HDR_SIZE + uint64_t{keys} * key_bytes;
  uint64_t fill = req_len + bitset_bytes(set_bits);
  if (keys > 0xffff || fill > OF_COS_MAX_LENGTH) return 0;
  if (!start(req, cmd, static_cast<uint32_t>(req_len), rsp_len, static_cast<uint32_t>(fill)))
    return 0;
  Writer w(req);
  w.u32_at(28, cls);
  w.u8_at(33, region);
  w.u16_at(34, static_cast<uint16_t>(keys));
  w.u16_at(36, wanted);
  put_bitset(w, req_len, set_bits);
  return static_cast<uint32_t>(req_len);
}
}  // namespace

uint32_t of_build_flow_stats(std::span<uint8_t> req, uint32_t cmd, uint32_t cls,
                             std::span<const uint32_t> handles, uint16_t wanted, uint32_t set_bits,
                             uint32_t rsp_len) {
  uint32_t len = stats_start(req, cmd, cls, OF_REGION_FLOW, static_cast<uint32_t>(handles.size()),
                             8, wanted, set_bits, rsp_len);
  if (!len) return 0;
  Writer w(req);
  for (size_t i = 0; i < handles.size(); ++i) {
    w.u32_at(48 + 8 * i, handles[i]);
    w.u32_at(52 + 8 * i, 65535);
  }
  return len;
}

uint32_t of_build_policer_stats(std::span<uint8_t> req, uint32_t cmd,
                                std::span<const of_policer_key> keys, uint16_t wanted,
                                uint32_t set_bits, uint32_t rsp_len) {
  uint32_t len = stats_start(req, cmd, OF_STATS_CLASS_POLICER, 0,
                             static_cast<uint32_t>(keys.size()), 12, wanted, set_bits, rsp_len);
  if (!len) return 0;
  Writer w(req);
  for (size_t i = 0; i < keys.size(); ++i) {
    w.u32_at(48 + 12 * i, keys[i].policer_id);
    w.u32_at(52 + 12 * i, keys[i].instance);
    w.u32_at(56 + 12 * i, 65535);
  }
  return len;
}

uint32_t of_build_queue_stats(std::span<uint8_t> req, uint32_t ifindex) {
  if (!start(req, OF_CMD_STATS_READ, OF_QUEUE_STATS_SIZE, OF_QUEUE_STATS_SIZE)) return 0;
  Writer w(req);
  w.u32_at(28, OF_STATS_CLASS_QUEUE);
  w.u32_at(32, 1);
  w.u32_at(40, 2);
  w.u32_at(48, ifindex);
  return OF_QUEUE_STATS_SIZE;
}

uint32_t of_stats_result_offset(uint32_t key_bytes, uint32_t wanted, uint32_t result_bytes,
                                uint32_t n) {
  return OF_STATS_HDR_SIZE + key_bytes + bitset_bytes(wanted) + result_bytes * n;
}

// ---- capability -----------------------------------------------------------------------------

uint32_t of_build_capability(std::span<uint8_t> req, uint32_t pid) {
  return of_cos_hdr_init_checked(req, OF_CMD_CAPABILITY, OF_CAPABILITY_SIZE, OF_CAPABILITY_SIZE,
                                 pid);
}
