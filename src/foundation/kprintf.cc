// Console output. The full formatter lands next; until then the console functions forward to
// the C library so that the containers can report errors.
#include "foundation/kprintf.h"

#include <cstdio>

int vuprintf(const char* fmt, va_list ap) {
  return std::vprintf(fmt, ap);
}

int uprintf(const char* fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  int n = vuprintf(fmt, ap);
  va_end(ap);
  return n;
}
