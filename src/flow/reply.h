// The reply text: 82 bytes, written with a limit of 80 (terminator included), by the agent's own
// formatter, so "%P" names a port.
#pragma once

#include <cstddef>

inline constexpr size_t OF_LP_MESSAGE_SIZE = 82;
inline constexpr int OF_LP_MESSAGE_LIMIT = 80;

const char* of_get_lp_message();
void of_lp_message_clear();
void of_lp_message_set(const char* fmt, ...);
bool of_lp_message_empty();
