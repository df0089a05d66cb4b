// The server on real sockets in a temporary run directory: ioctls over the command socket, the
// start-up events on the agent's event socket, and the control socket.
#include <thread>

#include "chipsim_test_util.h"
#include "model/status.h"
#include "platform/run_dir.h"
#include "processes.h"
#include "server/server.h"

namespace ofa::chipsim::test {
namespace {

constexpr uint32_t kSlot = 3;

int connect_to(int type, const std::string& path) {
  int fd = ::socket(AF_UNIX, type, 0);
  sockaddr_un a = ofa::test::unix_addr(path);
  if (::connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0) return fd;
  ::close(fd);
  return -1;
}

class ServerTest : public ofa::test::RunDir {
 protected:
  void SetUp() override {
    RunDir::SetUp();
    ModelConfig cfg = config(Family::ard);
    cfg.chips = {{kSlot, 0, 1}};
    model_ = std::make_unique<Model>(cfg);
    control_ = std::make_unique<Control>(Control{*model_, nullptr, {kSlot}, {}, 0});
    server_ = std::make_unique<Server>(*model_, *control_, ServerOptions{kSlot, true, 20});
    control_->send = [this](std::span<const uint8_t> d) { return server_->send_event(d); };
    auto err = server_->open();
    ASSERT_FALSE(err) << *err;
    // The agent's end of the events, bound before the agent connects.
    events_ = ofa::test::bind_dgram(platform::hsl_event_path(kSlot));
    ASSERT_GE(events_, 0);
    thread_ = std::thread([this] { server_->run(stop_); });
  }
  void TearDown() override {
    stop_ = true;
    if (thread_.joinable()) thread_.join();
    if (events_ >= 0) ::close(events_);
    server_.reset();
    RunDir::TearDown();
  }

  std::unique_ptr<Model> model_;
  std::unique_ptr<Control> control_;
  std::unique_ptr<Server> server_;
  std::atomic<bool> stop_{false};
  std::thread thread_;
  int events_ = -1;
};

TEST_F(ServerTest, IoctlsEventsAndControl) {
  int cmd = connect_to(SOCK_SEQPACKET, platform::hsl_cmd_path(kSlot));
  ASSERT_GE(cmd, 0);
  // A message longer than the 4096-byte buffer is refused. (Well-formed ioctls are what every
  // integration test sends.)
  std::vector<uint8_t> big(5000, 0);
  ASSERT_GT(::send(cmd, big.data(), big.size(), 0), 0);
  auto reply = ofa::test::recv_within(cmd, 5000);
  ASSERT_TRUE(reply.has_value());
  ASSERT_EQ(reply->size(), 4096u);
  EXPECT_EQ(static_cast<int32_t>(wire::Reader(*reply).u32_at(72)), status::kProtocol);

  // The start-up events follow the connection: slot-up, then chip-up.
  std::vector<uint32_t> got;
  for (int i = 0; i < 2; ++i) {
    auto d = ofa::test::recv_within(events_, 5000);
    ASSERT_TRUE(d.has_value() && d->size() == 552u);
    got.push_back(wire::Reader(*d).u32_at(48));
    EXPECT_EQ(wire::Reader(*d).u32_at(52), kSlot);
  }
  EXPECT_EQ(got, (std::vector<uint32_t>{5, 3}));

  // Two control lines in one write get two answers.
  int ctl = connect_to(SOCK_STREAM, platform::hsl_ctl_path(kSlot));
  ASSERT_GE(ctl, 0);
  std::string lines = "stats\nevent chip-down\n";
  ASSERT_EQ(::send(ctl, lines.data(), lines.size(), 0), static_cast<ssize_t>(lines.size()));
  std::string answers;
  char buf[8192];
  pollfd p{ctl, POLLIN, 0};
  while (std::count(answers.begin(), answers.end(), '\n') < 2 && ::poll(&p, 1, 5000) == 1) {
    ssize_t k = ::recv(ctl, buf, sizeof buf, 0);
    if (k <= 0) break;
    answers.append(buf, static_cast<size_t>(k));
  }
  EXPECT_EQ(answers.rfind(R"({"ok":true,"stats":)", 0), 0u) << answers;
  EXPECT_NE(answers.find("{\"ok\":true,\"sent\":1}\n"), std::string::npos) << answers;
  ::close(ctl);
  EXPECT_EQ(run_control_client(kSlot, "check"), 0);
  EXPECT_EQ(run_control_client(kSlot, "frobnicate"), 1);
  ::close(cmd);
}

}  // namespace
}  // namespace ofa::chipsim::test
