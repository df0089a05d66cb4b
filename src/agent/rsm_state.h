// What the stage driver has told the agent, readable by every layer: the agent's own stage index
// (of_corvu_state.stage), and the registration handle, boot mode and last stage driver stage that
// the recover callback records.
#pragma once

#include <cstdint>

#include "platform/rsm_stages.h"  // the agent's stage index (OFA_STAGE_*) and the stage table

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
