// The manager's end of the agent's socket for in-process tests: a fresh run directory, the
// agent's manager socket opened in it, and the MP's end bound, so that what the agent sends to
// the manager can be taken back, one datagram per message.
#pragma once

#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "agent/agent_globals.h"
#include "manager/mxl.h"
#include "platform/run_dir.h"
#include "processes.h"

namespace ofa::test {

class MgrEnd {
 public:
  MgrEnd() {
    char tmpl[] = "/tmp/ofa_mgr_XXXXXX";
    if (!mkdtemp(tmpl)) return;
    dir_ = tmpl;
    setenv("OFA_RUN_DIR", dir_.c_str(), 1);
    of_corvu_state.is_agent = 1;
    opened_ = of_mxl_init() == 0;
    mp_ = bind_dgram(platform::pq6_mp_path("ofmgragt"));
  }
  ~MgrEnd() {
    of_mxl_close();
    if (mp_ >= 0) close(mp_);
    unsetenv("OFA_RUN_DIR");
    std::error_code ec;
    if (!dir_.empty()) std::filesystem::remove_all(dir_, ec);
  }
  MgrEnd(const MgrEnd&) = delete;
  MgrEnd& operator=(const MgrEnd&) = delete;
  bool ok() const { return mp_ >= 0 && opened_; }
  // Every datagram sent to the manager since the last call, in order.
  std::vector<std::vector<uint8_t>> take() {
    std::vector<std::vector<uint8_t>> out;
    uint8_t buf[8192];
    ssize_t n;
    while (mp_ >= 0 && (n = recv(mp_, buf, sizeof buf, MSG_DONTWAIT)) >= 0)
      out.emplace_back(buf, buf + n);
    return out;
  }

 private:
  std::string dir_;
  int mp_ = -1;
  bool opened_ = false;
};

}  // namespace ofa::test
