// The agent's cooperative scheduler. A `thread` is a unit of work (a function, its argument and
// what it waits for), not an operating-system thread. `thread_fetch` blocks until a unit is ready
// and hands back a copy; `thread_call` runs it to its end.
//
// Priorities: read_pend first, then queue_high (events), queue_middle (reads, writes, timers,
// platform queue messages), queue_low (low events, debug channel). Timers are spread over four
// lists, each sorted by expiry with equal times first in, first out. The poll set is indexed
// directly by fd (1 to 4095).
//
// Accounting: every unit is added under its callback's name (the add macros pass the function's
// spelling), and `thread_call` counts per callback the calls, the total and the longest run time on
// CLOCK_MONOTONIC in nanoseconds. Each pass of the loop (from poll's return to the next wait, all
// the work of one wake-up) is counted the same way. Always on; the table is bounded.
#pragma once

#include <poll.h>
#include <sys/time.h>

#include <cstdint>

#include "platform/msg_queue.h"

struct thread;
struct thread_master;
struct lib_globals;

using thread_func_t = int (*)(thread*);

// Unit types (the list a unit waits in).
enum : uint8_t {
  THREAD_READ = 0,
  THREAD_WRITE = 1,
  THREAD_TIMER = 2,
  THREAD_EVENT = 3,
  THREAD_QUEUE = 4,
  THREAD_UNUSED = 5,
  THREAD_READ_HIGH = 6,
  THREAD_READ_PEND = 7,
  THREAD_EVENT_LOW = 8,
};

// Unit origins and priorities.
enum : uint8_t { THREAD_ORIGIN_PLAIN = 0, THREAD_ORIGIN_MSGQ = 1, THREAD_ORIGIN_EVIO = 2 };
enum : uint8_t { THREAD_PRIORITY_HIGH = 0, THREAD_PRIORITY_MIDDLE = 1, THREAD_PRIORITY_LOW = 2 };

inline constexpr int THREAD_MAX_FD = 4096;
inline constexpr int THREAD_TIMER_LISTS = 4;
inline constexpr uint32_t THREAD_HEARTBEAT_DEFAULT = 60;
inline constexpr uint32_t THREAD_MSGQ_BUF_SIZE = 1072;
inline constexpr short THREAD_POLLIN = 1;   // POLLIN
inline constexpr short THREAD_POLLOUT = 4;  // POLLOUT

struct thread {
  thread* next;
  thread* prev;
  thread_master* master;
  lib_globals* zg;
  thread_func_t func;
  void* arg;
  uint8_t type;
  uint8_t origin;
  uint8_t priority;
  uint8_t index;  // timer list
  union {
    int fd;
    uintptr_t val;
    timeval expiry;
  } u;
  const char* name;   // the callback's name, for the accounting
  uint64_t start_ns;  // when thread_fetch handed the unit over (0: not handed over)
};

#define THREAD_ARG(t) ((t)->arg)
#define THREAD_FD(t) ((t)->u.fd)
#define THREAD_VAL(t) ((t)->u.val)

struct thread_list {
  thread* head;
  thread* tail;
  uint32_t count;
};

// Hooks of a worker I/O service bound to the scheduler (`thread_evio_start`).
struct thread_evio_hooks {
  // May lower *timeout_ms (-1 waits for ever) and raise *nfds.
  void (*pre_select)(void* ctx, int* timeout_ms, int* nfds);
  // Delivers ready items with thread_add_evio_item.
  void (*post_select)(void* ctx, lib_globals* zg);
  void* ctx;
};

// Run-time accounting of one callback (or of the loop's passes).
struct thread_stat {
  thread_func_t func;  // null for the shared overflow row and the passes
  const char* name;
  uint64_t calls;
  uint64_t total_ns;
  uint64_t longest_ns;
};

// Callbacks in the order they first ran; once THREAD_STATS_MAX - 1 are known, the rest share the
// last row, named "(other)".
inline constexpr uint32_t THREAD_STATS_MAX = 32;
struct thread_stats {
  thread_stat callback[THREAD_STATS_MAX];
  uint32_t used;
  thread_stat pass;        // named "(loop pass)"
  uint64_t pass_start_ns;  // 0 while the loop waits
};

// Callback of a platform queue message: the 1072-byte buffer.
using thread_msgq_cb_t = void (*)(void* msg);

struct thread_master {
  thread_list queue_high;
  thread_list queue_middle;
  thread_list queue_low;
  uint32_t timer_index;
  thread_list timer[THREAD_TIMER_LISTS];
  thread_list read_pend;
  thread_list read_high;
  thread_list read;
  thread_list write;
  thread_list event;
  thread_list event_low;
  thread_list unuse;
  pollfd pollfd_set[THREAD_MAX_FD];
  pollfd poll_copy[THREAD_MAX_FD];
  int max_fd;
  uint32_t alloc;
  thread_evio_hooks* evio;
  thread_msgq_cb_t asp_default_cb;
  MSG_Q_ID asp_msgq;
  int wakeup_pipe[2];
  thread* wakeup_thread;
  timeval last_heartbeat;
  uint32_t heartbeat_interval;
  int swd_handle;     // watchdog handle, -1 when not registered
  timeval swd_past;   // last watchdog feed as swd_hello keeps it
  int low_fd[2];      // fds whose ready units go to queue_low (debug channel, routing client)
  volatile int stop;  // set by thread_master_stop; thread_fetch then returns null
  uint32_t msgq_dropped;
  thread_stats stats;
};

// Library globals: what the agent needs of the routing-suite library (the scheduler, a protocol
// word, the process name).
struct lib_globals {
  thread_master* master;
  uint32_t protocol;
  char name[80];
};

lib_globals* lib_create(const char* name);
int lib_start(lib_globals* zg);
void lib_stop(lib_globals* zg);  // frees the scheduler and the globals

// --- adding units; each returns the unit, or null -------------------------------------------
// Each takes the callback's name last; the macro of the same name passes the callback's spelling,
// so that callers write thread_add_read(zg, func, arg, fd).
thread*(thread_add_read)(lib_globals* zg, thread_func_t func, void* arg, int fd, const char* name);
thread*(thread_add_read_high)(lib_globals* zg, thread_func_t func, void* arg, int fd,
                              const char* name);
thread*(thread_add_write)(lib_globals* zg, thread_func_t func, void* arg, int fd, const char* name);
thread*(thread_add_timer)(lib_globals* zg, thread_func_t func, void* arg, long seconds,
                          const char* name);
thread*(thread_add_timer_timeval)(lib_globals* zg, thread_func_t func, void* arg, timeval tv,
                                  const char* name);
thread*(thread_add_timer_msec)(lib_globals* zg, thread_func_t func, void* arg, long msec,
                               const char* name);
thread*(thread_add_event)(lib_globals* zg, thread_func_t func, void* arg, uintptr_t val,
                          const char* name);
thread*(thread_add_event_low)(lib_globals* zg, thread_func_t func, void* arg, uintptr_t val,
                              const char* name);
thread*(thread_add_queue_low)(lib_globals* zg, thread_func_t func, void* arg, uintptr_t val,
                              const char* name);
thread*(thread_add_read_pend)(lib_globals* zg, thread_func_t func, void* arg, uintptr_t val,
                              const char* name);
thread*(thread_enqueue_read_middle)(lib_globals* zg, thread_func_t func, void* arg, int fd,
                                    const char* name);
// A ready item of a bound worker service (origin 2), straight into queue_middle.
thread*(thread_add_evio_item)(lib_globals* zg, thread_func_t func, void* arg, uintptr_t val,
                              const char* name);
void(thread_execute)(lib_globals* zg, thread_func_t func, void* arg, uintptr_t val,
                     const char* name);

#define thread_add_read(zg, func, arg, fd) (thread_add_read)(zg, func, arg, fd, #func)
#define thread_add_read_high(zg, func, arg, fd) (thread_add_read_high)(zg, func, arg, fd, #func)
#define thread_add_write(zg, func, arg, fd) (thread_add_write)(zg, func, arg, fd, #func)
#define thread_add_timer(zg, func, arg, s) (thread_add_timer)(zg, func, arg, s, #func)
#define thread_add_timer_timeval(zg, func, arg, tv) \
  (thread_add_timer_timeval)(zg, func, arg, tv, #func)
#define thread_add_timer_msec(zg, func, arg, ms) (thread_add_timer_msec)(zg, func, arg, ms, #func)
#define thread_add_event(zg, func, arg, val) (thread_add_event)(zg, func, arg, val, #func)
#define thread_add_event_low(zg, func, arg, val) (thread_add_event_low)(zg, func, arg, val, #func)
#define thread_add_low_event(zg, func, arg, val) (thread_add_event_low)(zg, func, arg, val, #func)
#define thread_add_queue_low(zg, func, arg, val) (thread_add_queue_low)(zg, func, arg, val, #func)
#define thread_add_read_pend(zg, func, arg, val) (thread_add_read_pend)(zg, func, arg, val, #func)
#define thread_enqueue_read_middle(zg, func, arg, fd) \
  (thread_enqueue_read_middle)(zg, func, arg, fd, #func)
#define thread_add_evio_item(zg, func, arg, val) (thread_add_evio_item)(zg, func, arg, val, #func)
#define thread_execute(zg, func, arg, val) (thread_execute)(zg, func, arg, val, #func)

// --- removing, running ------------------------------------------------------------------------
void thread_cancel(thread* t);
void thread_cancel_event_low(lib_globals* zg, void* arg);
long thread_timer_remain_second(const thread* t);
thread* thread_fetch(lib_globals* zg, thread* out);
// Runs the unit and accounts its run time to its callback.
void thread_call(thread* t);
// How long a pass may wait at `now`: zero with ready units, the time to the earliest timer (0 s
// 10 us when it is already due), false to wait for ever.
bool thread_timer_wait(const thread_master* m, timeval now, timeval* wait);

// --- platform binding ---------------------------------------------------------------------------
// Binds the platform queue: default callback, wake-up pipe, watchdog. 0, or -1 without queue
// support.
int thread_asp_start(lib_globals* zg, thread_msgq_cb_t default_cb, MSG_Q_ID msgq);
// Wake-up for msgQSetWakeup; safe from any thread and from a signal handler.
void thread_asp_wakeup(void* zg);
void thread_evio_start(lib_globals* zg, thread_evio_hooks* hooks);
void thread_heartbeat_set(lib_globals* zg, uint32_t seconds);
// Marks an fd whose ready units go to queue_low (slot 0 debug channel, 1 routing client).
void thread_set_low_priority_fd(lib_globals* zg, int which, int fd);
// Asks the loop to end: thread_fetch returns null at its next pass. Safe from a signal handler.
void thread_master_stop(lib_globals* zg);

// --- accounting ---------------------------------------------------------------------------------
const thread_stats* thread_stats_get(const lib_globals* zg);
// The clock of the accounting, CLOCK_MONOTONIC in ns; a test may set its own (null: the real one).
uint64_t thread_clock_ns();
void thread_stats_set_clock(uint64_t (*now_ns)());

thread_master* thread_master_create();
void thread_master_finish(thread_master* m);

// --- time helpers -------------------------------------------------------------------------------
timeval timeval_adjust(timeval a);
timeval timeval_subtract(timeval a, timeval b);
timeval timeval_add(timeval a, timeval b);
timeval timeval_sub(timeval a, timeval b);
int timeval_cmp(timeval a, timeval b);
long timeval_ceil(timeval a);   // whole seconds, rounded up
long timeval_floor(timeval a);  // whole seconds, rounded down
timeval timeutil_int2tv(long seconds);
timeval timeutil_msec2tv(long msec);
long timeutil_msec2secround(long msec);
timeval timeutil_uptime();  // monotonic time since boot
