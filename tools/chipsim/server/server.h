// The HSL side of one line processor: serves hsl/cmd.<slot> (one SOCK_SEQPACKET message in, one
// back, written in place by the model), hsl/ctl.<slot> (the control protocol, one line each),
// and sends events to the agent's hsl/event.<slot>.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "control/control.h"
#include "model/model.h"

namespace ofa::chipsim {

struct ServerOptions {
  uint32_t slot = 1;
  bool auto_events = true;  // slot-up and chip-up once, after the first agent connects
  uint32_t event_delay_ms = 1000;
};

class Server {
 public:
  Server(Model& model, Control& control, ServerOptions opts);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  // Binds the command and control sockets; answers an error text on failure.
  std::optional<std::string> open();
  // Serves until `stop` turns true (checked at least every 200 ms).
  void run(const std::atomic<bool>& stop);
  // Sends one datagram to the agent's event socket.
  std::optional<std::string> send_event(std::span<const uint8_t> datagram);

 private:
  struct ControlConn {
    int fd = -1;
    std::string in;
    std::string out;
  };

  void accept_agent();
  void accept_control();
  bool serve_agent(int fd);  // false: connection ended
  bool read_control(ControlConn& c);
  bool write_control(ControlConn& c);
  int poll_timeout() const;
  void maybe_send_auto_events();

  Model& model_;
  Control& control_;
  ServerOptions opts_;
  std::string cmd_path_, ctl_path_, event_path_;
  int cmd_fd_ = -1, ctl_fd_ = -1, event_fd_ = -1;
  std::vector<int> agents_;
  std::vector<ControlConn> controls_;
  std::optional<std::chrono::steady_clock::time_point> auto_at_;
  bool auto_done_ = false;
};

// Client mode: sends one control line to hsl/ctl.<slot>, prints the answer. Exit status 0 when
// the answer is {"ok":true,...}.
int run_control_client(uint32_t slot, const std::string& line);

}  // namespace ofa::chipsim
