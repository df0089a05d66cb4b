// The stage driver's answers as the agent keeps them.
#include "agent/rsm_state.h"

#include "platform/rsmd.h"

ofa_rsm_state ofa_rsm{};

uint32_t openflowRsmStageGet() {
  return ofa_rsm.rsm_stage;
}
int openflowRsmHandleGet() {
  return ofa_rsm.handle;
}
int openflowRsmBootmodeGet() {
  return ofa_rsm.boot_mode != RSM_STAGE_COLD ? 1 : 0;
}
uint32_t openflowRsmBootmodeRaw() {
  return ofa_rsm.boot_mode;
}
