// The configuration manager's client stand-in: the listening socket, the client thread that reads
// and checks frames, the comm channel to the main thread and the table of request handlers.
#include "platform/qcf.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/run_dir.h"
#include "platform/system.h"
#include "platform/wire.h"

namespace {

constexpr uint32_t kFaultToken = 0xffffffff;  // client -> main: fault texts are waiting
constexpr uint32_t kStopToken = 0xfffffffe;   // main -> client: end the thread
constexpr uint32_t kPushToken = 0xfffffffd;   // main -> client: followers' texts are waiting
constexpr size_t kMaxHandlers = 8;
constexpr size_t kMaxFaults = 64;  // fault texts waiting for the main thread; more are dropped
constexpr size_t kHeader = 4;      // the length field
constexpr size_t kCode = 4;

struct Handler {
  uint32_t code = 0;
  qcf_msg_handler_fn fn = nullptr;
};

// What the two threads share, under g_mu.
struct Shared {
  std::array<Handler, kMaxHandlers> handlers;
  std::array<std::vector<uint8_t>, QCF_MAX_CLIENTS> request;  // posted, by client index
  std::array<std::string, QCF_MAX_CLIENTS> reply;
  std::vector<std::string> faults;
  bool fault_posted = false;
  // Followers of the debug channel: the texts each has still to be sent, and how many it lost.
  std::array<bool, QCF_MAX_CLIENTS> follower{};
  std::array<std::deque<std::string>, QCF_MAX_CLIENTS> lines;
  std::array<uint32_t, QCF_MAX_CLIENTS> lost{};
  bool push_posted = false;
};

std::mutex g_mu;
Shared g_shared;
qcf_post_fn g_post = nullptr;
qcf_fault_fn g_fault = nullptr;
int g_chan[2] = {-1, -1};  // [0] the main thread's end, [1] the client thread's
int g_listen = -1;
std::string g_path;
std::thread g_thread;

qcf_msg_handler_fn handler_of(uint32_t code) {
  std::lock_guard<std::mutex> lock(g_mu);
  for (const Handler& h : g_shared.handlers) {
    if (h.fn && h.code == code) return h.fn;
  }
  return nullptr;
}

bool send_token(int fd, uint32_t token) {
  uint8_t b[4];
  ofa::wire::Writer(b, sizeof b).u32(token);
  return ::send(fd, b, sizeof b, MSG_DONTWAIT | MSG_NOSIGNAL) == sizeof b;
}

// --- the client thread ------------------------------------------------------------------------

struct Conn {
  int fd = -1;
  std::vector<uint8_t> in;   // the frame being read, never more than one
  std::vector<uint8_t> out;  // the reply frame being written
  size_t out_at = 0;
  uint32_t code = 0;    // of the request with the main thread
  bool busy = false;    // a request of this client is with the main thread
  bool follow = false;  // a follower of the debug channel: it is sent texts, it sends nothing
};

void fault(std::string text) {
  bool post = false;
  {
    std::lock_guard<std::mutex> lock(g_mu);
    if (g_shared.faults.size() < kMaxFaults) g_shared.faults.push_back(std::move(text));
    post = !g_shared.fault_posted;
    g_shared.fault_posted = true;
  }
  if (post && g_post) g_post(kFaultToken);
}

std::string client_text(size_t k, const char* what) {
  return "debug client " + std::to_string(k) + ": " + what;
}

void close_conn(Conn& c, size_t k) {
  if (c.follow) {
    std::lock_guard<std::mutex> lock(g_mu);
    g_shared.follower[k] = false;
    g_shared.lines[k].clear();
    g_shared.lost[k] = 0;
  }
  c.follow = false;
  if (c.fd >= 0) ::close(c.fd);
  c.fd = -1;
  c.in.clear();
  c.out.clear();
  c.out_at = 0;
}

// The bytes still missing from the frame being read.
size_t missing(const Conn& c) {
  if (c.in.size() < kHeader) return kHeader - c.in.size();
  uint32_t len = ofa::wire::Reader(c.in).u32();
  return kHeader + len - c.in.size();
}

// Checks the frame being read; posts it once whole. False when the connection was closed.
bool take_frame(Conn& c, size_t k) {
  if (c.in.size() < kHeader) return true;
  ofa::wire::Reader r(c.in);
  uint32_t len = r.u32();
  if (len > QCF_FRAME_MAX || len < kCode) {
    fault(client_text(k, ("frame length " + std::to_string(len) +
                          (len < kCode ? " holds no code" : " over 4096") + ": connection closed")
                             .c_str()));
    close_conn(c, k);
    return false;
  }
  if (c.in.size() < kHeader + len) return true;
  uint32_t code = r.u32();
  if (!handler_of(code)) {
    fault(client_text(k, ("unknown code " + std::to_string(code) + ": connection closed").c_str()));
    close_conn(c, k);
    return false;
  }
  {
    std::lock_guard<std::mutex> lock(g_mu);
    g_shared.request[k].assign(c.in.begin() + kHeader, c.in.end());
  }
  c.in.clear();
  c.code = code;
  c.busy = true;
  if (!g_post || g_post(static_cast<uint32_t>(k)) != 0) {
    c.busy = false;
    fault(client_text(k, "request could not be posted: connection closed"));
    close_conn(c, k);
    return false;
  }
  return true;
}

// A follower's further bytes are read and dropped; its close ends the following.
void read_follower(Conn& c, size_t k) {
  uint8_t b[256];
  ssize_t n = ::recv(c.fd, b, sizeof b, MSG_DONTWAIT);
  if (n == 0 || (n < 0 && errno != EAGAIN && errno != EINTR)) close_conn(c, k);
}

void read_conn(Conn& c, size_t k) {
  if (c.follow) {
    read_follower(c, k);
    return;
  }
  size_t want = missing(c);
  size_t had = c.in.size();
  c.in.resize(had + want);
  ssize_t n = ::recv(c.fd, c.in.data() + had, want, MSG_DONTWAIT);
  c.in.resize(had + (n > 0 ? static_cast<size_t>(n) : 0));
  if (n > 0) {
    take_frame(c, k);
  } else if (n == 0 || (errno != EAGAIN && errno != EINTR)) {
    if (!c.in.empty()) {
      fault(client_text(
          k, ("frame cut after " + std::to_string(c.in.size()) + " bytes: connection closed")
                 .c_str()));
    }
    close_conn(c, k);
  }
}

void write_conn(Conn& c, size_t k) {
  ssize_t n =
      ::send(c.fd, c.out.data() + c.out_at, c.out.size() - c.out_at, MSG_DONTWAIT | MSG_NOSIGNAL);
  if (n < 0 && (errno == EAGAIN || errno == EINTR)) return;
  if (n < 0) {
    fault(client_text(k, "gone before its answer"));
    close_conn(c, k);
    return;
  }
  c.out_at += static_cast<size_t>(n);
  if (c.out_at == c.out.size()) {
    c.out.clear();
    c.out_at = 0;
  }
}

void put_frame(Conn& c, uint32_t code, const std::string& text) {
  c.out.resize(kHeader + kCode + text.size());
  ofa::wire::Writer(c.out)
      .u32(static_cast<uint32_t>(kCode + text.size()))
      .u32(code)
      .text(text, text.size());
  c.out_at = 0;
}

std::string lost_text(uint32_t n) {
  return "debug channel: " + std::to_string(n) + " lines lost";
}

// A follower with nothing being written takes its next texts until the socket takes no more; the
// count of the texts it lost stands where they would have been.
void feed_follower(Conn& c, size_t k) {
  while (c.follow && c.fd >= 0 && c.out.empty()) {
    std::string text;
    {
      std::lock_guard<std::mutex> lock(g_mu);
      if (!g_shared.lines[k].empty()) {
        text = std::move(g_shared.lines[k].front());
        g_shared.lines[k].pop_front();
      } else if (g_shared.lost[k]) {
        text = lost_text(g_shared.lost[k]);
        g_shared.lost[k] = 0;
      } else {
        return;
      }
    }
    put_frame(c, c.code, text);
    write_conn(c, k);
  }
}

void answer(std::array<Conn, QCF_MAX_CLIENTS>& conns, uint32_t k) {
  if (k >= QCF_MAX_CLIENTS || !conns[k].busy) return;
  Conn& c = conns[k];
  std::string text;
  {
    std::lock_guard<std::mutex> lock(g_mu);
    text = std::move(g_shared.reply[k]);
    g_shared.reply[k].clear();
    c.follow = g_shared.follower[k];
  }
  c.busy = false;
  if (c.fd < 0) {
    close_conn(c, k);
    return;
  }
  put_frame(c, c.code, text);
  write_conn(c, k);
}

// False when the listening socket must rest before the next accept: out of descriptors or
// memory, a pending connection would wake the poll at once and the thread would spin.
bool accept_client(std::array<Conn, QCF_MAX_CLIENTS>& conns) {
  int fd = ::accept4(g_listen, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
  if (fd < 0) {
    if (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR || errno == ECONNABORTED)
      return true;
    fault(std::string("debug client not accepted: ") + std::strerror(errno));
    return false;
  }
  for (Conn& c : conns) {
    if (c.fd < 0 && !c.busy) {
      c.fd = fd;
      return true;
    }
  }
  ::close(fd);
  fault("debug client refused: " + std::to_string(QCF_MAX_CLIENTS) + " clients already");
  return true;
}

// How long the listening socket rests after a failed accept.
constexpr int kAcceptRestMs = 100;

void serve() {
  std::array<Conn, QCF_MAX_CLIENTS> conns;
  std::vector<pollfd> p;
  std::vector<size_t> owner;
  bool rest = false;
  for (;;) {
    p.assign({{g_listen, static_cast<short>(rest ? 0 : POLLIN), 0}, {g_chan[1], POLLIN, 0}});
    owner.clear();
    for (size_t k = 0; k < conns.size(); ++k) {
      const Conn& c = conns[k];
      if (c.fd < 0 || (c.busy && c.out.empty())) continue;  // a request waits for the main thread
      short events = c.out.empty() ? POLLIN : POLLOUT;
      if (c.follow) events |= POLLIN;
      p.push_back({c.fd, events, 0});
      owner.push_back(k);
    }
    if (::poll(p.data(), p.size(), rest ? kAcceptRestMs : -1) < 0) {
      if (errno == EINTR) continue;
      break;
    }
    for (size_t i = 2; i < p.size(); ++i) {
      Conn& c = conns[owner[i - 2]];
      if (!p[i].revents || c.fd != p[i].fd) continue;
      size_t k = owner[i - 2];
      if (c.follow && (p[i].revents & (POLLIN | POLLHUP | POLLERR))) read_conn(c, k);
      if (c.fd < 0) continue;
      if (!c.out.empty()) {
        write_conn(c, k);
        feed_follower(c, k);
      } else if (!c.follow) {
        read_conn(c, k);
      }
    }
    bool stop = false;
    uint8_t b[4];
    while (p[1].revents && !stop && ::recv(g_chan[1], b, sizeof b, MSG_DONTWAIT) == sizeof b) {
      uint32_t token = ofa::wire::Reader(b, sizeof b).u32();
      stop = token == kStopToken;
      if (token == kPushToken) {
        {
          std::lock_guard<std::mutex> lock(g_mu);
          g_shared.push_posted = false;
        }
        for (size_t k = 0; k < conns.size(); ++k)
          feed_follower(conns[k], k);
      } else if (!stop) {
        answer(conns, token);
      }
    }
    if (stop) break;
    rest = (p[0].revents & POLLIN) && !accept_client(conns);
  }
  for (size_t k = 0; k < conns.size(); ++k)
    close_conn(conns[k], k);
}

// Binds and listens on `path`; a socket left by a process that is gone is replaced, one held by a
// live process is not.
int listen_on(const std::string& path) {
  if (ofa::platform::ensure_parent_dir(path)) return -1;
  sockaddr_un sun{};
  sun.sun_family = AF_UNIX;
  if (path.size() >= sizeof sun.sun_path) return -1;
  std::memcpy(sun.sun_path, path.c_str(), path.size() + 1);
  auto* addr = reinterpret_cast<sockaddr*>(&sun);
  int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (fd < 0) return -1;
  if (::bind(fd, addr, sizeof sun) != 0 && errno == EADDRINUSE) {
    int probe = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    bool live = probe >= 0 && ::connect(probe, addr, sizeof sun) == 0;
    if (probe >= 0) ::close(probe);
    if (!live) {
      ::unlink(path.c_str());
      if (::bind(fd, addr, sizeof sun) != 0) live = true;
    }
    if (live) {
      ::close(fd);
      return -1;
    }
  }
  if (::listen(fd, static_cast<int>(QCF_MAX_CLIENTS)) != 0) {
    ::close(fd);
    return -1;
  }
  return fd;
}

}  // namespace

int ham_get_bpid(int /*argc*/, char** /*argv*/) {
  return static_cast<int>(dpx_ni_my_slot());
}

int add_client_message_handler(uint32_t code, qcf_msg_handler_fn fn) {
  std::lock_guard<std::mutex> lock(g_mu);
  Handler* free_row = nullptr;
  for (Handler& h : g_shared.handlers) {
    if (h.fn && h.code == code) {
      h.fn = fn;
      return 0;
    }
    if (!h.fn && !free_row) free_row = &h;
  }
  if (!fn) return 0;
  if (!free_row) return -1;
  *free_row = {code, fn};
  return 0;
}

void qcf_client_set_post_to_main_thread_function(qcf_post_fn fn) {
  g_post = fn;
}

void qcf_client_set_fault_function(qcf_fault_fn fn) {
  g_fault = fn;
}

int dce_qcf_client_init_comm_channel() {
  if (g_chan[0] >= 0) return g_chan[0];
  if (::socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, g_chan) != 0) {
    g_chan[0] = g_chan[1] = -1;
  }
  return g_chan[0];
}

int dce_qcf_client_post_msg(uint32_t token) {
  return g_chan[1] >= 0 && send_token(g_chan[1], token) ? 0 : -1;
}

void dce_qcf_client_process(int fd) {
  uint8_t b[4];
  while (::recv(fd, b, sizeof b, MSG_DONTWAIT) == sizeof b) {
    uint32_t token = ofa::wire::Reader(b, sizeof b).u32();
    if (token == kFaultToken) {
      std::vector<std::string> faults;
      {
        std::lock_guard<std::mutex> lock(g_mu);
        faults.swap(g_shared.faults);
        g_shared.fault_posted = false;
      }
      for (const std::string& f : faults) {
        if (g_fault) g_fault(f.c_str());
      }
      continue;
    }
    if (token >= QCF_MAX_CLIENTS) continue;
    std::vector<uint8_t> msg;
    {
      std::lock_guard<std::mutex> lock(g_mu);
      msg.swap(g_shared.request[token]);
    }
    std::string reply;
    int rc = 0;
    if (qcf_msg_handler_fn fn = handler_of(ofa::wire::Reader(msg).u32())) rc = fn(msg, &reply);
    {
      std::lock_guard<std::mutex> lock(g_mu);
      g_shared.reply[token] = std::move(reply);
      g_shared.follower[token] = rc == QCF_FOLLOW;
    }
    send_token(fd, token);
  }
}

void qcf_client_publish(const char* text) {
  bool post = false;
  {
    std::lock_guard<std::mutex> lock(g_mu);
    for (size_t k = 0; k < QCF_MAX_CLIENTS; ++k) {
      if (!g_shared.follower[k]) continue;
      if (g_shared.lines[k].size() < QCF_FOLLOW_QUEUE) {
        if (g_shared.lost[k]) g_shared.lines[k].push_back(lost_text(g_shared.lost[k]));
        g_shared.lost[k] = 0;
        g_shared.lines[k].emplace_back(text);
      } else {
        g_shared.lost[k]++;
      }
      post = !g_shared.push_posted;
    }
    if (post) g_shared.push_posted = true;
  }
  if (post && g_chan[0] >= 0) send_token(g_chan[0], kPushToken);
}

int qcf_initialize_client(const char* name) {
  if (g_chan[0] < 0 || !name || g_listen >= 0) return -1;
  std::string path = ofa::platform::qcf_path(name);
  g_listen = listen_on(path);
  if (g_listen < 0) return -1;
  g_path = path;
  g_thread = std::thread(serve);
  return 0;
}

void qcf_client_shutdown() {
  if (g_thread.joinable()) {
    send_token(g_chan[0], kStopToken);
    g_thread.join();
  }
  if (g_listen >= 0) {
    ::close(g_listen);
    ::unlink(g_path.c_str());
  }
  for (int& fd : g_chan) {
    if (fd >= 0) ::close(fd);
    fd = -1;
  }
  g_listen = -1;
  g_path.clear();
  std::lock_guard<std::mutex> lock(g_mu);
  g_shared = Shared{};
}
