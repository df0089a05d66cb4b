#include "platform/evio.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstring>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/run_dir.h"
#include "platform/system.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Timer {
  Clock::time_point due;
  evio_timer_fn fn;
  void* arg;
};

struct IpcCb {
  ipc_cb_fn fn = nullptr;
  void* arg = nullptr;
};

std::mutex g_cb_mu;
std::array<IpcCb, 16> g_ipc_cbs;
std::atomic<int> g_ipc_fd{-1};

}  // namespace

struct ioss {
  enum class Kind { timer, ipc };
  explicit ioss(Kind k) : kind(k) {}
  Kind kind;
  // timer
  std::mutex mu;
  std::vector<Timer> timers;
  void (*wakeup)(void*) = nullptr;
  void* wakeup_arg = nullptr;
  // ipc
  int fd = -1;
  std::string path;
  size_t max_msg = 0;
};

struct evio {
  int pipe_fd[2] = {-1, -1};
  std::atomic<bool> stop{false};
  std::vector<ioss*> services;
};

struct wt {
  std::thread th;
  int result = 0;
};

int evio_create(evio** out) {
  if (!out) return -1;
  auto* e = new evio;
  if (::pipe2(e->pipe_fd, O_CLOEXEC | O_NONBLOCK) != 0) {
    delete e;
    return -1;
  }
  *out = e;
  return 0;
}

void evio_destroy(evio* e) {
  if (!e) return;
  ::close(e->pipe_fd[0]);
  ::close(e->pipe_fd[1]);
  delete e;
}

int evio_register(evio* e, ioss* s) {
  if (!e || !s) return -1;
  e->services.push_back(s);
  return 0;
}

void evio_wakeup(void* arg) {
  auto* e = static_cast<evio*>(arg);
  if (!e) return;
  char b = 1;
  [[maybe_unused]] ssize_t n = ::write(e->pipe_fd[1], &b, 1);
}

void evio_stop(evio* e) {
  if (!e) return;
  e->stop = true;
  evio_wakeup(e);
}

namespace {

// Runs the due timers of a timer service; the wait in ms until the next one, or -1.
int run_timers(ioss* s) {
  std::vector<Timer> due;
  int wait = -1;
  {
    std::lock_guard<std::mutex> lock(s->mu);
    auto now = Clock::now();
    auto it = std::partition(s->timers.begin(), s->timers.end(),
                             [&](const Timer& t) { return t.due > now; });
    due.assign(it, s->timers.end());
    s->timers.erase(it, s->timers.end());
    for (const Timer& t : s->timers) {
      auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(t.due - now).count() + 1;
      if (wait < 0 || ms < wait) wait = static_cast<int>(ms);
    }
  }
  for (const Timer& t : due)
    t.fn(t.arg);
  return due.empty() ? wait : 0;
}

void serve_ipc(ioss* s) {
  std::vector<uint8_t> buf(s->max_msg);
  sockaddr_un from{};
  socklen_t flen = sizeof from;
  ssize_t n = ::recvfrom(s->fd, buf.data(), buf.size(), MSG_DONTWAIT,
                         reinterpret_cast<sockaddr*>(&from), &flen);
  if (n < 0) return;
  ipc_src src;
  if (flen > offsetof(sockaddr_un, sun_path)) {
    src.path.assign(from.sun_path, strnlen(from.sun_path, flen - offsetof(sockaddr_un, sun_path)));
  }
  IpcCb cb;
  {
    std::lock_guard<std::mutex> lock(g_cb_mu);
    cb = g_ipc_cbs[0];
  }
  if (cb.fn) cb.fn(0, &src, buf.data(), static_cast<size_t>(n));
}

}  // namespace

int evio_run(void* arg) {
  auto* e = static_cast<evio*>(arg);
  if (!e) return -1;
  while (!e->stop) {
    std::vector<pollfd> fds{{e->pipe_fd[0], POLLIN, 0}};
    std::vector<ioss*> owners{nullptr};
    int timeout = -1;
    for (ioss* s : e->services) {
      if (s->kind == ioss::Kind::ipc) {
        fds.push_back({s->fd, POLLIN, 0});
        owners.push_back(s);
      } else {
        int w = run_timers(s);
        if (w >= 0 && (timeout < 0 || w < timeout)) timeout = w;
      }
    }
    int n = ::poll(fds.data(), fds.size(), timeout);
    if (n < 0 && errno != EINTR) return -1;
    if (n <= 0) continue;
    if (fds[0].revents & POLLIN) {
      char drain[64];
      while (::read(e->pipe_fd[0], drain, sizeof drain) > 0) {
      }
    }
    for (size_t i = 1; i < fds.size(); ++i) {
      if (fds[i].revents & POLLIN) serve_ipc(owners[i]);
    }
  }
  return 0;
}

int timer_ioss_create(ioss** out, void (*wakeup)(void*), void* arg) {
  if (!out) return -1;
  auto* s = new ioss(ioss::Kind::timer);
  s->wakeup = wakeup;
  s->wakeup_arg = arg;
  *out = s;
  return 0;
}

int timer_ioss_add(ioss* s, long msec, evio_timer_fn fn, void* arg) {
  if (!s || s->kind != ioss::Kind::timer || !fn) return -1;
  {
    std::lock_guard<std::mutex> lock(s->mu);
    s->timers.push_back({Clock::now() + std::chrono::milliseconds(msec), fn, arg});
  }
  if (s->wakeup) s->wakeup(s->wakeup_arg);
  return 0;
}

int ipc_ioss_create(ioss** out, const char* name, int /*flags*/, size_t max_msg, int /*n*/) {
  if (!out || !name) return -1;
  std::string path = ofa::platform::ipc_path(name, dpx_ni_my_slot());
  if (ofa::platform::ensure_parent_dir(path)) return -1;
  sockaddr_un sun{};
  sun.sun_family = AF_UNIX;
  if (path.size() >= sizeof sun.sun_path) return -1;
  std::memcpy(sun.sun_path, path.c_str(), path.size() + 1);
  int fd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return -1;
  ::unlink(path.c_str());
  if (::bind(fd, reinterpret_cast<sockaddr*>(&sun), sizeof sun) != 0) {
    ::close(fd);
    return -1;
  }
  auto* s = new ioss(ioss::Kind::ipc);
  s->fd = fd;
  s->path = path;
  s->max_msg = max_msg ? max_msg : ipc_max_msg_size(0);
  g_ipc_fd = fd;
  *out = s;
  return 0;
}

size_t ipc_max_msg_size(int /*kind*/) {
  return 4096;
}

void ioss_destroy(ioss* s) {
  if (!s) return;
  if (s->kind == ioss::Kind::ipc) {
    int expected = s->fd;
    g_ipc_fd.compare_exchange_strong(expected, -1);
    ::close(s->fd);
    ::unlink(s->path.c_str());
  }
  delete s;
}

int ipcRegisterCB(uint32_t id, ipc_cb_fn fn, void* arg) {
  if (id >= g_ipc_cbs.size()) return -1;
  std::lock_guard<std::mutex> lock(g_cb_mu);
  g_ipc_cbs[id] = {fn, arg};
  return 0;
}

int ipcSend(const ipc_src* dst, const void* body, size_t len) {
  int fd = g_ipc_fd;
  if (!dst || dst->path.empty() || fd < 0) return -1;
  sockaddr_un sun{};
  sun.sun_family = AF_UNIX;
  if (dst->path.size() >= sizeof sun.sun_path) return -1;
  std::memcpy(sun.sun_path, dst->path.c_str(), dst->path.size() + 1);
  ssize_t n = ::sendto(fd, body, len, MSG_DONTWAIT | MSG_NOSIGNAL,
                       reinterpret_cast<sockaddr*>(&sun), sizeof sun);
  return n < 0 ? -1 : 0;
}

int wt_exec(int (*fn)(void*), void* arg, wt** out) {
  if (!fn || !out) return -1;
  auto* w = new wt;
  w->th = std::thread([w, fn, arg] { w->result = fn(arg); });
  *out = w;
  return 0;
}

int wt_join(wt* w) {
  if (!w) return -1;
  if (w->th.joinable()) w->th.join();
  int r = w->result;
  delete w;
  return r;
}
