#include "flow/flow_msg.h"

#include <new>

#include "agent/flow_record.h"
#include "agent/timebase.h"
#include "agent/trace.h"
#include "flow/flow_table.h"
#include "flow/member_list.h"
#include "flow/reply.h"
#include "platform/wire.h"

namespace {

using ofa::wire::Reader;

constexpr uint32_t kV1Stride = 48;
constexpr uint32_t kV4Stride = 76;
constexpr uint32_t kV1Extent = 52;  // the fixed fields reach four bytes past the stride
constexpr uint32_t kV4Extent = 80;

template <size_t N>
void mac_at(Reader& r, size_t off, std::array<uint8_t, N>& out) {
  for (size_t i = 0; i < N; ++i)
    out[i] = r.u8_at(off + i);
}

void copy_match(Reader& r, fd_entry* f) {
  f->version = r.u8_at(8);
  f->flow_id = r.u32_at(16);
  f->cid = r.u32_at(20);
  f->xid = r.u32_at(24);
  f->instance_word = r.u32_at(32);
  f->fd_id = r.u16_at(36);
  f->in_port_id = r.u16_at(38);
  f->in_vlan_id = r.u32_at(40);
  f->in_tagged = static_cast<uint8_t>(r.u32_at(44));
  mac_at(r, 48, f->src_mac);
  mac_at(r, 56, f->dst_mac);
  mac_at(r, 64, f->src_mac_mask);
  mac_at(r, 72, f->dst_mac_mask);
  f->ether_type = r.u16_at(80);
  f->src_ip = r.u32_at(84);
  f->src_ip_mask = r.u32_at(88);
  f->dest_ip = r.u32_at(92);
  f->dest_ip_mask = r.u32_at(96);
  f->ip_protocol = r.u8_at(100);
  f->ip_tos = r.u16_at(102);
  f->src_port = r.u16_at(104);
  f->dst_port = r.u16_at(106);
  f->fid = r.u16_at(108);
  f->mvid = r.u16_at(110);
  f->pw_id = r.u8_at(112);
  f->forward_action = r.u8_at(113);
  f->send_to_ctrl = r.u8_at(114);
  f->wildcards = r.u32_at(116);
  f->priority = r.u32_at(120);
  f->vlan_upbit = r.u8_at(124);
  f->keep_counters = r.u32_at(128);
  f->action_param = r.u32_at(132);
  f->rule_kind = r.u8_at(138);
  f->action_key = r.u32_at(140);
  f->meter_id = r.u32_at(144);
  f->stats_flag = r.u32_at(148);
  f->mp_id = r.u8_at(152);
  if (f->version == OFV_130) {
    mac_at(r, 160, f->v4_block);
    f->icmpv6_type = r.u8_at(232);
    f->icmpv6_code = r.u8_at(233);
    f->icmpv4_type = r.u8_at(234);
    f->icmpv4_code = r.u8_at(235);
  }
}

void read_v1(Reader& r, size_t at, of_flow_member* m) {
  m->out_port_id = r.u16_at(at + 4);
  m->out_vlan_id = r.u32_at(at + 8);
  m->out_tagged = r.u8_at(at + 19);
  m->vlan_upbits = r.u8_at(at + 20);
  mac_at(r, at + 24, m->set_src_mac);
  mac_at(r, at + 32, m->set_dst_mac);
  m->nw_tos = r.u8_at(at + 40);
  m->spare_byte = r.u8_at(at + 41);
  m->spare_word = r.u32_at(at + 44);
  if (r.u32_at(at + 48) & 0x80000000u) m->inner_flags |= 0x1000;
  m->spare_half = r.u16_at(at + 50);
}

void read_v4(Reader& r, size_t at, of_flow_member* m) {
  m->out_port_id = r.u16_at(at + 4);
  m->out_vlan_id = r.u32_at(at + 8);
  m->vlan_upbits = r.u8_at(at + 16);
  m->out_tagged = r.u8_at(at + 17);
  mac_at(r, at + 20, m->set_src_mac);
  mac_at(r, at + 28, m->set_dst_mac);
  m->nw_tos = r.u8_at(at + 36);
  m->spare_byte = r.u8_at(at + 37);
  m->spare_word = r.u32_at(at + 40);
  m->group_id = static_cast<int32_t>(r.u32_at(at + 44));
  for (size_t i = 0; i < 3; ++i)
    m->group_words[i] = r.u32_at(at + 48 + 4 * i);
  uint32_t bits = r.u32_at(at + 60);
  m->action_bits = bits & 0xf0000000u;
  m->inner_flags = static_cast<uint16_t>((bits >> 8) & 0xf000u);
  m->set_ttl = r.u8_at(at + 62);
  m->queue_id = r.u8_at(at + 63);
  m->push_vlan_type = r.u16_at(at + 66);
  m->spare_half = r.u16_at(at + 68);
  m->inner_vlan_id = r.u32_at(at + 72);
  m->inner_spare = r.u8_at(at + 76);
  m->inner_upbits = r.u8_at(at + 77);
  m->push_inner_type = r.u16_at(at + 78);
}

// One member at `at`: appended to the record, or null when it cannot be read or allocated.
of_flow_member* copy_one_action(fd_entry* flow, Reader& r, size_t at) {
  uint32_t extent = flow->version == OFV_130 ? kV4Extent : kV1Extent;
  if (at > r.size() || r.size() - at < extent) return nullptr;
  auto* m = new (std::nothrow) of_flow_member;
  if (!m) {
    of_lp_message_set("Error - %s: dy_malloc_zero failed for %u bytes",
                      "openflow_generic_mode_copy_flow_one_action",
                      static_cast<unsigned>(sizeof(of_flow_member)));
    return nullptr;
  }
  ++flow->member_count;
  if (flow->version == OFV_100) {
    file_printf("Unexpected version OFV_100\n");
    read_v1(r, at, m);
  } else if (flow->version == OFV_130) {
    read_v4(r, at, m);
  }
  of_flow_member** tail = &flow->members;
  while (*tail)
    tail = &(*tail)->next;
  *tail = m;
  if (m->out_port_id == OF_PORT_CONTROLLER) {
    file_printf("send_to_ctrl\n");
    flow->send_to_ctrl = 1;
  }
  return m;
}

}  // namespace

uint32_t of_flow_msg_more_fragments(std::span<const uint8_t> msg) {
  return Reader(msg).u32_at(12);
}

uint16_t of_flow_msg_ether_type(std::span<const uint8_t> msg) {
  return Reader(msg).u16_at(OF_FLOW_OFF_ETHER_TYPE);
}

void of_free_member_list(of_flow_member* head) {
  while (head) {
    of_flow_member* next = head->next;
    delete head;
    head = next;
  }
}

bool of_flow_has_group_member(const fd_entry* flow) {
  for (const of_flow_member* m = flow->members; m; m = m->next)
    if (m->group_id != OF_GROUP_NONE) return true;
  return false;
}

bool openflow_generic_mode_copy_members(fd_entry* flow, std::span<const uint8_t> msg,
                                        uint32_t first, uint32_t count) {
  Reader r(msg);
  of_flow_member* before = flow->members;
  while (before && before->next)
    before = before->next;
  uint16_t count_before = flow->member_count;
  bool was_empty = flow->members == nullptr;
  size_t at = first;
  for (uint32_t i = 0; i < count; ++i) {
    of_flow_member* m = copy_one_action(flow, r, at);
    if (!m) {
      // Nothing this call appended stays behind.
      if (before) {
        of_free_member_list(before->next);
        before->next = nullptr;
      } else {
        of_free_member_list(flow->members);
        flow->members = nullptr;
      }
      flow->member_count = count_before;
      of_lp_message_set("Error - %s: Copy Flow Action Failed", "openflow_generic_mode_copy_flow");
      return false;
    }
    uint32_t len = r.u16_at(at) & 0x3ffu;
    at += (flow->version == OFV_130 ? kV4Stride : kV1Stride) + len;
  }
  // A list begun here is the record's own.
  if (was_empty) of_members_hold(flow->members);
  return true;
}

fd_entry* openflow_generic_mode_copy_flow(std::span<const uint8_t> msg, uint16_t member_count) {
  auto* f = new (std::nothrow) fd_entry;
  if (!f) {
    of_lp_message_set("flow entry is null");
    return nullptr;
  }
  f->created_ms = ofa_timebase_ms();
  Reader r(msg);
  copy_match(r, f);
  file_printf(
      "MATCH:\nin_port_id:%d in_vlan_id:%d in_tagged:%d priority:%d vlan_upbit:%d "
      "forward_action::%d\n",
      f->in_port_id, f->in_vlan_id, f->in_tagged, f->priority, f->vlan_upbit, f->forward_action);
  file_printf(
      "ether_type:0x%x src_ip:0x%x src_ip_mask:0x%x dest_ip:0x%x dest_ip_mask:0x%x "
      "ip_protocol:%d meter_id:%d\n",
      f->ether_type, f->src_ip, f->src_ip_mask, f->dest_ip, f->dest_ip_mask, f->ip_protocol,
      f->meter_id);
  if (f->wildcards & OF_WC_IN_PORT) {
    f->is_generic = 1;
    ++g_generic_flow_cnt;
  }
  if (!openflow_generic_mode_copy_members(f, msg, OF_FLOW_OFF_MEMBERS, member_count)) {
    delete f;
    return nullptr;
  }
  return f;
}

fd_entry* openflow_generic_mode_copy_flow_action(fd_entry* flow, std::span<const uint8_t> msg) {
  uint16_t count = Reader(msg).u16_at(OF_FLOW_OFF_MEMBER_COUNT);
  return openflow_generic_mode_copy_members(flow, msg, OF_FLOW_OFF_MEMBERS, count) ? flow : nullptr;
}
