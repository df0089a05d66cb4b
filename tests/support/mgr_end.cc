#include "mgr_end.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "agent/agent_globals.h"
#include "manager/mxl.h"
#include "platform/run_dir.h"
#include "processes.h"

namespace ofa::test {

MgrEnd::MgrEnd() {
  char tmpl[] = "/tmp/ofa_mgr_XXXXXX";
  if (!mkdtemp(tmpl)) return;
  dir_ = tmpl;
  setenv("OFA_RUN_DIR", dir_.c_str(), 1);
  of_corvu_state.is_agent = 1;
  opened_ = of_mxl_init() == 0;
  mp_ = bind_dgram(platform::pq6_mp_path("ofmgragt"));
}

MgrEnd::~MgrEnd() {
  of_mxl_close();
  if (mp_ >= 0) close(mp_);
  unsetenv("OFA_RUN_DIR");
  std::error_code ec;
  if (!dir_.empty()) std::filesystem::remove_all(dir_, ec);
}

std::vector<std::vector<uint8_t>> MgrEnd::take() {
  std::vector<std::vector<uint8_t>> out;
  uint8_t buf[8192];
  ssize_t n;
  while (mp_ >= 0 && (n = recv(mp_, buf, sizeof buf, MSG_DONTWAIT)) >= 0)
    out.emplace_back(buf, buf + n);
  return out;
}

}  // namespace ofa::test
