#include "backends/ard/ard_flows.h"

#include "agent/flow_record.h"
#include "agent/trace.h"
#include "agent/trace_ids.h"
#include "backends/ard/ard_flow_result.h"
#include "chip/chip_flow_tree.h"
#include "chip/chip_req.h"
#include "chip/chip_table.h"
#include "chip/engine_lookups.h"
#include "chip/hsl_transport.h"
#include "chip/if_table.h"

namespace {

// Any OpenFlow VLAN: the top three bits of the 13-bit IIVID set.
constexpr uint16_t kOfIividPattern = 0x1C00;

// What one kind's traces say.
struct kind_words {
  of_flow_tree_kind tree;
  uint32_t del_cmd;
  uint32_t added_id, add_failed_id, updated_id, upd_failed_id, deleted_id, del_failed_id;
  const char* added;
  const char* failed;  // the add and the update fail with the same words
  const char* updated;
  const char* deleted;
  const char* del_failed;
};

constexpr kind_words kL2 = {of_flow_tree_kind::l2,
                            OF_CMD_L2FLOW_DEL,
                            OFA_TR_ARD_L2FLOW_ADDED,
                            OFA_TR_ARD_L2FLOW_ADD_FAILED,
                            OFA_TR_ARD_L2FLOW_UPDATED,
                            OFA_TR_ARD_L2FLOW_UPD_FAILED,
                            OFA_TR_ARD_L2FLOW_DELETED,
                            OFA_TR_ARD_L2FLOW_DEL_FAILED,
                            "Programmed l2 flow. id:%d chipid:%d hdl:%d",
                            "Unable to program l2 flow. id:%d chipid:%d hdl:%d rc:%d",
                            "Updated l2 flow. id:%d chipid:%d hdl:%d",
                            "Deleted l2 flow. id:%d chipid:%d hdl:%d",
                            "Unable to delete l2 flow. id:%d chipid:%d hdl:%d rc:%d"};
constexpr kind_words kL3 = {of_flow_tree_kind::l3,
                            OF_CMD_L3FLOW_DEL,
                            OFA_TR_ARD_L3FLOW_ADDED,
                            OFA_TR_ARD_L3FLOW_ADD_FAILED,
                            OFA_TR_ARD_L3FLOW_UPDATED,
                            OFA_TR_ARD_L3FLOW_UPD_FAILED,
                            OFA_TR_ARD_L3FLOW_DELETED,
                            OFA_TR_ARD_L3FLOW_DEL_FAILED,
                            "Programmed l3v4 flow. id:%d chipid:%d hdl:%d",
                            "Unable to program l3v4 flow. id:%d chipid:%d hdl:%d rc:%d",
                            "Updated l2 flow. id:%d chipid:%d hdl:%d",  // the L2 words
                            "Deleted l3v4 flow. id:%d chipid:%d hdl:%d",
                            "Unable to delete l3v4 flow. id:%d chipid:%d hdl:%d rc:%d"};

int send(const of_chip_entry* chip, uint32_t len) {
  if (len == 0) return OFA_E_HSL_SEND;
  return ofCosIoctl(chip->ifindex, ofNLReqArea().data(), len, nullptr, &len);
}

// The outcome's trace: the success words with their id, or the failure words with the status.
int traced(int rc, const fd_entry& f, const of_chip_entry* chip, uint32_t handle, uint32_t ok_id,
           const char* ok, uint32_t failed_id, const char* failed) {
  if (rc != 0)
    ofa_trace(OFACORE, 3, 4, failed_id, failed, f.flow_id, chip->chip_id, handle, rc);
  else
    ofa_trace(OFACORE, 7, 3, ok_id, ok, f.flow_id, chip->chip_id, handle);
  return rc;
}

// Handle of the chip's own slot; `before` the next lower entry of the tree, `after` the next
// higher one, 0 at an end. Handles travel as u32 (-1 as 0xFFFFFFFF).
void place(of_flow_tree_kind kind, of_chip_entry* chip, const fd_entry& f, const of_flow_hw_ref& hw,
           uint32_t* handle, uint32_t* before, uint32_t* after) {
  *handle = static_cast<uint32_t>(hw.get(chip->chip_id));
  const of_chip_flow_node* lower = nullptr;
  const of_chip_flow_node* higher = nullptr;
  of_chip_avl_lookup_neighbours(kind, chip, f.priority, f.flow_id, &lower, &higher);
  *before = lower ? static_cast<uint32_t>(lower->handle) : 0;
  *after = higher ? static_cast<uint32_t>(higher->handle) : 0;
  file_printf("OFA Program priority:%d flow_id:%d before:%d after:%d handle:%d\n", f.priority,
              f.flow_id, *before, *after, *handle);
}

// Update and delete name the entry by the handle of slot 0, whatever the chip.
uint32_t first_slot_handle(const of_flow_hw_ref& hw) {
  return static_cast<uint32_t>(hw.get(0));
}

int del(const kind_words& w, of_chip_entry* chip, const fd_entry& f, const of_flow_hw_ref& hw) {
  uint32_t handle = first_slot_handle(hw);
  file_printf("priority:%d flow_id:%d handle:%d\n", f.priority, f.flow_id, handle);
  int rc = send(chip, of_build_flow_del_req(ofNLReqArea(), w.del_cmd, handle, OF_REGION_FLOW));
  traced(rc, f, chip, handle, w.deleted_id, w.deleted, w.del_failed_id, w.del_failed);
  if (rc == 0) of_chip_avl_flow_del(w.tree, chip, f.priority, f.flow_id);
  return rc;
}

void l2_vlan_key(const fd_entry& f, of_l2flow_key* k) {
  auto pattern = [k] {
    k->iivid = kOfIividPattern;
    k->valid |= OF_L2_VALID_IIVID | of_l2_valid_iivid_mask(kOfIividPattern);
  };
  if (f.wildcards & OF_WC_IN_VLAN) {
    pattern();
    return;
  }
  file_printf("in_vlan_id:%d\n", f.in_vlan_id);
  of_vlan_view v;
  if (f.in_vlan_id == 0) {  // untagged, in any OpenFlow VLAN
    k->tag &= ~OF_L2_TAG_TAGGED;
    k->tag_mask |= OF_L2_TAGMASK_TAGGED;
    pattern();
  } else if (f.in_vlan_id != 65535 && of_lookup_vlan_view(f.in_vlan_id, &v)) {
    k->iivid = static_cast<uint16_t>(v.iivid);
    k->valid |= OF_L2_VALID_IIVID;
    k->tag |= OF_L2_TAG_TAGGED;
    k->tag_mask |= OF_L2_TAGMASK_TAGGED;
  }
}

// Always true: a port-less entry has no in-port key.
bool l2_key(const fd_entry& f, of_l2flow_key* k) {
  if (const of_if_entry* port = ofLookupIfEntrybyPortId(f.in_port_id)) {
    k->in_port = port->ifIndex;
    k->valid |= OF_L2_VALID_INPORT;
    file_printf("in port_id:%d port_ifindex:%x\n", f.in_port_id, port->ifIndex);
  } else {
    file_printf("Port doesn't exist !!\n");  // an entry without in-port key
  }
  k->ether_type = f.ether_type;
  if (f.ether_type != 0) k->valid |= OF_L2_VALID_ETHER;
  l2_vlan_key(f, k);
  k->vlan_pri = f.vlan_upbit;
  file_printf("fd_entry vlan_upbit:%d\n", f.vlan_upbit);
  if (f.vlan_upbit != 0) k->valid |= OF_L2_VALID_VPRI;
  k->src_mac = f.src_mac;
  k->dst_mac = f.dst_mac;
  k->src_mac_mask = f.src_mac_mask;
  k->dst_mac_mask = f.dst_mac_mask;
  return true;
}

// False after "Port doesn't exist !!": an L3 entry needs its in port.
bool l3_key(const fd_entry& f, of_l3flow_key* k) {
  const of_if_entry* port = ofLookupIfEntrybyPortId(f.in_port_id);
  if (!port) {
    file_printf("Port doesn't exist !!\n");
    return false;
  }
  k->in_port = port->ifIndex;
  k->valid |= OF_L3_VALID_INPORT;
  file_printf("in port_id:%d port_ifindex:%x\n", f.in_port_id, port->ifIndex);
  file_printf("in_vlan_id:%d\n", f.in_vlan_id);
  of_vlan_view v;
  if (f.in_vlan_id != 0 && f.in_vlan_id != 65535 && of_lookup_vlan_view(f.in_vlan_id, &v)) {
    k->iivid = static_cast<uint16_t>(v.iivid);
    k->valid |= OF_L3_VALID_IIVID;
  }
  k->ip_proto = f.ip_protocol;
  if (f.ip_protocol != 0) k->valid |= OF_L3_VALID_PROTO;
  // ICMP type and code stand where the source port goes, which replaces them.
  if (!(f.wildcards & OF_WC_ICMPV4_CODE)) {
    k->l4_src = f.icmpv4_code;
    k->l4_src_mask = 0x00FF;
  }
  if (!(f.wildcards & OF_WC_ICMPV4_TYPE)) {
    k->l4_src = static_cast<uint16_t>((f.icmpv4_type << 8) | (k->l4_src & 0xFF));
    k->l4_src_mask |= 0xFF00;
  }
  if (!(f.wildcards & OF_WC_TP_SRC)) {
    k->l4_src = f.src_port;
    k->l4_src_mask = 0xFFFF;
    k->l4_valid |= OF_L3_L4VALID_SRC;
  }
  if (!(f.wildcards & OF_WC_TP_DST)) {
    k->l4_dst = f.dst_port;
    k->l4_dst_mask = 0xFFFF;
    k->l4_valid |= OF_L3_L4VALID_DST;
  }
  k->src_ip = f.src_ip;
  k->src_ip_mask = f.src_ip_mask;
  k->dst_ip = f.dest_ip;
  k->dst_ip_mask = f.dest_ip_mask;
  k->dscp = static_cast<uint8_t>(f.ip_tos & 0xFF);
  if (k->dscp != 0) k->valid |= OF_L3_VALID_DSCP;
  k->vlan_pri = f.vlan_upbit;
  file_printf("fd_entry vlan_upbit:%d\n", f.vlan_upbit);
  if (f.vlan_upbit != 0) k->valid |= OF_L3_VALID_VPRI;
  return true;
}

// What differs between the two kinds of entry.
template <typename Params, typename Key, typename Result>
struct kind_ops {
  const kind_words& words;
  bool (*key)(const fd_entry&, Key*);
  int (*result)(const fd_entry&, const of_flow_actions&, uint32_t, ard_flow_op, Result*);
  uint32_t (*build)(std::span<uint8_t>, const Params&);
  uint32_t (*build_upd)(std::span<uint8_t>, uint32_t, uint8_t, const Result&);
};
constexpr kind_ops<of_l2flow_params, of_l2flow_key, of_l2_result> kL2Ops = {
    kL2, l2_key, ard_l2_result, of_build_l2flow_req, of_build_l2flow_upd_req};
constexpr kind_ops<of_l3flow_params, of_l3flow_key, of_l3_result> kL3Ops = {
    kL3, l3_key, ard_l3_result, of_build_l3flow_req, of_build_l3flow_upd_req};

template <typename P, typename K, typename R>
int add(const kind_ops<P, K, R>& k, of_chip_entry* chip, const fd_entry& f,
        const of_flow_actions& a, const of_flow_hw_ref& hw) {
  const kind_words& w = k.words;
  P p;
  place(w.tree, chip, f, hw, &p.handle, &p.before, &p.after);
  p.region = OF_REGION_FLOW;
  if (!k.key(f, &p.key)) return OFA_E_INVALID_ARG;
  int rc = k.result(f, a, chip->chip_id, ard_flow_op::add, &p.result);
  if (rc != 0) return rc;
  rc = traced(send(chip, k.build(ofNLReqArea(), p)), f, chip, p.handle, w.added_id, w.added,
              w.add_failed_id, w.failed);
  // A node that cannot be had is logged by the tree; the chip holds the entry all the same.
  if (rc == 0) of_chip_avl_flow_add(w.tree, chip, f.priority, f.flow_id, &hw);
  return rc;
}

template <typename P, typename K, typename R>
int update(const kind_ops<P, K, R>& k, of_chip_entry* chip, const fd_entry& f,
           const of_flow_actions& a, const of_flow_hw_ref& hw) {
  const kind_words& w = k.words;
  uint32_t handle = first_slot_handle(hw);
  file_printf("OFA modify priority:%d flow_id:%d handle:%d\n", f.priority, f.flow_id, handle);
  R r;
  int rc = k.result(f, a, chip->chip_id, ard_flow_op::modify, &r);
  if (rc != 0) return rc;
  rc = send(chip, k.build_upd(ofNLReqArea(), handle, OF_REGION_FLOW, r));
  return traced(rc, f, chip, handle, w.updated_id, w.updated, w.upd_failed_id, w.failed);
}

}  // namespace

int ard_of_l2flow_add(of_chip_entry* chip, fd_entry* flow, of_flow_actions* actions,
                      of_flow_hw_ref* hw) {
  return add(kL2Ops, chip, *flow, *actions, *hw);
}
int ard_of_l2flow_upd(of_chip_entry* chip, fd_entry* flow, of_flow_actions* actions,
                      of_flow_hw_ref* hw) {
  return update(kL2Ops, chip, *flow, *actions, *hw);
}
int ard_of_l2flow_del(of_chip_entry* chip, fd_entry* flow, of_flow_hw_ref* hw) {
  return del(kL2, chip, *flow, *hw);
}
int ard_of_l3flow_ipv4add(of_chip_entry* chip, fd_entry* flow, of_flow_actions* actions,
                          of_flow_hw_ref* hw) {
  return add(kL3Ops, chip, *flow, *actions, *hw);
}
int ard_of_l3flow_ipv4upd(of_chip_entry* chip, fd_entry* flow, of_flow_actions* actions,
                          of_flow_hw_ref* hw) {
  return update(kL3Ops, chip, *flow, *actions, *hw);
}
int ard_of_l3flow_ipv4del(of_chip_entry* chip, fd_entry* flow, of_flow_hw_ref* hw) {
  return del(kL3, chip, *flow, *hw);
}
