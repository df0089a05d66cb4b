// The fixture of chip-layer unit tests: a fresh agent (see agent_reset.h) before each case and
// all its globals back to their start after it.
#pragma once

#include <gtest/gtest.h>

#include "agent/agent_globals.h"
#include "agent/reset.h"
#include "agent_reset.h"
#include "chip/chip_event.h"
#include "chip/chip_table.h"
#include "chip/hsl_transport.h"
#include "chip/if_table.h"
#include "fake_hsl.h"
#include "platform/ifindex.h"
#include "platform/system.h"
#include "trace_capture.h"

namespace ofa::test {

class ChipEnv : public ::testing::Test {
 protected:
  void SetUp() override { reset_agent(); }
  void TearDown() override { ofa_reset_all(); }

  static int chip_up(uint32_t slot, uint32_t local, int warm = 0) {
    return ofa::test::chip_up(slot, local, warm);
  }
  static FakeHsl& hsl() { return fake_hsl(); }
  // What `fn` printed.
  template <typename Fn>
  static std::string printed(Fn fn) {
    TraceCapture words;
    fn();
    return words.text();
  }
};

}  // namespace ofa::test
