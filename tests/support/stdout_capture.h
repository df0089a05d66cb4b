// What a piece of code writes to stdout, where the foundation's console printers (uprintf,
// kprintf) write.
#pragma once

#include <gtest/gtest.h>

#include <string>

namespace ofa::test {

template <typename Fn>
std::string stdout_of(Fn fn) {
  testing::internal::CaptureStdout();
  fn();
  return testing::internal::GetCapturedStdout();
}

}  // namespace ofa::test
