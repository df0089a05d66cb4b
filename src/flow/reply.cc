// The reply text of the last flow operation: one buffer, filled by the engine with the reason of
// a failure or a pseudo success, read by dispatch for its traces and the status.
#include "flow/reply.h"

#include <cstdarg>
#include <cstring>

#include "foundation/kprintf.h"

namespace {
char message[OF_LP_MESSAGE_SIZE];
}  // namespace

const char* of_get_lp_message() {
  return message;
}

void of_lp_message_clear() {
  std::memset(message, 0, sizeof message);
}

void of_lp_message_set(const char* fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  vksnprintf(message, OF_LP_MESSAGE_LIMIT, fmt, ap);
  va_end(ap);
}

bool of_lp_message_empty() {
  return message[0] == '\0';
}
