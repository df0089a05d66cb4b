// The worker thread and its I/O services: one poll loop (`evio_run`) on its own thread, serving
// the IPC end point ipc/<name>.<slot> and a timer service. Callbacks run on the worker thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

struct evio;
struct ioss;
struct wt;

// Where an IPC request came from; ipcSend answers there.
struct ipc_src {
  std::string path;  // the sender's bound socket path, empty when it did not bind
};

using ipc_cb_fn = int (*)(uint32_t id, const ipc_src* src, const uint8_t* msg, size_t len);
using evio_timer_fn = void (*)(void* arg);

int evio_create(evio** out);
void evio_destroy(evio* e);  // after the worker has ended
int evio_register(evio* e, ioss* s);
// The worker's loop: serves the registered services until evio_stop. Returns 0.
int evio_run(void* e);
void evio_stop(evio* e);
void evio_wakeup(void* e);

// A timer service; `wakeup(arg)` is called when a timer is added from another thread.
int timer_ioss_create(ioss** out, void (*wakeup)(void*), void* arg);
// One-shot timer on the worker thread.
int timer_ioss_add(ioss* timer, long msec, evio_timer_fn fn, void* arg);
// The IPC end point `name` of this slot (a datagram socket under the run directory).
int ipc_ioss_create(ioss** out, const char* name, int flags, size_t max_msg, int n);
size_t ipc_max_msg_size(int kind);
void ioss_destroy(ioss* s);  // closes and unlinks; only after the worker has ended

// Callback for IPC requests of id (0 to 15).
int ipcRegisterCB(uint32_t id, ipc_cb_fn fn, void* arg);
// Sends `len` bytes back to `dst` from the IPC end point. 0 or -1.
int ipcSend(const ipc_src* dst, const void* body, size_t len);

// Starts fn(arg) on a new thread; 0 or a negative code. wt_join waits and gives fn's result.
int wt_exec(int (*fn)(void*), void* arg, wt** out);
int wt_join(wt* w);
