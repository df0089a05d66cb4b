#include "platform/asp.h"

#include <atomic>
#include <csignal>
#include <ctime>

namespace {
std::atomic<int> g_my_switch{0};
std::atomic<uint32_t> g_isc{0};
std::atomic<uint32_t> g_smi{0};
bool g_swd_registered = false;
}  // namespace

int ASPInit(const char* /*name*/, int sw, int, int, int) {
  g_my_switch = sw;
  return 0;
}

void ASPExit() {
  g_swd_registered = false;
}

int KBL_ASPMainLoop(int /*flags*/, MSG_Q_ID msgq) {
  return msgq ? 0 : -1;
}

int swd_register() {
  g_swd_registered = true;
  return 1;
}

// The watchdog of this platform only asks to be fed every interval; feeding records the time.
int swd_hello(int handle, timeval* past) {
  if (handle < 0 || !g_swd_registered) return SWD_INTERVAL_SECONDS;
  if (past) {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    past->tv_sec = ts.tv_sec;
    past->tv_usec = ts.tv_nsec / 1000;
  }
  return SWD_INTERVAL_SECONDS;
}

void setMySwitch(int sw) {
  g_my_switch = sw;
}
int getMySwitch() {
  return g_my_switch;
}

void tvr_sigdefaults(const char* /*name*/) {
  for (int sig : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGUSR1, SIGUSR2, SIGCHLD}) {
    std::signal(sig, SIG_DFL);
  }
}

void isc_process(uint8_t, uint32_t) {
  ++g_isc;
}
void smi_process(uint8_t, uint32_t) {
  ++g_smi;
}
uint32_t asp_isc_count() {
  return g_isc;
}
uint32_t asp_smi_count() {
  return g_smi;
}
