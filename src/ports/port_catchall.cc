#include "ports/port_catchall.h"

#include "adapter/catchall.h"
#include "agent/agent_globals.h"
#include "agent/trace.h"
#include "chip/chip_table.h"
#include "chip/if_table.h"
#include "foundation/kprintf.h"
#include "ports/port_mask.h"

namespace {

// "%p" of the agent's formatter: the port number.
struct port_text {
  explicit port_text(uint16_t port) { ksnprintf(text, sizeof text, "%p", port); }
  char text[12];
};

of_if_entry* local_port(uint16_t port_id) {
  of_if_entry* e = ofLookupIfEntrybyPortId(port_id);
  return e && e->is_local ? e : nullptr;
}

void remove_one(uint16_t port_id, uint32_t* handle, int (*remove)(uint16_t, uint32_t),
                const char* kind) {
  if (*handle == OF_CATCHALL_NO_HANDLE) return;
  port_text name(port_id);
  if (!remove(port_id, *handle)) {
    file_printf("OPENFLOW HARDWARE: %s CatchAll Cam removal for port %s failed \n", kind,
                name.text);
    return;
  }
  ofa_debug_printf("OPENFLOW HARDWARE:%s CatchAll Cam removal for port %s success\n", kind,
                   name.text);
  *handle = OF_CATCHALL_NO_HANDLE;
}

}  // namespace

int lp_cam_add_openflow_catchall_cams(const of_port_mask* mask) {
  for (uint16_t p = port_mask_get_first_port(mask); p != OF_PORT_MASK_END;
       p = port_mask_get_next_port(mask, p)) {
    if (!is_physical_port(p)) continue;
    of_if_entry* e = local_port(p);
    if (!e) continue;
    of_catchall_port* rec = lp_openflow_port_entry(e->port_db_index);
    if (!rec) return 0;
    if (rec->flags & OF_CATCHALL_VALID) {
      ofa_debug_printf("OPENFLOW HARDWARE: Error - Openflow catchall entries Already programmed\n");
      return 0;
    }
    int type = port_is_openflow_type(p);
    rec->flags |= OF_CATCHALL_VALID;
    rec->cam_port_id = p;
    rec->l2_catchall_handle = rec->l3_catchall_handle = OF_CATCHALL_NO_HANDLE;
    if (type == OF_PORT_TYPE_L23) continue;
    uint32_t handle = OF_CATCHALL_NO_HANDLE;
    uint8_t action = g_openflow_lp.default_action;
    bool l2 = type == OF_PORT_TYPE_L2;
    int ok = l2 ? of_dpx_l2flow_port_catchall_add(p, &handle, action)
                : of_dpx_l3flow_port_catchall_add(p, &handle, action);
    port_text name(p);
    if (!ok) {
      file_printf("OPENFLOW FORWARDING:Catchall L2ACL Failed for port %s\n", name.text);
      continue;
    }
    (l2 ? rec->l2_catchall_handle : rec->l3_catchall_handle) = handle;
    file_printf("OPENFLOW HARDWARE:Catchall L2ACL Success for port %s\n", name.text);
  }
  return 1;
}

int lp_cam_rem_openflow_catchall_cams(uint16_t port_id) {
  of_if_entry* e = local_port(port_id);
  of_catchall_port* rec = e ? lp_openflow_port_entry(e->port_db_index) : nullptr;
  if (!rec) return 0;
  remove_one(port_id, &rec->l2_catchall_handle, of_dpx_l2flow_port_catchall_remove, "L2ACL");
  remove_one(port_id, &rec->l3_catchall_handle, of_dpx_l3flow_port_catchall_remove, "L3ACL");
  for (uint8_t& b : e->dflt_entries)
    b = 0;
  return 1;
}

void lp_cam_rem_openflow_catchall_cams_for_portmask(const of_port_mask* mask) {
  auto remove = [](uint16_t p) {
    if (!lp_cam_rem_openflow_catchall_cams(p))
      ofa_debug_printf("OPENFLOW HARDWARE: lp_cam_rem_openflow_catchall_cams failed \n");
  };
  if (!mask) {
    avl_node* cursor = nullptr;
    for (of_if_entry* e = of_get_first_port(&cursor); e; e = of_get_next_port(&cursor))
      remove(e->port_id);
    return;
  }
  for (uint16_t p = port_mask_get_first_port(mask); p != OF_PORT_MASK_END;
       p = port_mask_get_next_port(mask, p)) {
    if (is_physical_port(p) && local_port(p)) remove(p);
  }
}

void openflow_lp_interface_reprogram_catch_all_entry() {
  ofa_debug_printf(
      "info - Openflow reprogramming default catch all to drop or send to controller\n");
  uint8_t action = g_openflow_lp.default_action;
  avl_node* cursor = nullptr;
  for (of_if_entry* e = of_get_first_port(&cursor); e; e = of_get_next_port(&cursor)) {
    if (!e->of_enabled || e->of_hybrid) continue;
    const of_catchall_port* rec = lp_openflow_port_entry(e->port_db_index);
    if (!rec) continue;
    if (e->l3_mode == 0) {
      of_dpx_l2flow_port_catchall_upd(e->port_id, rec->l2_catchall_handle, action);
    } else if (e->l3_mode == 1) {
      of_dpx_l3flow_port_catchall_upd(e->port_id, rec->l3_catchall_handle, action);
    }
  }
  for (of_chip_entry* c = ofGetFirstChip(&cursor); c; c = ofGetNextChip(&cursor))
    of_dpx_catchall_modify(c, action);
}
