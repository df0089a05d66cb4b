// The platform's message queue: a bounded in-process queue of fixed-size messages with a wake-up
// callback, so that any thread can post to the main thread's scheduler.
//
// A message is at most `max_len` bytes. The scheduler reads its type byte at offset 4, a byte at
// offset 12 and a big-endian word at offset 16 (see msgq_message below).
#pragma once

#include <cstddef>
#include <cstdint>

struct msg_q;
using MSG_Q_ID = msg_q*;
using msgq_wakeup_fn = void (*)(void* arg);
using msgq_type_cb = void (*)(void* msg);

// Queue message types the scheduler dispatches itself.
inline constexpr uint8_t MSGQ_TYPE_RSM = 15;
inline constexpr uint8_t MSGQ_TYPE_ISC = 18;
inline constexpr uint8_t MSGQ_TYPE_SMI = 21;

MSG_Q_ID msgQCreate(int max_msgs, int max_len, int options, const char* name);
void msgQDelete(MSG_Q_ID q);
// Copies `len` bytes (at most max_len) to the tail; 0, or -1 when full or too long. Calls the
// wake-up function after a successful post. Safe from any thread.
int msgQSend(MSG_Q_ID q, const void* buf, size_t len);
// Takes the head into `buf` (zero-filled up to `len`); the message's length, or -1 when empty.
int msgQReceive(MSG_Q_ID q, void* buf, size_t len, int timeout);
int msgQNumMsgs(MSG_Q_ID q);
void msgQSetWakeup(MSG_Q_ID q, msgq_wakeup_fn fn, void* arg);
// Callback per message type (0 to 255); null when none.
void msgQSetcb(MSG_Q_ID q, uint8_t type, msgq_type_cb cb);
msgq_type_cb msgQGetcb(MSG_Q_ID q, uint8_t type);
const char* msgQName(MSG_Q_ID q);

// Builds a queue message: type byte at 4, byte at 12, big-endian word at 16. `buf` holds >= 20.
void msgq_message(uint8_t* buf, uint8_t type, uint8_t byte12, uint32_t word16);
