// State synchronization: registration with the stage driver, the recover callback that walks the
// stages, dump and update callbacks, and warm recovery of the chip table.
#pragma once

#include <cstdint>

#include "agent/rsm_state.h"

// 0, or OFA_E_BAD_OR_MISSING when the stage driver refuses the registration.
int openflowRsmInit();
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
