// Scheduler: timer order, fd limits, one-pass readiness, low-event trickle, waits, the platform
// queue and its cross-thread wake-up, the per-callback accounting.
#include "agent/thread.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <climits>
#include <thread>
#include <utility>
#include <vector>

#include "platform/msg_queue.h"
#include "platform/rsmd.h"

namespace {

struct Sched {
  lib_globals* zg;
  Sched() {
    zg = lib_create("test");
    zg->master = thread_master_create();
  }
  ~Sched() { lib_stop(zg); }
  thread_master* m() const { return zg->master; }
  // The argument of the next unit handed out (runs it too).
  void* next() {
    thread out{};
    if (!thread_fetch(zg, &out)) return nullptr;
    thread_call(&out);
    return out.arg;
  }
  // The arguments of the next `n` units, as numbers.
  std::vector<intptr_t> next(int n) {
    std::vector<intptr_t> args;
    while (n-- > 0)
      args.push_back(reinterpret_cast<intptr_t>(next()));
    return args;
  }
};

int noop(thread*) {
  return 0;
}

void* tag(intptr_t n) {
  return reinterpret_cast<void*>(n);
}

TEST(ThreadTimer, EqualTimesKeepOrderWithinAndAcrossLists) {
  Sched s;
  std::vector<thread*> t;
  // Seconds that overflow are capped, which gives all eight the same expiry.
  for (intptr_t i = 0; i < 8; ++i)
    t.push_back(thread_add_timer(s.zg, noop, tag(i), LONG_MAX / 4));
  for (thread* u : t)
    EXPECT_EQ(u->u.expiry.tv_sec, 0x7fffffff);
  // Make them all due at one past instant: the lists are drained in list order.
  for (thread* u : t)
    u->u.expiry = {1, 0};
  EXPECT_EQ(s.next(8), (std::vector<intptr_t>{0, 4, 1, 5, 2, 6, 3, 7}));
}

TEST(ThreadTimer, ListStaysSortedByExpiry) {
  Sched s;
  const long secs[] = {30, 0, 0, 0, 10, 0, 0, 0, 20, 0, 0, 0, 10};
  std::vector<thread*> t;
  for (long v : secs)
    t.push_back(thread_add_timer(s.zg, noop, nullptr, v));
  std::vector<thread*> list0;
  for (thread* u = s.m()->timer[0].head; u; u = u->next)
    list0.push_back(u);
  // 10 (first added), 10 (second added), 20, 30.
  EXPECT_EQ(list0, (std::vector<thread*>{t[4], t[12], t[8], t[0]}));
  EXPECT_EQ(s.m()->timer[0].count, 4u);
}

TEST(ThreadFd, HighestFdAcceptedNextRefused) {
  Sched s;
  thread* t = thread_add_read(s.zg, noop, nullptr, 4095);
  ASSERT_NE(t, nullptr);
  EXPECT_EQ(s.m()->max_fd, 4095);
  thread_cancel(t);
  EXPECT_EQ(thread_add_read(s.zg, noop, nullptr, -1), nullptr);
  EXPECT_DEATH(thread_add_read(s.zg, noop, nullptr, 4096), "\\(fd > 0\\) && \\(fd < 4096\\)");
}

TEST(ThreadFd, SecondWriteOnFdRefusedAndMaxFdWalksDown) {
  Sched s;
  int p[2];
  ASSERT_EQ(pipe(p), 0);
  thread* r = thread_add_read(s.zg, noop, nullptr, p[0]);
  thread* w = thread_add_write(s.zg, noop, nullptr, p[1]);
  ASSERT_NE(w, nullptr);
  EXPECT_EQ(thread_add_write(s.zg, noop, nullptr, p[1]), nullptr);
  EXPECT_EQ(s.m()->max_fd, std::max(p[0], p[1]));
  thread_cancel(w);
  EXPECT_EQ(s.m()->max_fd, p[0]);
  thread_cancel(r);
  close(p[0]);
  close(p[1]);
}

TEST(ThreadFetch, ReadAndTimerReadyInOnePassTimerFirst) {
  Sched s;
  int p[2];
  ASSERT_EQ(pipe(p), 0);
  ASSERT_EQ(write(p[1], "x", 1), 1);
  thread_add_read(s.zg, noop, tag(1), p[0]);
  thread_add_read(s.zg, noop, tag(3), p[0]);  // a second read on the same fd fires too
  thread_add_timer(s.zg, noop, tag(2), 0);
  EXPECT_EQ(s.next(), tag(2));
  // The reads were queued in the same pass.
  EXPECT_EQ(s.m()->queue_middle.count, 2u);
  EXPECT_EQ(s.next(2), (std::vector<intptr_t>{1, 3}));
  close(p[0]);
  close(p[1]);
}

TEST(ThreadFetch, LowEventsTrickleOnePerPass) {
  Sched s;
  for (intptr_t i = 11; i <= 13; ++i)
    thread_add_event_low(s.zg, noop, tag(i), 0);
  thread_add_event(s.zg, noop, tag(1), 0);
  EXPECT_EQ(s.next(2), (std::vector<intptr_t>{1, 11}));
  thread_add_event(s.zg, noop, tag(2), 0);
  EXPECT_EQ(s.next(2), (std::vector<intptr_t>{2, 12}));
}

TEST(ThreadFetch, PriorityOrder) {
  Sched s;
  thread_add_queue_low(s.zg, noop, tag(4), 0);
  thread_enqueue_read_middle(s.zg, noop, tag(3), 5);
  thread_add_event(s.zg, noop, tag(2), 0);
  thread_add_read_pend(s.zg, noop, tag(1), 0);
  // read_pend first; the event is promoted only once the queues are looked at again.
  EXPECT_EQ(s.next(4), (std::vector<intptr_t>{1, 3, 4, 2}));
}

TEST(ThreadWait, ExpiredTimerWaitsTenMicroseconds) {
  Sched s;
  timeval w{};
  EXPECT_FALSE(thread_timer_wait(s.m(), timeutil_uptime(), &w));
  thread* t = thread_add_timer(s.zg, noop, nullptr, 2);
  timeval now = timeutil_uptime();
  ASSERT_TRUE(thread_timer_wait(s.m(), now, &w));
  EXPECT_LE(w.tv_sec, 2);
  EXPECT_GE(w.tv_sec * 1000000 + w.tv_usec, 1900000);
  now.tv_sec += 5;
  ASSERT_TRUE(thread_timer_wait(s.m(), now, &w));
  EXPECT_EQ(w.tv_sec * 1000000 + w.tv_usec, 10);
  thread_cancel(t);
  thread_add_event(s.zg, noop, nullptr, 0);
  EXPECT_FALSE(thread_timer_wait(s.m(), now, &w));  // an event waits in its list, not a queue
  s.next();
  thread_add_queue_low(s.zg, noop, nullptr, 0);
  ASSERT_TRUE(thread_timer_wait(s.m(), now, &w));
  EXPECT_EQ(w.tv_sec * 1000000 + w.tv_usec, 0);
}

TEST(ThreadCancel, EventLowByArgumentFromBothLists) {
  Sched s;
  thread_add_event_low(s.zg, noop, tag(7), 0);
  thread_add_event_low(s.zg, noop, tag(8), 0);
  thread_add_queue_low(s.zg, noop, tag(7), 0);
  thread_cancel_event_low(s.zg, tag(7));
  EXPECT_EQ(s.m()->event_low.count, 1u);
  EXPECT_EQ(s.m()->queue_low.count, 0u);
  EXPECT_EQ(s.m()->unuse.count, 2u);
}

// --- accounting ---------------------------------------------------------------------------------

uint64_t g_ns = 1;
uint64_t fake_ns() {
  return g_ns;
}
int work(thread* t) {
  g_ns += reinterpret_cast<uintptr_t>(t->arg);
  return 0;
}
template <size_t N>
int numbered(thread*) {
  return 0;
}

TEST(ThreadStats, CallsTotalLongestByNameThenPassesAndOverflow) {
  Sched s;
  thread_stats_set_clock(fake_ns);
  thread_add_event(s.zg, work, tag(5000), 0);
  thread_add_event(s.zg, work, tag(7000), 0);
  s.next();  // one wake-up runs both
  s.next();
  thread_add_timer(s.zg, noop, nullptr, 0);
  s.next();  // the next wait ends the pass
  const thread_stats* st = thread_stats_get(s.zg);
  ASSERT_EQ(st->used, 2u);
  EXPECT_STREQ(st->callback[0].name, "work");
  EXPECT_STREQ(st->callback[1].name, "noop");
  // Calls, total and longest of work; calls of noop; calls and longest of the pass.
  EXPECT_EQ((std::vector<uint64_t>{st->callback[0].calls, st->callback[0].total_ns,
                                   st->callback[0].longest_ns, st->callback[1].calls,
                                   st->pass.calls, st->pass.longest_ns}),
            (std::vector<uint64_t>{2, 12000, 7000, 1, 1, 12000}));
  // Past the table's size, callbacks share its last row.
  [&]<size_t... I>(std::index_sequence<I...>) {
    (thread_execute(s.zg, numbered<I>, nullptr, 0), ...);
  }
  (std::make_index_sequence<40>{});
  EXPECT_EQ(st->used, THREAD_STATS_MAX);
  EXPECT_EQ(st->callback[30].func, &numbered<28>);
  EXPECT_STREQ(st->callback[31].name, "(other)");
  EXPECT_EQ(st->callback[31].calls, 11u);
  thread_stats_set_clock(nullptr);
}

// --- the platform queue ---------------------------------------------------------------------

std::vector<uint32_t> g_seen;
void type42(void* msg) {
  g_seen.push_back(static_cast<uint8_t*>(msg)[19]);
}
void fallback(void* msg) {
  g_seen.push_back(1000u + static_cast<uint8_t*>(msg)[4]);
}

TEST(ThreadMsgq, PostsFromAnotherThreadWakeTheLoopByTypeElseDefault) {
  Sched s;
  g_seen.clear();
  MSG_Q_ID q = msgQCreate(16, THREAD_MSGQ_BUF_SIZE, 0, "t");
  msgQSetcb(q, 42, type42);
  msgQSetWakeup(q, thread_asp_wakeup, s.zg);
  ASSERT_EQ(thread_asp_start(s.zg, fallback, q), 0);
  std::thread poster([q] {
    uint8_t msg[20];
    msgq_message(msg, 42, 0, 9);
    msgQSend(q, msg, sizeof msg);
    msgq_message(msg, 43, 0, 0);
    msgQSend(q, msg, sizeof msg);
  });
  while (g_seen.size() < 2)
    s.next();
  poster.join();
  EXPECT_EQ(g_seen, (std::vector<uint32_t>{9, 1043}));
  thread_master_stop(s.zg);
  thread out{};
  EXPECT_EQ(thread_fetch(s.zg, &out), nullptr);
  msgQDelete(q);
}

}  // namespace
