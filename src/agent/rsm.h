// State synchronization: registration with the stage driver, the recover callback that walks the
// stages, dump and update callbacks, and warm recovery of the chip table.
#pragma once

#include <cstdint>

// The agent's own stage index (of_corvu_state.stage).
enum : uint32_t {
  OFA_STAGE_COLD_BOOT = 0,
  OFA_STAGE_WARM_BOOT = 1,
  OFA_STAGE_CLIENT_INIT = 2,
  OFA_STAGE_WARM_CLIENT_INIT = 3,
  OFA_STAGE_ACTIVE = 4,
  OFA_STAGE_STARTUP_DONE = 5,
  OFA_STAGE_STANDBY = 6,
  OFA_STAGE_HALT = 7,
  OFA_STAGE_UNKNOWN = 12,
};

int openflowRsmInit();
uint32_t openflowRsmStageGet();
int openflowRsmHandleGet();
// 1 unless the boot mode is cold (1002).
int openflowRsmBootmodeGet();
uint32_t openflowRsmBootmodeRaw();  // 1002, 1003 or 0 before any stage
int openflowRsmStart();
int openflowRsmSendUpdate();
const char* openflowRsmStageName(uint32_t stage);

uint32_t openflowRsmRecover(uint32_t stage);
int openflowRsmRecvUpdate(void* x, int version, int tid);
int openflowRsmSendDump(void* x, int version, int tid);
int openflowRsmRecvDump(void* x, int version, int sgno);

void ofa_process_warm_recovery();

// Prints the summary through cb (one line per call).
void openflow_rsm_show(void (*cb)(const char* line));

// Forgets registration and stages (tests, shutdown).
void openflowRsmReset();
