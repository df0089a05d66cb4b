// The manager's end of the agent's socket for in-process tests: a fresh run directory, the
// agent's manager socket opened in it, and the MP's end bound, so that what the agent sends to
// the manager can be taken back, one datagram per message.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ofa::test {

class MgrEnd {
 public:
  MgrEnd();
  ~MgrEnd();
  MgrEnd(const MgrEnd&) = delete;
  MgrEnd& operator=(const MgrEnd&) = delete;
  bool ok() const { return mp_ >= 0 && opened_; }
  // Every datagram sent to the manager since the last call, in order.
  std::vector<std::vector<uint8_t>> take();

 private:
  std::string dir_;
  int mp_ = -1;
  bool opened_ = false;
};

}  // namespace ofa::test
