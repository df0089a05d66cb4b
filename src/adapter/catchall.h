// Catch-all entries, the family-neutral side: the per-port catch-all records, the six port
// catch-all operations (slots 5, 6, 7: add, update, remove, in L2 and L3 forms that share the
// slot) and the chip's default-entry update (slot 4). They answer 1 for success and 0 for
// failure; a family without the slot counts the operation as done (1), so on `ard`, which has
// no port slots, a port catch-all exists only in its record.
#pragma once

#include <cstdint>

struct of_chip_entry;

inline constexpr uint32_t OF_CATCHALL_NO_HANDLE = 0xffffffffu;
inline constexpr uint16_t OF_CATCHALL_VALID = 0x8000;
inline constexpr uint16_t OF_CATCHALL_NO_PORT = 0xffff;

// One port's catch-all record. A catch-all's handle is its port id. The record the port
// database was made of also held four further words, 40 groups of six words and 4095 words;
// nothing reads them, so they are not kept.
struct of_catchall_port {
  uint16_t cam_port_id = OF_CATCHALL_NO_PORT;
  uint16_t flags = 0;  // OF_CATCHALL_VALID once the port's catch-all set was programmed
  uint32_t l2_catchall_handle = OF_CATCHALL_NO_HANDLE;
  uint32_t l3_catchall_handle = OF_CATCHALL_NO_HANDLE;
};

inline constexpr int32_t OF_CATCHALL_PORTS = 289;
extern of_catchall_port g_openflow_portdb_lp[OF_CATCHALL_PORTS];

// The record of a port's port_db_index; null outside 0 to 288.
of_catchall_port* lp_openflow_port_entry(int32_t index);
// Back to fresh: no port, not valid, no handles. A null record is reported.
void lp_openflow_reset_port_default_cams(of_catchall_port* rec);
// Every record reset (start-up and a global enable).
void lp_openflow_init_port_db();

// Port catch-alls. `add` stores the port id into *handle before the slot runs.
int of_dpx_l2flow_port_catchall_add(uint16_t port_id, uint32_t* handle, uint8_t default_action);
int of_dpx_l3flow_port_catchall_add(uint16_t port_id, uint32_t* handle, uint8_t default_action);
int of_dpx_l2flow_port_catchall_upd(uint16_t port_id, uint32_t handle, uint8_t default_action);
int of_dpx_l3flow_port_catchall_upd(uint16_t port_id, uint32_t handle, uint8_t default_action);
int of_dpx_l2flow_port_catchall_remove(uint16_t port_id, uint32_t handle);
int of_dpx_l3flow_port_catchall_remove(uint16_t port_id, uint32_t handle);

// The chip's default entries with a new default action (slot 4).
int of_dpx_catchall_modify(of_chip_entry* chip, uint8_t default_action);
