// The agent's process-wide records: the process control block `openflowAgtPcb` with the hardware
// resources learnt at start-up, the platform-facing state `of_corvu_state` (stage, queue, manager
// socket and its counters, RSM identity) and the module table.
#pragma once

#include <cstdint>

#include "agent/thread.h"
#include "platform/evio.h"
#include "platform/msg_queue.h"
#include "platform/system.h"

struct of_slot_entry;
struct of_chip_entry;

// --- hardware resources -----------------------------------------------------------------------
inline constexpr uint16_t OF_PROFILE = 0x0001;  // of_flags bit 0
inline constexpr uint8_t OF_HW_PROFILE_OPENFLOW = 7;
inline constexpr uint32_t OF_NHOP_START = 0x10000000;
inline constexpr uint32_t OF_NHOP_END = 0x10001000;

struct ofa_hw_resources {
  uint16_t of_flags;
  uint8_t tcam_pid;
  uint8_t route_pid;
  uint32_t l2tcam_size;
  uint32_t l3tcam_size;
  uint32_t limit_52;  // stored, read by nobody
  uint32_t limit_56;
  uint32_t iivid_min;
  uint32_t iivid_max;
  uint32_t mgid_start;
  uint32_t mgid_end;
  uint32_t policer_start;  // meter id n uses policer policer_start + n - 1
  uint32_t policer_end;
  uint32_t nhop_start;
  uint32_t nhop_end;
  uint32_t dflt_iivid;
  uint32_t dflt_mgid;
  uint32_t all_ports_vlan;
  uint32_t all_ports_iivid;
  uint32_t all_ports_mgid;
  sys_slot_params slot_params;
};

inline constexpr uint32_t OFA_NAME_SIZE = 80;

struct of_corvu_state_t;

struct openflow_agt_pcb {
  lib_globals* lib;
  evio* evio_handle;
  ioss* ipc_ioss;
  ioss* timer_ioss;
  char name[OFA_NAME_SIZE];
  uint32_t model;
  int trace[5];
  of_corvu_state_t* state;
  ofa_hw_resources hw;
  uint32_t my_slot;
};

// --- platform-facing state ----------------------------------------------------------------------
// Manager socket counters, in order.
struct ofa_mi_counters {
  uint32_t tx_ok;
  uint32_t rx;
  uint32_t tx_fail;
  uint32_t rx_eintr;
  uint32_t rx_eagain;
  uint32_t rx_errno18;
  uint32_t rx_other_err;
  uint32_t rx_eof;
  uint32_t msgdone;
};

using ofa_mi_handler_fn = int (*)(int sock, uint32_t slot, const uint8_t* buf, uint32_t size);

struct of_corvu_state_t {
  uint32_t stage;
  MSG_Q_ID msgq;
  lib_globals* lib;
  int mi_sock;
  ofa_mi_counters mi;
  ofa_mi_handler_fn mi_handler;
  uint32_t is_agent;
  uint32_t model;
  char rsm_svc[16];
  char rsm_inst[16];
  int32_t rsm_group;
  char rsm_atom[16];
  int32_t rsm_handle;
};

extern openflow_agt_pcb openflowAgtPcb;
extern of_corvu_state_t of_corvu_state;

// --- agent-wide record (the flow engine adds its tables here) ------------------------------------
inline constexpr uint8_t OFA_MODE_GENERIC = 4;
inline constexpr uint8_t OFA_MODE_NONE = 0;
// The default action of the catch-all and default entries.
inline constexpr uint8_t OFA_DEFAULT_ACTION_DROP = 0;
inline constexpr uint8_t OFA_DEFAULT_ACTION_TO_CTRL = 1;

struct openflow_lp_globals {
  uint8_t mode;            // 4 generic mode, 0 not initialised
  uint8_t default_action;  // OFA_DEFAULT_ACTION_*
  void* pools[2];
  uint32_t counters[4];
};
extern openflow_lp_globals g_openflow_lp;
extern int openflow_init_completed;

// --- module table -------------------------------------------------------------------------------
struct openflow_module {
  uint32_t id;
  const char* name;
  int (*init)();
  int (*start)();
  int (*slot_up)(of_slot_entry* slot);
  int (*slot_down)(of_slot_entry* slot);
  int (*chip_up)(of_chip_entry* chip);
  int (*unused)(of_chip_entry* chip);
  int (*chip_warm_up)(of_chip_entry* chip);
};

inline constexpr uint32_t OF_MODULE_MI = 0;
inline constexpr uint32_t OF_MODULE_NL = 1;
inline constexpr uint32_t OF_MODULE_AGT = 2;
inline constexpr uint32_t OF_MODULE_MGR = 3;
inline constexpr uint32_t OF_MODULE_COUNT = 4;
extern openflow_module openflow_modules[OF_MODULE_COUNT];
