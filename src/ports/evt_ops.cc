// The manager's EVT add and delete: the port checks, the decision tables of a first add, an update
// over a record and a delete, and the chip family's slot 40.
#include "adapter/chip_ops.h"
#include "agent/trace.h"
#include "agent/trace_ids.h"
#include "chip/if_table.h"
#include "ports/evt.h"
#include "ports/vlan_table.h"

namespace {

// The four numbers of the EVT: ADD/UPD/DEL traces: out port, iivid, tag flag, out_vlan.
void row_trace(uint32_t id, const char* text, const of_evt_msg& m) {
  ofa_trace(OFACORE, 7, 4, id, text, m.out_port, m.iivid, m.is_out_vlan_tag, m.out_vlan);
}

void note(uint32_t id, const char* text) {
  ofa_trace(OFACORE, 7, 0, id, "%s", text);
}

// The VLANs a request names must be known: out_vlan when it leaves tagged, in_vlan for V-type.
bool vlans_known(const of_evt_msg& m, uint32_t no_out_id, uint32_t no_in_id) {
  if (m.is_out_vlan_tag && !of_lookup_vlan(m.out_vlan)) {
    ofa_trace(OFACORE, 3, 1, no_out_id, "outvlan:%d does not exist", m.out_vlan);
    return false;
  }
  if (m.type != OF_EVT_TYPE_PORT && !of_lookup_vlan(m.in_vlan)) {
    ofa_trace(OFACORE, 3, 1, no_in_id, "invlan:%d does not exist", m.in_vlan);
    return false;
  }
  return true;
}

uint8_t type_of(const of_evt_msg& m) {
  return m.type == OF_EVT_TYPE_PORT ? OF_EVT_TYPE_PORT : OF_EVT_TYPE_VLAN;
}

int program(of_if_entry* port, const of_evt_msg& m, uint32_t remove) {
  return of_dpx_process_evt_upd_hw(m.iivid, port, m.is_out_vlan_tag, m.out_vlan, remove);
}

int add_and_program(of_if_entry* port, const of_evt_msg& m) {
  uint8_t tag = m.is_out_vlan_tag ? 1 : 0;
  if (of_evt_add_entry(port, m.iivid, type_of(m), tag, m.out_vlan) != 0) return 0;
  return program(port, m, 0);
}

int update_and_program(of_if_entry* port, of_evt_entry* rec, const of_evt_msg& m) {
  of_evt_upd_entry(port, rec, m.iivid, m.is_out_vlan_tag ? 1 : 0, m.out_vlan);
  return program(port, m, 0);
}

int delete_and_program(of_if_entry* port, of_evt_entry* rec, const of_evt_msg& m) {
  if (of_evt_del_entry(port, rec, m.iivid) == 0) delete rec;
  return program(port, m, 1);
}

// The port of a request, or null with its trace; *result is what the request then answers.
of_if_entry* local_port(const of_evt_msg& m, uint32_t no_port_id, uint32_t remote_id, int* result) {
  uint16_t id = static_cast<uint16_t>(m.out_port & 0xffff);
  of_if_entry* port = ofLookupIfEntrybyPortId(id);
  if (!port) {
    ofa_trace(OFACORE, 3, 1, no_port_id, "Port:%d does not exists\n", id);
    *result = 0;
    return nullptr;
  }
  if (!port->is_local) {
    ofa_trace(OFACORE, 7, 1, remote_id, "Port:%d is a remote port\n", id);
    *result = 1;
    return nullptr;
  }
  return port;
}

}  // namespace

int lp_process_add_evt(std::span<const uint8_t> body) {
  of_evt_msg m = of_evt_msg_read(body);
  ofa_trace(OFACORE, 7, 5, OFA_TR_EVT_ADD, "iivid:%d type:%d outport:%d outvlan:%d tag_action:%d\n",
            m.iivid, m.type, m.out_port, m.out_vlan, m.tag_action);
  int result = 0;
  of_if_entry* port = local_port(m, OFA_TR_EVT_ADD_NO_PORT, OFA_TR_EVT_ADD_REMOTE, &result);
  if (!port) return result;
  switch (m.tag_action) {
    case 0:
    case 1:
      m.is_out_vlan_tag = 1;
      break;
    case 2:
      m.is_out_vlan_tag = 0;
      break;
    case 3:
      m.is_out_vlan_tag = m.type != OF_EVT_TYPE_PORT ? 1 : 0;
      break;
    default:
      return 0;
  }
  if (of_lookup_evt(port, m.iivid)) return of_dpx_process_evt_upd(port, m);
  return of_dpx_process_evt_add(port, m);
}

int lp_process_del_evt(std::span<const uint8_t> body) {
  of_evt_msg m = of_evt_msg_read(body);
  ofa_trace(OFACORE, 7, 3, OFA_TR_EVT_DEL, "iivid:%d type:%d outport:%d\n", m.iivid, m.type,
            m.out_port);
  int result = 0;
  of_if_entry* port = local_port(m, OFA_TR_EVT_DEL_NO_PORT, OFA_TR_EVT_DEL_REMOTE, &result);
  if (!port) return result;
  if (m.type != OF_EVT_TYPE_PORT) {
    m.is_out_vlan_tag = 1;
    m.out_vlan = m.in_vlan;
  } else {
    m.is_out_vlan_tag = 0;
  }
  return of_dpx_process_evt_del(port, m);
}

int of_dpx_process_evt_add(of_if_entry* port, const of_evt_msg& m) {
  if (!vlans_known(m, OFA_TR_EVT_ADD_NO_OUT_VLAN, OFA_TR_EVT_ADD_NO_IN_VLAN)) return 0;
  if (m.type == OF_EVT_TYPE_PORT) {
    if (!m.is_out_vlan_tag) {
      note(OFA_TR_EVT_ADD_P_DEFAULT, "Default setting in hw. No need to add an entry\n");
      return 0;
    }
    row_trace(OFA_TR_EVT_ADD_P_TAGGED, "EVT: ADD: (%d,%d)->(%d,%d)\n", m);
    return add_and_program(port, m);
  }
  if (!m.is_out_vlan_tag) {
    row_trace(OFA_TR_EVT_ADD_V_UNTAGGED, "EVT: ADD: (%d,%d)->(%d,%d)\n", m);
    return add_and_program(port, m);
  }
  if (const of_vlan_entry* out = of_lookup_vlan(m.out_vlan); out && out->iivid == m.iivid) {
    note(OFA_TR_EVT_ADD_V_DEFAULT, "Default setting in hw. No need to add an entry\n");
    return 0;
  }
  row_trace(OFA_TR_EVT_ADD_V_TAGGED, "EVT: ADD: (%d,%d)->(%d,%d)\n", m);
  return add_and_program(port, m);
}

int of_dpx_process_evt_upd(of_if_entry* port, const of_evt_msg& m) {
  if (!vlans_known(m, OFA_TR_EVT_UPD_NO_OUT_VLAN, OFA_TR_EVT_UPD_NO_IN_VLAN)) return 0;
  of_evt_entry* rec = of_lookup_evt(port, m.iivid);
  if (!rec || rec->type != type_of(m)) return 0;
  bool tagged = m.is_out_vlan_tag != 0, same = m.out_vlan == rec->out_vlan;
  constexpr const char* kInvalid = "EVT: Invalid case. EVT shouln't have an entry\n";
  if (rec->type == OF_EVT_TYPE_PORT) {
    if (!rec->is_tag) {
      note(OFA_TR_EVT_UPD_P_INVALID, kInvalid);
      return 0;
    }
    if (!tagged) {
      row_trace(OFA_TR_EVT_UPD_P_UNTAGGED, "EVT: DEL: (%d,%d)->(%d,%d)\n", m);
      return delete_and_program(port, rec, m);
    }
    if (same) {
      note(OFA_TR_EVT_UPD_P_SAME, "EVT: No need to update. Duplicate entry\n");
      return 0;
    }
    row_trace(OFA_TR_EVT_UPD_P_OTHER, "EVT: UPD: (%d,%d)->(%d,%d)\n", m);
    return update_and_program(port, rec, m);
  }
  bool to_in_vlan = m.out_vlan == m.in_vlan;
  if (!rec->is_tag) {
    if (!tagged) {
      note(OFA_TR_EVT_UPD_VU_UNTAGGED, "Duplicate\n");
      return 0;
    }
    if (to_in_vlan) {
      row_trace(OFA_TR_EVT_UPD_VU_IN, "EVT: DEL: (%d,%d)->(%d,%d)\n", m);
      return delete_and_program(port, rec, m);
    }
    row_trace(OFA_TR_EVT_UPD_VU_OTHER, "EVT: UPD: (%d,%d)->(%d,%d)\n", m);
    return update_and_program(port, rec, m);
  }
  if (!tagged) {
    row_trace(OFA_TR_EVT_UPD_VT_UNTAGGED, "EVT: UPD: (%d,%d)->(%d,%d)\n", m);
    return update_and_program(port, rec, m);
  }
  if (same) {
    note(to_in_vlan ? OFA_TR_EVT_UPD_VT_SAME_IN : OFA_TR_EVT_UPD_VT_SAME, kInvalid);
    return 0;
  }
  if (to_in_vlan) {
    row_trace(OFA_TR_EVT_UPD_VT_OTHER_IN, "EVT: DEL: (%d,%d)->(%d,%d)\n", m);
    return delete_and_program(port, rec, m);
  }
  row_trace(OFA_TR_EVT_UPD_VT_OTHER, "EVT: UPD: (%d,%d)->(%d,%d)\n", m);
  return update_and_program(port, rec, m);
}

int of_dpx_process_evt_del(of_if_entry* port, const of_evt_msg& m) {
  if (!vlans_known(m, OFA_TR_EVT_DEL_NO_OUT_VLAN, OFA_TR_EVT_DEL_NO_IN_VLAN)) return 0;
  of_evt_entry* rec = of_lookup_evt(port, m.iivid);
  if (!rec) {
    note(OFA_TR_EVT_DEL_DEFAULT, "Already in default state\n");
    return 1;
  }
  if (rec->type != type_of(m)) {
    note(OFA_TR_EVT_DEL_OTHER_TYPE, "IIVID belongs to different type\n");
    return 0;
  }
  row_trace(OFA_TR_EVT_DEL_DONE, "EVT: DEL: (%d,%d)->(%d,%d)\n", m);
  return delete_and_program(port, rec, m);
}

int of_dpx_process_evt_upd_hw(uint32_t iivid, of_if_entry* port, uint32_t is_tag, uint32_t out_vlan,
                              uint32_t remove) {
  uint32_t fam = of_chip_family();
  of_egr_vlan_trans_fn fn = of_chip_op(of_egr_vlan_trans_upd_ioctl_fn);
  if (!fn) {
    ofa_trace(OFACORE, 3, 1, OFA_TR_DPX_EVT_NO_HANDLER, "no handler for chip:%d", fam);
    return 0;
  }
  int rc = fn(static_cast<int32_t>(iivid), port, is_tag, out_vlan, remove);
  if (rc != 0) {
    ofa_trace(OFACORE, 3, 2, OFA_TR_DPX_EVT_FAILED, "Unable to program flow for chip:%d rc:%d", fam,
              rc);
    return 0;
  }
  return 1;
}
