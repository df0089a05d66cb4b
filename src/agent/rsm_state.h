// What the stage driver has told the agent, readable by every layer: the agent's own stage index
// (of_corvu_state.stage), and the registration handle, boot mode and last stage driver stage that
// the recover callback records.
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

struct ofa_rsm_state {
  int32_t handle = -1;     // -1 until registered
  uint32_t boot_mode = 0;  // 1002 cold, 1003 warm, 0 before any stage
  uint32_t rsm_stage = 0;  // the stage driver's last stage
};
extern ofa_rsm_state ofa_rsm;

uint32_t openflowRsmStageGet();
int openflowRsmHandleGet();
// 1 unless the boot mode is cold (1002).
int openflowRsmBootmodeGet();
uint32_t openflowRsmBootmodeRaw();  // 1002, 1003 or 0 before any stage
