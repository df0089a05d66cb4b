// The scheduler: unit records and their recycling, the ready queues, timer lists, the poll set
// indexed by fd, the platform queue drain and its dispatcher, the watchdog feed.
#include "agent/thread.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "agent/status.h"
#include "agent/trace.h"
#include "platform/asp.h"
#include "platform/rsmd.h"
#include "platform/wire.h"

// The scheduler's assertions hold in every build (NDEBUG or not) and report through the C
// library as its assert would, naming "thread.c".
#undef NDEBUG
#include <assert.h>
#define THREAD_ASSERT(expr) \
  ((expr) ? static_cast<void>(0) : __assert_fail(#expr, "thread.c", __LINE__, __func__))

namespace {

// --- lists ------------------------------------------------------------------------------------

void list_add(thread_list* l, thread* t) {
  t->next = nullptr;
  t->prev = l->tail;
  if (l->tail) {
    l->tail->next = t;
  } else {
    l->head = t;
  }
  l->tail = t;
  l->count++;
}

// Inserts t behind `after` (null: at the head).
void list_add_after(thread_list* l, thread* after, thread* t) {
  if (!after) {
    t->prev = nullptr;
    t->next = l->head;
    if (l->head) {
      l->head->prev = t;
    } else {
      l->tail = t;
    }
    l->head = t;
  } else {
    t->prev = after;
    t->next = after->next;
    if (after->next) {
      after->next->prev = t;
    } else {
      l->tail = t;
    }
    after->next = t;
  }
  l->count++;
}

thread* list_delete(thread_list* l, thread* t) {
  if (t->next) {
    t->next->prev = t->prev;
  } else {
    l->tail = t->prev;
  }
  if (t->prev) {
    t->prev->next = t->next;
  } else {
    l->head = t->next;
  }
  t->next = t->prev = nullptr;
  l->count--;
  return t;
}

thread* list_pop(thread_list* l) {
  return l->head ? list_delete(l, l->head) : nullptr;
}

bool list_empty(const thread_list* l) {
  return l->head == nullptr;
}

// --- records ------------------------------------------------------------------------------------

void thread_add_unuse(thread_master* m, thread* t) {
  THREAD_ASSERT(t->next == nullptr && t->prev == nullptr);
  t->type = THREAD_UNUSED;
  t->func = nullptr;
  t->arg = nullptr;
  t->origin = THREAD_ORIGIN_PLAIN;
  THREAD_ASSERT(t->type == THREAD_UNUSED);
  list_add(&m->unuse, t);
}

thread* thread_get(lib_globals* zg, uint8_t type, thread_func_t func, void* arg, const char* name) {
  thread_master* m = zg->master;
  thread* t = list_pop(&m->unuse);
  if (!t) {
    t = static_cast<thread*>(std::calloc(1, sizeof(thread)));
    if (!t) return nullptr;
    m->alloc++;
  }
  t->type = type;
  t->master = m;
  t->func = func;
  t->arg = arg;
  t->zg = zg;
  t->origin = THREAD_ORIGIN_PLAIN;
  t->priority = THREAD_PRIORITY_MIDDLE;
  t->index = 0;
  std::memset(&t->u, 0, sizeof t->u);
  t->name = name;
  return t;
}

void enqueue(thread_master* m, thread* t, uint8_t priority) {
  t->type = THREAD_QUEUE;
  t->priority = priority;
  switch (priority) {
    case THREAD_PRIORITY_HIGH:
      list_add(&m->queue_high, t);
      break;
    case THREAD_PRIORITY_LOW:
      list_add(&m->queue_low, t);
      break;
    default:
      list_add(&m->queue_middle, t);
      break;
  }
}

thread_list* queue_of(thread_master* m, uint8_t priority) {
  switch (priority) {
    case THREAD_PRIORITY_HIGH:
      return &m->queue_high;
    case THREAD_PRIORITY_LOW:
      return &m->queue_low;
    default:
      return &m->queue_middle;
  }
}

// --- poll set -----------------------------------------------------------------------------------

void poll_set(thread_master* m, int fd, short bit) {
  m->pollfd_set[fd].fd = fd;
  m->pollfd_set[fd].events |= bit;
  if (fd > m->max_fd) m->max_fd = fd;
}

void poll_clear(thread_master* m, int fd, short bit) {
  if (fd <= 0 || fd >= THREAD_MAX_FD) return;
  pollfd& p = m->pollfd_set[fd];
  p.events &= static_cast<short>(~bit);
  if (p.events != 0) return;
  p.fd = -1;
  if (fd != m->max_fd) return;
  // Walk down to the next live entry; with none the stale max_fd stays.
  for (int i = fd - 1; i > 0; --i) {
    if (m->pollfd_set[i].fd != -1) {
      m->max_fd = i;
      return;
    }
  }
}

bool thread_check_fd_present(thread_master* m, int fd, short bit) {
  return fd > 0 && fd < THREAD_MAX_FD && (m->pollfd_set[fd].events & bit) != 0;
}

thread* add_fd_unit(lib_globals* zg, thread_func_t func, void* arg, int fd, const char* name,
                    uint8_t type, thread_list* list, short bit) {
  if (!zg || !zg->master || fd < 0) return nullptr;
  THREAD_ASSERT((fd > 0) && (fd < 4096));
  thread* t = thread_get(zg, type, func, arg, name);
  if (!t) return nullptr;
  t->u.fd = fd;
  list_add(list, t);
  poll_set(zg->master, fd, bit);
  return t;
}

// --- time ---------------------------------------------------------------------------------------

timeval now_tv() {
  return timeutil_uptime();
}

thread* add_timer(lib_globals* zg, thread_func_t func, void* arg, timeval interval,
                  const char* name) {
  if (!zg || !zg->master) return nullptr;
  thread_master* m = zg->master;
  thread* t = thread_get(zg, THREAD_TIMER, func, arg, name);
  if (!t) return nullptr;
  timeval now = now_tv();
  long long sec = static_cast<long long>(now.tv_sec) + interval.tv_sec;
  long long usec = static_cast<long long>(now.tv_usec) + interval.tv_usec;
  sec += usec / 1000000;
  usec %= 1000000;
  if (sec < 0 || sec > INT_MAX) sec = 0x7fffffff;
  t->u.expiry.tv_sec = static_cast<time_t>(sec);
  t->u.expiry.tv_usec = static_cast<suseconds_t>(usec);
  t->index = static_cast<uint8_t>(m->timer_index);
  m->timer_index = (m->timer_index + 1) % THREAD_TIMER_LISTS;
  thread_list* l = &m->timer[t->index];
  // From the tail: behind the last entry whose expiry is not later than ours.
  thread* after = l->tail;
  while (after && timeval_cmp(after->u.expiry, t->u.expiry) > 0)
    after = after->prev;
  list_add_after(l, after, t);
  return t;
}

// --- the platform queue -------------------------------------------------------------------------

int msgq_dispatch(thread* t) {
  auto* buf = static_cast<uint8_t*>(t->arg);
  ofa::wire::Reader r(buf, THREAD_MSGQ_BUF_SIZE);
  uint8_t type = r.u8_at(4);
  uint8_t kind = r.u8_at(12);
  uint32_t word = r.u32_at(16);
  switch (type) {
    case MSGQ_TYPE_ISC:
      isc_process(kind, word);
      break;
    case MSGQ_TYPE_SMI:
      smi_process(kind, word);
      break;
    case MSGQ_TYPE_RSM:
      rsm_process(word);
      break;
    default: {
      auto cb = reinterpret_cast<thread_msgq_cb_t>(t->u.val);
      if (cb) cb(buf);
      break;
    }
  }
  std::free(buf);
  return 0;
}

void drain_msgq(lib_globals* zg) {
  thread_master* m = zg->master;
  while (msgQNumMsgs(m->asp_msgq) > 0) {
    auto* buf = static_cast<uint8_t*>(std::malloc(THREAD_MSGQ_BUF_SIZE));
    if (!buf) break;
    if (msgQReceive(m->asp_msgq, buf, THREAD_MSGQ_BUF_SIZE, 0) < 0) {
      std::free(buf);
      break;
    }
    thread_msgq_cb_t cb = msgQGetcb(m->asp_msgq, buf[4]);
    thread* t = thread_get(zg, THREAD_EVENT, msgq_dispatch, buf, "msgq_dispatch");
    if (!t) {
      file_printf("dropped ASP message queue event");
      m->msgq_dropped++;
      std::free(buf);
      continue;
    }
    t->origin = THREAD_ORIGIN_MSGQ;
    t->u.val = reinterpret_cast<uintptr_t>(cb ? cb : m->asp_default_cb);
    enqueue(m, t, THREAD_PRIORITY_MIDDLE);
  }
}

int wakeup_pipe_read(thread* t) {
  thread_master* m = t->master;
  char buf[32];
  ssize_t n = ::read(m->wakeup_pipe[0], buf, sizeof buf);
  if (n < 0 && errno != EAGAIN)
    file_printf("ASP msgQ wakeup pipe read failed(%s)", strerror(errno));
  m->wakeup_thread = thread_add_read(t->zg, wakeup_pipe_read, nullptr, m->wakeup_pipe[0]);
  return 0;
}

void thread_swd_timer_update(thread_master* m, timeval* out) {
  if (m->swd_handle < 0) return;
  int secs = swd_hello(m->swd_handle, &m->swd_past);
  if (out) *out = {secs, 0};
}

// Ready fds of one list move to a queue: middle, or low for the debug channel and routing client.
void move_ready(thread_master* m, thread_list* l, short bit) {
  thread* t = l->head;
  while (t) {
    thread* next = t->next;
    int fd = t->u.fd;
    if (fd > 0 && fd < THREAD_MAX_FD &&
        (m->poll_copy[fd].revents & (bit | POLLHUP | POLLERR | POLLNVAL))) {
      poll_clear(m, fd, bit);
      list_delete(l, t);
      bool low = fd == m->low_fd[0] || fd == m->low_fd[1];
      enqueue(m, t, low ? THREAD_PRIORITY_LOW : THREAD_PRIORITY_MIDDLE);
    }
    t = next;
  }
}

// --- accounting ---------------------------------------------------------------------------------

uint64_t (*g_clock_ns)() = nullptr;

uint64_t monotonic_ns() {
  timespec ts{};
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<uint64_t>(ts.tv_sec) * 1000000000u + static_cast<uint64_t>(ts.tv_nsec);
}

void account(thread_stat* s, uint64_t ns) {
  s->calls++;
  s->total_ns += ns;
  if (ns > s->longest_ns) s->longest_ns = ns;
}

// The row of `func`: a known one, a new one, or the shared last row once the table is full.
thread_stat* stat_row(thread_stats* st, thread_func_t func, const char* name) {
  for (uint32_t i = 0; i < st->used; ++i) {
    if (st->callback[i].func == func) return &st->callback[i];
  }
  thread_stat* row = &st->callback[st->used < THREAD_STATS_MAX ? st->used : THREAD_STATS_MAX - 1];
  if (st->used == THREAD_STATS_MAX - 1) {
    row->name = "(other)";
    st->used = THREAD_STATS_MAX;
  } else if (st->used < THREAD_STATS_MAX - 1) {
    row->func = func;
    row->name = name ? name : "?";
    st->used++;
  }
  return row;
}

thread* thread_run(thread_master* m, thread* t, thread* out) {
  *out = *t;
  out->next = out->prev = nullptr;
  thread_add_unuse(m, t);
  // One clock read serves the watchdog and the start of the unit's run time.
  out->start_ns = thread_clock_ns();
  timeval now{static_cast<time_t>(out->start_ns / 1000000000u),
              static_cast<suseconds_t>(out->start_ns % 1000000000u / 1000u)};
  if (now.tv_sec - m->last_heartbeat.tv_sec >= static_cast<time_t>(m->heartbeat_interval)) {
    thread_swd_timer_update(m, nullptr);
    m->last_heartbeat = now;
  }
  return out;
}

void free_list(thread_master* m, thread_list* l) {
  while (thread* t = list_pop(l)) {
    if (t->origin == THREAD_ORIGIN_MSGQ && t->func == msgq_dispatch) std::free(t->arg);
    std::free(t);
  }
  (void)m;
}

}  // namespace

// --- adding
// ---------------------------------------------------------------------------------------

thread*(thread_add_read)(lib_globals* zg, thread_func_t func, void* arg, int fd, const char* name) {
  return add_fd_unit(zg, func, arg, fd, name, THREAD_READ, zg ? &zg->master->read : nullptr,
                     THREAD_POLLIN);
}

thread*(thread_add_read_high)(lib_globals* zg, thread_func_t func, void* arg, int fd,
                              const char* name) {
  return add_fd_unit(zg, func, arg, fd, name, THREAD_READ_HIGH,
                     zg ? &zg->master->read_high : nullptr, THREAD_POLLIN);
}

thread*(thread_add_write)(lib_globals* zg, thread_func_t func, void* arg, int fd,
                          const char* name) {
  if (!zg || !zg->master || fd < 0) return nullptr;
  if (fd > 0 && fd < THREAD_MAX_FD && thread_check_fd_present(zg->master, fd, THREAD_POLLOUT))
    return nullptr;
  return add_fd_unit(zg, func, arg, fd, name, THREAD_WRITE, &zg->master->write, THREAD_POLLOUT);
}

thread*(thread_add_timer)(lib_globals* zg, thread_func_t func, void* arg, long seconds,
                          const char* name) {
  return add_timer(zg, func, arg, {seconds, 0}, name);
}

thread*(thread_add_timer_timeval)(lib_globals* zg, thread_func_t func, void* arg, timeval tv,
                                  const char* name) {
  return add_timer(zg, func, arg, tv, name);
}

thread*(thread_add_timer_msec)(lib_globals* zg, thread_func_t func, void* arg, long msec,
                               const char* name) {
  return add_timer(zg, func, arg, timeutil_msec2tv(msec), name);
}

namespace {
thread* add_valued(lib_globals* zg, thread_func_t func, void* arg, uintptr_t val, const char* name,
                   uint8_t type, thread_list* (*list)(thread_master*)) {
  if (!zg || !zg->master) return nullptr;
  thread* t = thread_get(zg, type, func, arg, name);
  if (!t) return nullptr;
  t->u.val = val;
  list_add(list(zg->master), t);
  return t;
}
}  // namespace

thread*(thread_add_event)(lib_globals* zg, thread_func_t func, void* arg, uintptr_t val,
                          const char* name) {
  return add_valued(zg, func, arg, val, name, THREAD_EVENT,
                    [](thread_master* m) { return &m->event; });
}

thread*(thread_add_event_low)(lib_globals* zg, thread_func_t func, void* arg, uintptr_t val,
                              const char* name) {
  return add_valued(zg, func, arg, val, name, THREAD_EVENT_LOW,
                    [](thread_master* m) { return &m->event_low; });
}

thread*(thread_add_read_pend)(lib_globals* zg, thread_func_t func, void* arg, uintptr_t val,
                              const char* name) {
  return add_valued(zg, func, arg, val, name, THREAD_READ_PEND,
                    [](thread_master* m) { return &m->read_pend; });
}

thread*(thread_add_queue_low)(lib_globals* zg, thread_func_t func, void* arg, uintptr_t val,
                              const char* name) {
  if (!zg || !zg->master) return nullptr;
  thread* t = thread_get(zg, THREAD_QUEUE, func, arg, name);
  if (!t) return nullptr;
  t->u.val = val;
  enqueue(zg->master, t, THREAD_PRIORITY_LOW);
  return t;
}

thread*(thread_enqueue_read_middle)(lib_globals* zg, thread_func_t func, void* arg, int fd,
                                    const char* name) {
  if (!zg || !zg->master || fd < 0) return nullptr;
  thread* t = thread_get(zg, THREAD_QUEUE, func, arg, name);
  if (!t) return nullptr;
  t->u.fd = fd;
  enqueue(zg->master, t, THREAD_PRIORITY_MIDDLE);
  return t;
}

thread*(thread_add_evio_item)(lib_globals* zg, thread_func_t func, void* arg, uintptr_t val,
                              const char* name) {
  thread* t = (thread_enqueue_read_middle)(zg, func, arg, 0, name);
  if (!t) return nullptr;
  t->u.val = val;
  t->origin = THREAD_ORIGIN_EVIO;
  return t;
}

// --- removing, running --------------------------------------------------------------------------

void thread_cancel(thread* t) {
  if (!t || !t->master) return;
  thread_master* m = t->master;
  switch (t->type) {
    case THREAD_READ:
      poll_clear(m, t->u.fd, THREAD_POLLIN);
      list_delete(&m->read, t);
      break;
    case THREAD_READ_HIGH:
      poll_clear(m, t->u.fd, THREAD_POLLIN);
      list_delete(&m->read_high, t);
      break;
    case THREAD_WRITE:
      THREAD_ASSERT(thread_check_fd_present(m, t->u.fd, THREAD_POLLOUT));
      poll_clear(m, t->u.fd, THREAD_POLLOUT);
      list_delete(&m->write, t);
      break;
    case THREAD_TIMER:
      list_delete(&m->timer[t->index], t);
      break;
    case THREAD_EVENT:
      list_delete(&m->event, t);
      break;
    case THREAD_EVENT_LOW:
      list_delete(&m->event_low, t);
      break;
    case THREAD_READ_PEND:
      list_delete(&m->read_pend, t);
      break;
    case THREAD_QUEUE:
      if (t->origin == THREAD_ORIGIN_MSGQ && t->func == msgq_dispatch) std::free(t->arg);
      list_delete(queue_of(m, t->priority), t);
      break;
    default:
      return;
  }
  thread_add_unuse(m, t);
}

void thread_cancel_event_low(lib_globals* zg, void* arg) {
  if (!zg || !zg->master) return;
  thread_master* m = zg->master;
  for (thread_list* l : {&m->event_low, &m->queue_low}) {
    thread* t = l->head;
    while (t) {
      thread* next = t->next;
      if (t->arg == arg) {
        list_delete(l, t);
        thread_add_unuse(m, t);
      }
      t = next;
    }
  }
}

void(thread_execute)(lib_globals* zg, thread_func_t func, void* arg, uintptr_t val,
                     const char* name) {
  thread t{};
  t.name = name;
  t.zg = zg;
  t.master = zg ? zg->master : nullptr;
  t.func = func;
  t.arg = arg;
  t.type = THREAD_EVENT;
  t.u.val = val;
  thread_call(&t);
}

long thread_timer_remain_second(const thread* t) {
  if (!t) return 0;
  timeval left = timeval_subtract(t->u.expiry, now_tv());
  return left.tv_sec > 0 ? left.tv_sec : 0;
}

void thread_call(thread* t) {
  if (!t || !t->func) return;
  if (!t->master) {
    t->func(t);
    return;
  }
  uint64_t start = t->start_ns ? t->start_ns : thread_clock_ns();
  t->func(t);
  account(stat_row(&t->master->stats, t->func, t->name), thread_clock_ns() - start);
}

thread* thread_fetch(lib_globals* zg, thread* out) {
  if (!zg || !zg->master || !out) return nullptr;
  thread_master* m = zg->master;
  for (;;) {
    if (m->stop) return nullptr;
    // 1. Ready units first.
    for (thread_list* l : {&m->read_pend, &m->queue_high, &m->queue_middle, &m->queue_low}) {
      if (thread* t = list_pop(l)) return thread_run(m, t, out);
    }
    // 2. Events become high.
    while (thread* t = list_pop(&m->event))
      enqueue(m, t, THREAD_PRIORITY_HIGH);
    // 3. Expired timers become middle.
    timeval now = now_tv();
    for (auto& tl : m->timer) {
      while (tl.head && timeval_cmp(tl.head->u.expiry, now) <= 0) {
        enqueue(m, list_pop(&tl), THREAD_PRIORITY_MIDDLE);
      }
    }
    // 4. The poll copy.
    int nfds = m->max_fd + 1;
    std::memcpy(m->poll_copy, m->pollfd_set, sizeof(pollfd) * static_cast<size_t>(nfds));
    // 5. Timeout.
    int timeout_ms = -1;
    timeval wait{0, 0};
    if (thread_timer_wait(m, now, &wait)) {
      timeout_ms = static_cast<int>(wait.tv_sec * 1000 + wait.tv_usec / 1000);
    }
    // 6-7. A bound worker service may shorten the wait and widen the set.
    if (m->evio && m->evio->pre_select) m->evio->pre_select(m->evio->ctx, &timeout_ms, &nfds);
    // 8. The platform queue: the watchdog's limit, and no wait while messages are pending.
    if (m->asp_msgq) {
      timeval swd{0, 0};
      bool limit = false;
      if (m->swd_handle >= 0) {
        thread_swd_timer_update(m, &swd);
        limit = true;
      }
      if (msgQNumMsgs(m->asp_msgq) > 0) {
        swd = {0, 0};
        limit = true;
      }
      if (limit) {
        int swd_ms = static_cast<int>(swd.tv_sec * 1000 + swd.tv_usec / 1000);
        if (timeout_ms < 0 || swd_ms < timeout_ms) timeout_ms = swd_ms;
      }
    }
    // 10. Wait; the pass that began at the last wake-up ends here.
    if (m->stats.pass_start_ns) account(&m->stats.pass, thread_clock_ns() - m->stats.pass_start_ns);
    int n = ::poll(m->poll_copy, static_cast<nfds_t>(nfds), timeout_ms);
    m->stats.pass_start_ns = thread_clock_ns();
    if (n < 0) {
      if (errno == EINTR) continue;
      return nullptr;
    }
    // 11. Drain the platform queue.
    if (m->asp_msgq) drain_msgq(zg);
    // 12. Ready fds.
    if (n > 0) {
      move_ready(m, &m->read_high, THREAD_POLLIN);
      move_ready(m, &m->read, THREAD_POLLIN);
      move_ready(m, &m->write, THREAD_POLLOUT);
    }
    // 13. Worker items, then one low event.
    if (m->evio && m->evio->post_select) m->evio->post_select(m->evio->ctx, zg);
    if (thread* t = list_pop(&m->event_low)) enqueue(m, t, THREAD_PRIORITY_LOW);
  }
}

bool thread_timer_wait(const thread_master* m, timeval now, timeval* wait) {
  if (!list_empty(&m->queue_high) || !list_empty(&m->queue_middle) || !list_empty(&m->queue_low)) {
    *wait = {0, 0};
    return true;
  }
  bool have = false;
  for (const auto& tl : m->timer) {
    if (!tl.head) continue;
    timeval left = timeval_subtract(tl.head->u.expiry, now);
    if (left.tv_sec < 0 || (left.tv_sec == 0 && left.tv_usec <= 0)) left = {0, 10};
    if (!have || timeval_cmp(left, *wait) < 0) *wait = left;
    have = true;
  }
  return have;
}

// --- binding ------------------------------------------------------------------------------------

int thread_asp_start(lib_globals* zg, thread_msgq_cb_t default_cb, MSG_Q_ID msgq) {
  if (!zg || !zg->master) return OFA_E_GENERIC;
  thread_master* m = zg->master;
  m->asp_default_cb = default_cb;
  m->asp_msgq = msgq;
  if (::pipe2(m->wakeup_pipe, O_CLOEXEC) != 0) {
    file_printf("ASP msgQ wakeup pipe create failed");
    m->wakeup_pipe[0] = m->wakeup_pipe[1] = -1;
    m->asp_msgq = nullptr;
    return OFA_E_GENERIC;
  }
  int flags = ::fcntl(m->wakeup_pipe[0], F_GETFL);
  if (flags < 0 || ::fcntl(m->wakeup_pipe[0], F_SETFL, flags | O_NONBLOCK) < 0) {
    file_printf("ASP msgQ wakeup pipe conversion to non-blocking failed");
  }
  ::fcntl(m->wakeup_pipe[1], F_SETFL, ::fcntl(m->wakeup_pipe[1], F_GETFL) | O_NONBLOCK);
  m->wakeup_thread = thread_add_read(zg, wakeup_pipe_read, nullptr, m->wakeup_pipe[0]);
  KBL_ASPMainLoop(0, msgq);
  m->swd_handle = swd_register();
  m->swd_past = now_tv();
  return 0;
}

void thread_asp_wakeup(void* arg) {
  auto* zg = static_cast<lib_globals*>(arg);
  if (!zg || !zg->master || zg->master->wakeup_pipe[1] < 0) return;
  char b = 1;
  if (::write(zg->master->wakeup_pipe[1], &b, 1) < 0 && errno != EAGAIN) {
    file_printf("ASP msgQ wakeup pipe write failed(%s)", strerror(errno));
  }
}

void thread_evio_start(lib_globals* zg, thread_evio_hooks* hooks) {
  if (zg && zg->master) zg->master->evio = hooks;
}

void thread_heartbeat_set(lib_globals* zg, uint32_t seconds) {
  if (zg && zg->master) zg->master->heartbeat_interval = seconds;
}

void thread_set_low_priority_fd(lib_globals* zg, int which, int fd) {
  if (zg && zg->master && (which == 0 || which == 1)) zg->master->low_fd[which] = fd;
}

void thread_master_stop(lib_globals* zg) {
  if (!zg || !zg->master) return;
  zg->master->stop = 1;
  if (zg->master->wakeup_pipe[1] >= 0) {
    char b = 1;
    [[maybe_unused]] ssize_t n = ::write(zg->master->wakeup_pipe[1], &b, 1);
  }
}

const thread_stats* thread_stats_get(const lib_globals* zg) {
  return (zg && zg->master) ? &zg->master->stats : nullptr;
}

uint64_t thread_clock_ns() {
  return g_clock_ns ? g_clock_ns() : monotonic_ns();
}

void thread_stats_set_clock(uint64_t (*now_ns)()) {
  g_clock_ns = now_ns;
}

thread_master* thread_master_create() {
  auto* m = static_cast<thread_master*>(std::calloc(1, sizeof(thread_master)));
  if (!m) return nullptr;
  for (int i = 0; i < THREAD_MAX_FD; ++i) {
    m->pollfd_set[i].fd = -1;
    m->poll_copy[i].fd = -1;
  }
  m->heartbeat_interval = THREAD_HEARTBEAT_DEFAULT;
  m->last_heartbeat = now_tv();
  m->wakeup_pipe[0] = m->wakeup_pipe[1] = -1;
  m->swd_handle = -1;
  m->low_fd[0] = m->low_fd[1] = -1;
  m->stats.pass.name = "(loop pass)";
  return m;
}

void thread_master_finish(thread_master* m) {
  if (!m) return;
  for (thread_list* l : {&m->queue_high, &m->queue_middle, &m->queue_low, &m->read_pend,
                         &m->read_high, &m->read, &m->write, &m->event, &m->event_low, &m->unuse}) {
    free_list(m, l);
  }
  for (auto& tl : m->timer)
    free_list(m, &tl);
  for (int fd : m->wakeup_pipe) {
    if (fd >= 0) ::close(fd);
  }
  std::free(m);
}
