#include "adapter/catchall.h"

#include "adapter/chip_ops.h"
#include "agent/reset.h"
#include "agent/trace.h"
#include "chip/chip_table.h"
#include "chip/if_table.h"

of_catchall_port g_openflow_portdb_lp[OF_CATCHALL_PORTS];

namespace {

const ofa_reset_hook reset_hook{5, lp_openflow_init_port_db};

int chip_of(const of_if_entry* port) {
  return port->chip ? static_cast<int>(port->chip->chip_id) : -1;
}

of_if_entry* find_port(uint16_t port_id) {
  of_if_entry* port = ofLookupIfEntrybyPortId(port_id);
  if (!port) file_printf("port:%d doesn't exists\n", port_id);
  return port;
}

// The shape of the six port operations: the port, the family's slot (none counts as done), the
// call and its failure words.
template <typename Fn, typename... Args>
int port_op(const of_slot<Fn>& slot, of_if_entry* port, const char* failure, Args... args) {
  Fn fn = of_chip_op(slot);
  if (!fn) {
    file_printf("no handler for chip:%d port:%d", chip_of(port), port->port_id);
    return 1;
  }
  int rc = fn(port, args...);
  if (rc != 0) {
    file_printf(failure, port->port_id, chip_of(port), rc);
    return 0;
  }
  return 1;
}

int catchall_add(uint16_t port_id, uint32_t* handle, uint8_t action) {
  of_if_entry* port = find_port(port_id);
  if (!port) return 0;
  *handle = port_id;
  return port_op(of_port_def_ent_add_ioctl_fn, port,
                 "Unable to program catch all entry for port %d chip:%d rc:%d", *handle, action);
}

int catchall_upd(uint16_t port_id, uint32_t handle, uint8_t action) {
  of_if_entry* port = find_port(port_id);
  if (!port) return 0;
  return port_op(of_port_def_ent_upd_ioctl_fn, port,
                 "Unable to modify catch all entry for port %d chip:%d rc:%d", handle, action);
}

int catchall_remove(uint16_t port_id, uint32_t handle) {
  of_if_entry* port = find_port(port_id);
  if (!port) return 0;
  return port_op(of_port_def_ent_del_ioctl_fn, port,
                 "Unable to delete catch all entry for port %d chip:%d rc:%d", handle);
}

}  // namespace

of_catchall_port* lp_openflow_port_entry(int32_t index) {
  if (index < 0 || index >= OF_CATCHALL_PORTS) return nullptr;
  return &g_openflow_portdb_lp[index];
}

void lp_openflow_reset_port_default_cams(of_catchall_port* rec) {
  if (!rec) {
    file_printf("OPENFLOW: Error - lp_openflow_reset_port_default_cams - invalid port cam info\n");
    return;
  }
  *rec = of_catchall_port{};
}

void lp_openflow_init_port_db() {
  for (of_catchall_port& rec : g_openflow_portdb_lp)
    lp_openflow_reset_port_default_cams(&rec);
}

int of_dpx_l2flow_port_catchall_add(uint16_t port_id, uint32_t* handle, uint8_t default_action) {
  return catchall_add(port_id, handle, default_action);
}
int of_dpx_l3flow_port_catchall_add(uint16_t port_id, uint32_t* handle, uint8_t default_action) {
  return catchall_add(port_id, handle, default_action);
}
int of_dpx_l2flow_port_catchall_upd(uint16_t port_id, uint32_t handle, uint8_t default_action) {
  return catchall_upd(port_id, handle, default_action);
}
int of_dpx_l3flow_port_catchall_upd(uint16_t port_id, uint32_t handle, uint8_t default_action) {
  return catchall_upd(port_id, handle, default_action);
}
int of_dpx_l2flow_port_catchall_remove(uint16_t port_id, uint32_t handle) {
  return catchall_remove(port_id, handle);
}
int of_dpx_l3flow_port_catchall_remove(uint16_t port_id, uint32_t handle) {
  return catchall_remove(port_id, handle);
}

int of_dpx_catchall_modify(of_chip_entry* chip, uint8_t default_action) {
  file_printf("OPENFLOW Agent Chip default entries");
  of_chip_action_fn fn = of_chip_op(of_def_ent_upd_ioctl_fn);
  if (!fn) {
    file_printf("No default tcam entry upd handler for chip: %d", chip->chip_id);
    return 1;
  }
  int rc = fn(chip, default_action);
  if (rc != 0) {
    file_printf("Unable to update default tcam entry for chip %d, rc: %d", chip->chip_id, rc);
    return 0;
  }
  return 1;
}
