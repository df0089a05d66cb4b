// The debug client socket: frames that are answered and frames that close their connection (with a
// fault told to the main thread) while the other connections go on; the client limit; a process
// out of descriptors.
#include "platform/qcf.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "platform/run_dir.h"
#include "platform/wire.h"
#include "processes.h"

namespace {

constexpr uint32_t kCode = 16003;

std::mutex g_mu;
std::vector<std::string> g_faults;

int echo(std::span<const uint8_t> msg, std::string* reply) {
  *reply = "echo:" + std::string(msg.begin() + 4, msg.end());
  return 0;
}

void on_fault(const char* what) {
  std::lock_guard<std::mutex> lock(g_mu);
  g_faults.emplace_back(what);
}

std::vector<uint8_t> frame(uint32_t length, uint32_t code, const std::string& text) {
  std::vector<uint8_t> b(8 + text.size());
  ofa::wire::Writer(b).u32(length).u32(code).text(text, text.size());
  return b;
}

std::vector<uint8_t> request(const std::string& text, uint32_t code = kCode) {
  return frame(static_cast<uint32_t>(4 + text.size()), code, text);
}

// The main thread's part: serves the comm channel until stopped.
class Qcf : public ofa::test::RunDir {
 protected:
  void SetUp() override {
    RunDir::SetUp();
    g_faults.clear();
    qcf_client_set_post_to_main_thread_function(dce_qcf_client_post_msg);
    qcf_client_set_fault_function(on_fault);
    int fd = dce_qcf_client_init_comm_channel();
    ASSERT_GE(fd, 0);
    ASSERT_EQ(add_client_message_handler(kCode, echo), 0);
    ASSERT_EQ(qcf_initialize_client("ofagt_p1"), 0);
    main_ = std::thread([this, fd] {
      while (!stop_) {
        pollfd p{fd, POLLIN, 0};
        if (::poll(&p, 1, 10) == 1) dce_qcf_client_process(fd);
      }
    });
  }
  void TearDown() override {
    for (int fd : open_)
      ::close(fd);
    stop_ = true;
    main_.join();
    qcf_client_shutdown();
    RunDir::TearDown();
  }

  // A new connection to the channel.
  int connect_client() {
    int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un sun = ofa::test::unix_addr(ofa::platform::qcf_path("ofagt_p1"));
    EXPECT_EQ(::connect(fd, reinterpret_cast<sockaddr*>(&sun), sizeof sun), 0);
    open_.push_back(fd);
    return fd;
  }
  static void send_all(int fd, const std::vector<uint8_t>& b) {
    ASSERT_EQ(::send(fd, b.data(), b.size(), MSG_NOSIGNAL), static_cast<ssize_t>(b.size()));
  }
  // The reply's text, or nothing once the connection is closed.
  static std::optional<std::string> reply(int fd, uint32_t code = kCode) {
    std::vector<uint8_t> b;
    size_t want = 4;
    while (b.size() < want) {
      pollfd p{fd, POLLIN, 0};
      if (::poll(&p, 1, 5000) != 1) return "(no answer)";
      uint8_t chunk[8192];
      ssize_t n = ::recv(fd, chunk, std::min(sizeof chunk, want - b.size()), 0);
      if (n <= 0) return std::nullopt;
      b.insert(b.end(), chunk, chunk + n);
      if (b.size() == 4) want = 4 + ofa::wire::Reader(b).u32();
    }
    ofa::wire::Reader r(b);
    r.u32();
    EXPECT_EQ(r.u32(), code);
    return std::string(b.begin() + 8, b.end());
  }
  static bool fault_seen(const std::string& text) {
    return ofa::test::wait_for([&] {
      std::lock_guard<std::mutex> lock(g_mu);
      return std::any_of(g_faults.begin(), g_faults.end(),
                         [&](const std::string& f) { return f.find(text) != std::string::npos; });
    });
  }

  std::thread main_;
  std::atomic<bool> stop_{false};
  std::vector<int> open_;
};

struct FrameCase {
  const char* name;
  std::vector<uint8_t> bytes;
  bool cut;                          // the client closes its side after the bytes
  std::optional<std::string> reply;  // nothing: the connection is closed
  const char* fault;
};

TEST_F(Qcf, FramesAnsweredOrClosedWhileOthersGoOn) {
  const std::string longest(4092, 'a');
  const FrameCase cases[] = {
      {"code alone", request(""), false, "echo:", nullptr},
      {"length 4096", request(longest), false, "echo:" + longest, nullptr},
      {"length 0", std::vector<uint8_t>(4, 0), false, std::nullopt,
       "frame length 0 holds no code: connection closed"},
      {"length 4097", frame(4097, kCode, ""), false, std::nullopt,
       "frame length 4097 over 4096: connection closed"},
      {"unknown code", request("x", 7), false, std::nullopt, "unknown code 7: connection closed"},
      {"cut frame", frame(100, kCode, "0123456789"), true, std::nullopt,
       "frame cut after 18 bytes: connection closed"},
  };
  int bystander = connect_client();
  for (const FrameCase& c : cases) {
    SCOPED_TRACE(c.name);
    int fd = connect_client();
    send_all(fd, c.bytes);
    if (c.cut) ::shutdown(fd, SHUT_WR);
    EXPECT_EQ(reply(fd), c.reply);
    if (c.fault) {
      EXPECT_TRUE(fault_seen(c.fault));
    }
    send_all(bystander, request(c.name));
    EXPECT_EQ(reply(bystander), std::string("echo:") + c.name);
  }
}

TEST_F(Qcf, SeventeenthClientRefused) {
  std::vector<int> clients;
  for (uint32_t i = 0; i < QCF_MAX_CLIENTS; ++i) {
    clients.push_back(connect_client());
    send_all(clients.back(), request(std::to_string(i)));
    ASSERT_EQ(reply(clients.back()), "echo:" + std::to_string(i));
  }
  int extra = connect_client();
  EXPECT_EQ(reply(extra), std::nullopt);
  EXPECT_TRUE(fault_seen("refused: 16 clients already"));
  send_all(clients.front(), request("still"));
  EXPECT_EQ(reply(clients.front()), "echo:still");
}

// With no descriptor left the pending connection cannot be accepted: the thread says so and rests
// instead of spinning on it, and takes the connection once descriptors are free again.
TEST_F(Qcf, OutOfDescriptorsTheClientWaitsItsTurn) {
  const char* preload = std::getenv("LD_PRELOAD");
  if (preload && std::strstr(preload, "vgpreload"))
    GTEST_SKIP()
        << "valgrind keeps its own descriptor limit and closes what the kernel accepts past it";
  int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un sun = ofa::test::unix_addr(ofa::platform::qcf_path("ofagt_p1"));
  rlimit saved{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &saved), 0);
  rlimit low = saved;
  low.rlim_cur = static_cast<rlim_t>(fd) + 8;
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &low), 0);
  std::vector<int> filler;
  for (int d; (d = ::dup(fd)) >= 0;)
    filler.push_back(d);
  // No member call until descriptors are free again: UBSan's check of `this` needs one.
  EXPECT_EQ(::connect(fd, reinterpret_cast<sockaddr*>(&sun), sizeof sun), 0);
  EXPECT_TRUE(fault_seen("debug client not accepted: Too many open files"));
  for (int d : filler)
    ::close(d);
  open_.push_back(fd);
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &saved), 0);
  send_all(fd, request("later"));
  EXPECT_EQ(reply(fd), "echo:later");
}

// A client that goes away while the main thread works on its request: the answer is dropped with
// a trace, and the others are served.
TEST_F(Qcf, ClientGoneBeforeItsAnswer) {
  static std::atomic<bool> gone{false};
  ASSERT_EQ(
      add_client_message_handler(16001,
                                 [](std::span<const uint8_t>, std::string* reply) {
                                   for (int i = 0; i < 200 && !gone; ++i)
                                     std::this_thread::sleep_for(std::chrono::milliseconds(10));
                                   *reply = "too late";
                                   return 0;
                                 }),
      0);
  int fd = connect_client();
  send_all(fd, request("x", 16001));
  ::shutdown(fd, SHUT_RDWR);
  gone = true;
  EXPECT_TRUE(fault_seen("gone before its answer"));
  int other = connect_client();
  send_all(other, request("still"));
  EXPECT_EQ(reply(other), "echo:still");
}

// A follower gets each published text as a frame; publishing never waits for it, and what its
// queue could not hold it is told as a count: every text is received or counted lost, once.
TEST_F(Qcf, FollowerGetsEveryTextOrItsCount) {
  constexpr uint32_t kFollow = 16002;
  ASSERT_EQ(add_client_message_handler(kFollow,
                                       [](std::span<const uint8_t>, std::string* reply) {
                                         *reply = "following";
                                         return QCF_FOLLOW;
                                       }),
            0);
  int follower = connect_client();
  send_all(follower, request("", kFollow));
  ASSERT_EQ(reply(follower, kFollow), "following");
  qcf_client_publish("first");
  EXPECT_EQ(reply(follower, kFollow), "first");

  const std::string text(1000, 'x');
  constexpr uint32_t kPublished = 4 * QCF_FOLLOW_QUEUE;
  for (uint32_t i = 0; i < kPublished; ++i)
    qcf_client_publish(text.c_str());
  uint32_t received = 0, lost = 0;
  while (received + lost < kPublished) {
    std::optional<std::string> t = reply(follower, kFollow);
    ASSERT_TRUE(t && *t != "(no answer)") << received << " received, " << lost << " lost";
    if (*t == text) {
      ++received;
    } else {
      ASSERT_TRUE(t->starts_with("debug channel: ") && t->ends_with(" lines lost")) << *t;
      lost += static_cast<uint32_t>(std::stoul(t->substr(15)));
    }
  }
  EXPECT_EQ(received + lost, kPublished);
  EXPECT_GT(lost, 0u);
}

}  // namespace
