#include "platform/rsmd.h"

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <thread>

#include "platform/system.h"

namespace {

struct Driver {
  std::mutex mu;
  std::condition_variable cv;
  bool registered = false;
  bool cancel = false;
  const rsm_callbacks* callbacks = nullptr;
  MSG_Q_ID msgq = nullptr;
  uint32_t statuses = 0;
  std::thread starter;
};

Driver& drv() {
  static Driver d;
  return d;
}

long start_delay_ms() {
  const char* v = std::getenv("OFA_RSM_DELAY_MS");
  if (!v || !*v) return 0;
  char* end = nullptr;
  long ms = std::strtol(v, &end, 10);
  return (end && *end == '\0' && ms > 0) ? ms : 0;
}

int post(MSG_Q_ID q, uint32_t stage) {
  uint8_t msg[20];
  msgq_message(msg, MSGQ_TYPE_RSM, 0, stage);
  return msgQSend(q, msg, sizeof msg);
}

void join_starter() {
  Driver& d = drv();
  {
    std::lock_guard<std::mutex> lock(d.mu);
    d.cancel = true;
  }
  d.cv.notify_all();
  if (d.starter.joinable()) d.starter.join();
}

}  // namespace

int rsmd_register(const rsm_registration* reg, MSG_Q_ID msgq) {
  if (!reg || !reg->callbacks || !reg->callbacks->recover || !msgq) return -1;
  join_starter();
  Driver& d = drv();
  uint32_t first = rsm_boot_stage(
      ofa_sys_platform().boot == ofa::platform::BootMode::warm ? rsm_boot::warm : rsm_boot::cold);
  {
    std::lock_guard<std::mutex> lock(d.mu);
    d.registered = true;
    d.cancel = false;
    d.callbacks = reg->callbacks;
    d.msgq = msgq;
  }
  long delay = start_delay_ms();
  if (delay == 0) return post(msgq, first) == 0 ? 1 : -1;
  d.starter = std::thread([delay, first, msgq] {
    Driver& dd = drv();
    std::unique_lock<std::mutex> lock(dd.mu);
    if (dd.cv.wait_for(lock, std::chrono::milliseconds(delay), [&] { return dd.cancel; })) return;
    lock.unlock();
    post(msgq, first);
  });
  return 1;
}

int rsmd_notify_status(int handle, int /*status*/, int /*x*/) {
  if (handle < 0) return -1;
  std::lock_guard<std::mutex> lock(drv().mu);
  ++drv().statuses;
  return 0;
}

void rsm_process(uint32_t stage) {
  Driver& d = drv();
  const rsm_callbacks* cbs;
  MSG_Q_ID q;
  {
    std::lock_guard<std::mutex> lock(d.mu);
    if (!d.registered) return;
    cbs = d.callbacks;
    q = d.msgq;
  }
  uint32_t next = cbs->recover(stage);
  if (next != 0) post(q, next);
}

void rsmd_shutdown() {
  join_starter();
  std::lock_guard<std::mutex> lock(drv().mu);
  drv().registered = false;
  drv().callbacks = nullptr;
  drv().msgq = nullptr;
}

int rsmd_post_stage(uint32_t stage) {
  MSG_Q_ID q;
  {
    std::lock_guard<std::mutex> lock(drv().mu);
    q = drv().msgq;
  }
  return q ? post(q, stage) : -1;
}

uint32_t rsmd_status_count() {
  std::lock_guard<std::mutex> lock(drv().mu);
  return drv().statuses;
}
