#include "platform/pq6.h"

#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/run_dir.h"

namespace {

struct ErrReport {
  uint32_t code;
  pq6_addr addr;
};

// Datagrams a receive without waiting took from the socket beyond the one it returned, in
// arrival order, each cut to the caller's buffer of that receive.
struct ReadAhead {
  static constexpr unsigned kMax = 16;
  size_t cap = 0;             // bytes kept of each datagram
  std::vector<uint8_t> data;  // kMax slots of cap bytes (at least one)
  uint8_t* slot(unsigned i) { return data.data() + i * std::max<size_t>(cap, 1); }
  std::array<size_t, kMax> len{};
  std::array<bool, kMax> truncated{};
  std::array<pq6_addr, kMax> src{};
  unsigned next = 0, count = 0;
};

struct Pq6Sock {
  std::string path;
  int (*recv_cb)(int) = nullptr;
  std::deque<ErrReport> errors;
  uint64_t token = 0;
  ReadAhead ahead;
};

std::mutex g_mu;
std::map<int, Pq6Sock> g_socks;

std::string name_of(const pq6_addr& a) {
  return std::string(a.name, strnlen(a.name, sizeof a.name));
}

// Lowest set bit of the slot mask gives the slot (bit n is slot n + 1); mask 0 is slot 0.
uint32_t slot_of_mask(uint16_t mask) {
  for (uint32_t b = 0; b < 16; ++b) {
    if (mask & (1u << b)) return b + 1;
  }
  return 0;
}

bool to_sockaddr(const std::string& path, sockaddr_un* sun) {
  if (path.size() >= sizeof sun->sun_path) return false;
  *sun = sockaddr_un{};
  sun->sun_family = AF_UNIX;
  std::memcpy(sun->sun_path, path.c_str(), path.size() + 1);
  return true;
}

// The sender's PQ6 address from its bound path: ".mp" is the active MP, ".<n>" slot n.
pq6_addr addr_of_path(const std::string& path) {
  pq6_addr a{};
  a.family = AF_PQ6;
  auto slash = path.rfind('/');
  std::string leaf = slash == std::string::npos ? path : path.substr(slash + 1);
  auto dot = leaf.rfind('.');
  if (dot == std::string::npos) return a;
  std::string name = leaf.substr(0, dot);
  std::string tail = leaf.substr(dot + 1);
  std::memcpy(a.name, name.data(), std::min(name.size(), sizeof a.name - 1));
  if (tail == "mp") {
    a.flags = PQ6_FLAG_ACTIVE_MP | PQ6_FLAG_MP;
  } else if (!tail.empty() && tail.size() <= 2 &&
             tail.find_first_not_of("0123456789") == std::string::npos) {
    unsigned long n = std::stoul(tail);
    if (n >= 1 && n <= 16) a.slot_mask = static_cast<uint16_t>(1u << (n - 1));
  }
  return a;
}

pq6_addr addr_of_sun(const sockaddr_un& from, socklen_t len) {
  size_t plen = len > offsetof(sockaddr_un, sun_path)
                    ? strnlen(from.sun_path, len - offsetof(sockaddr_un, sun_path))
                    : 0;
  return addr_of_path(std::string(from.sun_path, plen));
}

size_t iov_room(const msghdr* msg) {
  size_t room = 0;
  for (size_t i = 0; i < msg->msg_iovlen; ++i)
    room += msg->msg_iov[i].iov_len;
  return room;
}

// Copies `len` bytes over the caller's buffers; the bytes that fit.
size_t copy_to_iov(const msghdr* msg, const uint8_t* data, size_t len) {
  size_t done = 0;
  for (size_t i = 0; i < msg->msg_iovlen && done < len; ++i) {
    size_t n = std::min(len - done, msg->msg_iov[i].iov_len);
    std::memcpy(msg->msg_iov[i].iov_base, data + done, n);
    done += n;
  }
  return done;
}

// Takes up to ReadAhead::kMax waiting datagrams in one call, cut to `cap` bytes each; the count,
// or -1 with errno (EAGAIN when none waits).
int fill_ahead(int fd, ReadAhead& a, size_t cap) {
  if (a.cap != cap || a.data.empty()) {
    a.cap = cap;
    a.data.assign(ReadAhead::kMax * std::max<size_t>(cap, 1), 0);
  }
  std::array<mmsghdr, ReadAhead::kMax> vec{};
  std::array<iovec, ReadAhead::kMax> iov{};
  std::array<sockaddr_un, ReadAhead::kMax> from{};
  for (unsigned i = 0; i < ReadAhead::kMax; ++i) {
    iov[i] = {a.slot(i), cap};
    vec[i].msg_hdr.msg_name = &from[i];
    vec[i].msg_hdr.msg_namelen = sizeof from[i];
    vec[i].msg_hdr.msg_iov = &iov[i];
    vec[i].msg_hdr.msg_iovlen = 1;
  }
  int n = ::recvmmsg(fd, vec.data(), ReadAhead::kMax, MSG_DONTWAIT, nullptr);
  if (n <= 0) return n;
  for (int i = 0; i < n; ++i) {
    a.len[i] = vec[i].msg_len;
    a.truncated[i] = (vec[i].msg_hdr.msg_flags & MSG_TRUNC) != 0;
    a.src[i] = addr_of_sun(from[i], vec[i].msg_hdr.msg_namelen);
  }
  a.next = 0;
  a.count = static_cast<unsigned>(n);
  return n;
}

void put_cmsg(msghdr* msg, size_t room, int32_t type, const void* data, size_t len) {
  if (!msg->msg_control) return;
  mxl_cmsghdr h{static_cast<uint32_t>(sizeof h + len), SOL_PQ6, type};
  uint8_t buf[sizeof h + PQ6_ERR_RECORD_SIZE] = {};
  std::memcpy(buf, &h, sizeof h);
  std::memcpy(buf + sizeof h, data, len);
  size_t n = std::min(room, sizeof h + len);
  std::memcpy(msg->msg_control, buf, n);
  msg->msg_controllen = n;
}

// A send without waiting that meets a full queue retries until it gets room or the bound is spent
// (Linux queues 10 datagrams where the platform's transport holds far more); every other failure,
// a receiver gone among them, returns at once.
ssize_t send_waiting(int sock, const msghdr* m, int flags) {
  if (!(flags & MXL_MSG_DONTWAIT)) return ::sendmsg(sock, m, MSG_NOSIGNAL);
  auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(PQ6_FULL_WAIT_MS);
  for (;;) {
    ssize_t n = ::sendmsg(sock, m, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (n >= 0 || (errno != EAGAIN && errno != ENOBUFS)) return n;
    if (std::chrono::steady_clock::now() >= deadline) return n;
    std::this_thread::sleep_for(std::chrono::microseconds(100));
  }
}

}  // namespace

int mxl_open(const pq6_addr* addr, const mxl_params* params, int /*rsm_handle*/) {
  if (!addr || addr->family != AF_PQ6) return -1;
  std::string path = ofa::platform::pq6_path(name_of(*addr), slot_of_mask(addr->slot_mask));
  if (ofa::platform::ensure_parent_dir(path)) return -1;
  sockaddr_un sun;
  if (!to_sockaddr(path, &sun)) return -1;
  int fd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return -1;
  ::unlink(path.c_str());
  if (::bind(fd, reinterpret_cast<sockaddr*>(&sun), sizeof sun) != 0) {
    ::close(fd);
    return -1;
  }
  std::lock_guard<std::mutex> lock(g_mu);
  Pq6Sock& s = g_socks[fd];
  s = Pq6Sock{};
  s.path = path;
  s.recv_cb = params ? params->recv_cb : nullptr;
  return fd;
}

int mxl_control(int sock, int /*cmd*/, int /*arg*/) {
  std::lock_guard<std::mutex> lock(g_mu);
  if (!g_socks.count(sock)) {
    errno = EBADF;
    return -1;
  }
  return 0;
}

ssize_t mxl_recvmsg(int sock, msghdr* msg, int flags) {
  if (!msg) {
    errno = EINVAL;
    return -1;
  }
  msg->msg_flags = 0;
  // Control data is present only when the call fills it.
  size_t room = msg->msg_controllen;
  msg->msg_controllen = 0;
  std::unique_lock<std::mutex> lock(g_mu);
  auto it = g_socks.find(sock);
  if (it == g_socks.end()) {
    errno = EBADF;
    return -1;
  }
  auto& errors = it->second.errors;
  if (flags & MXL_MSG_ERRQUEUE) {
    if (errors.empty()) {
      errno = EAGAIN;
      return -1;
    }
    ErrReport r = errors.front();
    errors.pop_front();
    uint8_t rec[PQ6_ERR_RECORD_SIZE] = {};
    std::memcpy(rec, &r.code, sizeof r.code);
    std::memcpy(rec + 12, &r.addr, sizeof r.addr);
    put_cmsg(msg, room, PQ6_CMSG_ERR, rec, sizeof rec);
    msg->msg_flags = MXL_MSG_ERRQUEUE;
    if (msg->msg_name && msg->msg_namelen >= sizeof(pq6_addr)) {
      std::memcpy(msg->msg_name, &r.addr, sizeof r.addr);
    }
    return 0;
  }
  if (!errors.empty()) {
    errno = MXL_ERRNO_ERRQUEUE;
    return -1;
  }
  // Without waiting, the datagrams that wait are taken in one call and handed out one by one.
  ReadAhead& a = it->second.ahead;
  if (a.count == 0 && (flags & MXL_MSG_DONTWAIT) && fill_ahead(sock, a, iov_room(msg)) < 0)
    return -1;
  ssize_t n;
  pq6_addr src;
  bool truncated;
  if (a.count > 0) {
    unsigned i = a.next++;
    --a.count;
    size_t copied = copy_to_iov(msg, a.slot(i), a.len[i]);
    n = static_cast<ssize_t>(copied);
    truncated = a.truncated[i] || copied < a.len[i];
    src = a.src[i];
  } else {
    lock.unlock();  // a receive that waits holds nobody else up
    sockaddr_un from{};
    msghdr m{};
    m.msg_name = &from;
    m.msg_namelen = sizeof from;
    m.msg_iov = msg->msg_iov;
    m.msg_iovlen = msg->msg_iovlen;
    n = ::recvmsg(sock, &m, (flags & MXL_MSG_DONTWAIT) ? MSG_DONTWAIT : 0);
    if (n < 0) return n;
    src = addr_of_sun(from, m.msg_namelen);
    truncated = (m.msg_flags & MSG_TRUNC) != 0;
    lock.lock();
    it = g_socks.find(sock);
  }
  if (msg->msg_name && msg->msg_namelen >= sizeof(pq6_addr)) {
    std::memcpy(msg->msg_name, &src, sizeof src);
    msg->msg_namelen = sizeof src;
  }
  uint64_t token = it == g_socks.end() ? 0 : ++it->second.token;
  lock.unlock();
  put_cmsg(msg, room, PQ6_CMSG_DONE, &token, sizeof token);
  if (truncated) msg->msg_flags |= MSG_TRUNC;
  return n;
}

size_t mxl_pending(int sock) {
  std::lock_guard<std::mutex> lock(g_mu);
  auto it = g_socks.find(sock);
  return it == g_socks.end() ? 0 : it->second.ahead.count;
}

ssize_t mxl_sendmsg(int sock, const msghdr* msg, int flags, size_t /*size*/) {
  if (!msg || !msg->msg_name || msg->msg_namelen < sizeof(pq6_addr)) {
    errno = EINVAL;
    return -1;
  }
  pq6_addr dst;
  std::memcpy(&dst, msg->msg_name, sizeof dst);
  std::string name = name_of(dst);
  std::string path = (dst.flags & (PQ6_FLAG_ACTIVE_MP | PQ6_FLAG_ACTIVE)) || dst.slot_mask == 0
                         ? ofa::platform::pq6_mp_path(name)
                         : ofa::platform::pq6_path(name, slot_of_mask(dst.slot_mask));
  sockaddr_un sun;
  if (!to_sockaddr(path, &sun)) {
    errno = ENAMETOOLONG;
    return -1;
  }
  msghdr m{};
  m.msg_name = &sun;
  m.msg_namelen = sizeof sun;
  m.msg_iov = msg->msg_iov;
  m.msg_iovlen = msg->msg_iovlen;
  ssize_t n = send_waiting(sock, &m, flags);
  if (n >= 0) return n;
  uint32_t code = 0;
  if (errno == EAGAIN || errno == ENOBUFS) code = PQ6_ERR_HIGH_THRESHOLD;
  if (errno == ENOENT || errno == ECONNREFUSED) code = PQ6_ERR_INVALID_DEST;
  if (code == 0) return -1;
  // The library takes the datagram and reports its loss later on the error queue.
  size_t total = 0;
  for (size_t i = 0; i < msg->msg_iovlen; ++i)
    total += msg->msg_iov[i].iov_len;
  std::lock_guard<std::mutex> lock(g_mu);
  auto it = g_socks.find(sock);
  if (it != g_socks.end()) it->second.errors.push_back({code, dst});
  return static_cast<ssize_t>(total);
}

int mxl_msgdone(int sock, const uint8_t* token) {
  std::lock_guard<std::mutex> lock(g_mu);
  return (token && g_socks.count(sock)) ? 0 : -1;
}

int (*mxl_recv_callback(int sock))(int) {
  std::lock_guard<std::mutex> lock(g_mu);
  auto it = g_socks.find(sock);
  return it == g_socks.end() ? nullptr : it->second.recv_cb;
}

int mxl_fd(int sock) {
  return sock;
}

void mxl_close(int sock) {
  std::string path;
  {
    std::lock_guard<std::mutex> lock(g_mu);
    auto it = g_socks.find(sock);
    if (it == g_socks.end()) return;
    path = it->second.path;
    g_socks.erase(it);
  }
  ::close(sock);
  ::unlink(path.c_str());
}

int get_active_mp_slot() {
  return 0;
}
