#include "platform/msg_queue.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "platform/wire.h"

struct msg_q {
  std::string name;
  size_t max_msgs = 0;
  size_t max_len = 0;
  std::mutex mu;
  std::deque<std::vector<uint8_t>> msgs;
  msgq_wakeup_fn wakeup = nullptr;
  void* wakeup_arg = nullptr;
  std::array<msgq_type_cb, 256> cbs{};
};

MSG_Q_ID msgQCreate(int max_msgs, int max_len, int /*options*/, const char* name) {
  if (max_msgs <= 0 || max_len <= 0) return nullptr;
  auto* q = new msg_q;
  q->name = name ? name : "";
  q->max_msgs = static_cast<size_t>(max_msgs);
  q->max_len = static_cast<size_t>(max_len);
  return q;
}

void msgQDelete(MSG_Q_ID q) {
  delete q;
}

int msgQSend(MSG_Q_ID q, const void* buf, size_t len) {
  if (!q || len > q->max_len) return -1;
  msgq_wakeup_fn fn;
  void* arg;
  {
    std::lock_guard<std::mutex> lock(q->mu);
    if (q->msgs.size() >= q->max_msgs) return -1;
    const auto* p = static_cast<const uint8_t*>(buf);
    q->msgs.emplace_back(p, p + len);
    fn = q->wakeup;
    arg = q->wakeup_arg;
  }
  if (fn) fn(arg);
  return 0;
}

int msgQReceive(MSG_Q_ID q, void* buf, size_t len, int /*timeout*/) {
  if (!q) return -1;
  std::vector<uint8_t> m;
  {
    std::lock_guard<std::mutex> lock(q->mu);
    if (q->msgs.empty()) return -1;
    m = std::move(q->msgs.front());
    q->msgs.pop_front();
  }
  std::memset(buf, 0, len);
  size_t n = std::min(len, m.size());
  std::memcpy(buf, m.data(), n);
  return static_cast<int>(n);
}

int msgQNumMsgs(MSG_Q_ID q) {
  if (!q) return 0;
  std::lock_guard<std::mutex> lock(q->mu);
  return static_cast<int>(q->msgs.size());
}

void msgQSetWakeup(MSG_Q_ID q, msgq_wakeup_fn fn, void* arg) {
  if (!q) return;
  std::lock_guard<std::mutex> lock(q->mu);
  q->wakeup = fn;
  q->wakeup_arg = arg;
}

void msgQSetcb(MSG_Q_ID q, uint8_t type, msgq_type_cb cb) {
  if (!q) return;
  std::lock_guard<std::mutex> lock(q->mu);
  q->cbs[type] = cb;
}

msgq_type_cb msgQGetcb(MSG_Q_ID q, uint8_t type) {
  if (!q) return nullptr;
  std::lock_guard<std::mutex> lock(q->mu);
  return q->cbs[type];
}

const char* msgQName(MSG_Q_ID q) {
  return q ? q->name.c_str() : "";
}

void msgq_message(uint8_t* buf, uint8_t type, uint8_t byte12, uint32_t word16) {
  ofa::wire::Writer w(buf, 20);
  w.zeros(20);
  w.u8_at(4, type);
  w.u8_at(12, byte12);
  w.u32_at(16, word16);
}
