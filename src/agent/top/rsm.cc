// State synchronization: registration with the stage driver, the recover callback that walks the
// stages and gates the manager link, dump and update callbacks, warm recovery of the chip table.
#include "agent/top/rsm.h"

#include <cstdio>
#include <cstring>

#include "agent/agent_globals.h"
#include "agent/reset.h"
#include "agent/status.h"
#include "agent/trace.h"
#include "backends/chip_family.h"
#include "chip/chip_event.h"
#include "chip/chip_table.h"
#include "manager/mxl.h"
#include "platform/rsmd.h"

namespace {

struct rsm_state_t {
  rsm_callbacks callbacks;
  rsm_registration registration;
};

// The stage rows of the registration.
constexpr rsm_stage_row kStages[2] = {
    {RSM_STAGE_CLIENT_INIT, "OF_CLIENT_INIT"},
    {RSM_STAGE_WARM_CLIENT_INIT, "OF_WARM_CLIENT_INIT"},
};

rsm_state_t rsm_state = {
    {openflowRsmRecover, openflowRsmRecvUpdate, openflowRsmSendDump, openflowRsmRecvDump},
    {},
};

bool g_dump_received = false;
int openflow_ha_state = 1;

// The chip record of local chip `c` of this slot, as HSL would have announced it.
of_chip_event_record warm_chip_record(uint32_t c) {
  const ofa_hw_resources& hw = openflowAgtPcb.hw;
  uint32_t slot = openflowAgtPcb.my_slot;
  of_chip_event_record rec{};
  rec.slot = slot;
  rec.local_chip_id = c;
  rec.ifindex = ((slot << 22) & 0x3c00000u) | 0x84000000u | ((c << 7) & 0xf80u);
  rec.chip_type = c < SYS_MAX_CHIPS_PER_SLOT ? hw.slot_params.chips[c].type : 0;
  return rec;
}

}  // namespace

int openflowRsmInit() {
  rsm_registration& reg = rsm_state.registration;
  reg = rsm_registration{};
  std::memcpy(reg.svc, of_corvu_state.rsm_svc, sizeof reg.svc);
  std::memcpy(reg.inst, of_corvu_state.rsm_inst, sizeof reg.inst);
  reg.group = of_corvu_state.rsm_group;
  std::memcpy(reg.atom, of_corvu_state.rsm_atom, sizeof reg.atom);
  reg.callbacks = &rsm_state.callbacks;
  reg.nstages = 2;
  reg.stages = kStages;
  file_printf("Registering with RSM, svc: %.16s, inst: %.16s, atom: %.16s\n", reg.svc, reg.inst,
              reg.atom);
  of_corvu_state.rsm_group = 0;
  int handle = rsmd_register(&reg, of_corvu_state.msgq);
  of_corvu_state.rsm_handle = handle;
  if (handle < 0) {
    file_printf("Failed to register with RSM, hndl: %d\n", handle);
    return OFA_E_BAD_OR_MISSING;
  }
  ofa_rsm.handle = handle;
  file_printf("Successfully registered with RSM, hndl: %d.", handle);
  of_corvu_state.stage = OFA_STAGE_STANDBY;
  return 0;
}

uint32_t openflowRsmRecover(uint32_t stage) {
  file_printf("%s: called..", __func__);
  const rsm_stage_info* row = rsm_stage_find(stage);
  if (row) file_printf("%s", row->recover);
  if (row && row->boot != rsm_boot::none) ofa_rsm.boot_mode = stage;
  if (row && row->recorded) ofa_rsm.rsm_stage = stage;
  of_corvu_state.stage = row ? row->agent_stage : OFA_STAGE_UNKNOWN;
  if (stage == RSM_STAGE_ACTIVE && (openflowAgtPcb.hw.of_flags & OF_PROFILE)) {
    if (ofa_rsm.handle >= 0 && ofa_rsm.boot_mode == RSM_STAGE_WARM) {
      ofa_process_warm_recovery();
    }
    ofa_send_register_msg();
    file_printf("OPENFLOW Agent register with manager\n");
  }
  uint32_t next = row ? row->next : 0;
  file_printf("%s: Current Stage  %d, Next Stage %d\n", __func__, static_cast<int>(stage),
              static_cast<int>(next));
  return next;
}

int openflowRsmRecvUpdate(void*, int, int) {
  file_printf("%s: called..", __func__);
  return 0;
}

int openflowRsmSendDump(void*, int version, int tid) {
  file_printf("send dump, vers: %d, tid: %d", version, tid);
  rsmd_notify_status(of_corvu_state.rsm_handle, RSM_STATUS_DUMP_SENT, 0);
  rsmd_notify_status(of_corvu_state.rsm_handle, RSM_STATUS_DUMP_DONE, 0);
  return 0;
}

int openflowRsmRecvDump(void*, int version, int sgno) {
  file_printf("recv dump, vers: %d, sgno: %d", version, sgno);
  if (!g_dump_received) {
    file_printf("recv dump for first time");
    g_dump_received = true;
  } else {
    file_printf("recv dump");
  }
  return 0;
}

int openflowRsmStart() {
  file_printf("%s: called..", __func__);
  return 0;
}

int openflowRsmSendUpdate() {
  file_printf("%s: called..", __func__);
  return 0;
}

const char* openflowRsmStageName(uint32_t stage) {
  return rsm_agent_stage_name(stage);
}

void ofa_process_warm_recovery() {
  uint32_t family = of_chip_family();
  if (family == OF_FAMILY_ZIM) {
    uint32_t count = openflowAgtPcb.hw.slot_params.chip_count;
    for (uint32_t c = 0; c < count && c < SYS_MAX_CHIPS_PER_SLOT; ++c) {
      of_chip_event_record rec = warm_chip_record(c);
      ofProcessChipAdd(&rec, 1);
    }
    return;
  }
  of_chip_event_record rec = warm_chip_record(0);
  ofProcessChipAdd(&rec, 1);
}

void openflow_rsm_show(void (*cb)(const char* line)) {
  if (!cb) return;
  char line[96];
  cb("OPENFLOW Corvu State Synchronization summary:\n");
  std::snprintf(line, sizeof line, "    RSM HA %s\n",
                openflow_ha_state == 1 ? "Enabled" : "Disabled");
  cb(line);
  const rsm_stage_info* row = rsm_stage_find(ofa_rsm.rsm_stage);
  if (row && row->stage == RSM_STAGE_ACTIVE) {
    std::snprintf(line, sizeof line, "    Stage: %s, Startup: %s\n", row->name,
                  rsm_boot_name(ofa_rsm.boot_mode));
  } else {
    std::snprintf(line, sizeof line, "    Stage: %s\n",
                  row && row->in_summary ? row->name : "Unknown");
  }
  cb(line);
}

void openflowRsmReset() {
  rsm_state.registration = rsm_registration{};
  ofa_rsm.handle = -1;
  ofa_rsm.boot_mode = 0;
  ofa_rsm.rsm_stage = 0;
  g_dump_received = false;
}

namespace {
const ofa_reset_hook reset_hook{0, openflowRsmReset};
}  // namespace
