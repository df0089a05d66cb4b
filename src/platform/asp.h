// Process framework stand-ins: process identity, signals, the software watchdog and the platform
// services whose messages arrive on the queue (isc, smi).
#pragma once

#include <sys/time.h>

#include <cstdint>

#include "platform/msg_queue.h"

int ASPInit(const char* name, int sw, int a, int b, int c);
void ASPExit();
int KBL_ASPMainLoop(int flags, MSG_Q_ID msgq);

// The watchdog: a handle, and hello returns the seconds until it must be fed again.
int swd_register();
int swd_hello(int handle, timeval* past);
inline constexpr int SWD_INTERVAL_SECONDS = 60;

void setMySwitch(int sw);
int getMySwitch();
// Puts the default dispositions back for the usual signals.
void tvr_sigdefaults(const char* name);

// Platform messages of types 18 and 21. No Linux service posts them; they are counted.
void isc_process(uint8_t kind, uint32_t value);
void smi_process(uint8_t kind, uint32_t value);
uint32_t asp_isc_count();
uint32_t asp_smi_count();
