// The show request (code 16000) and the debug text (code 16001, and the exported entry a platform
// shell reaches by name).
//
// A show request is a keyword and its arguments separated by blanks. Keywords are compared without
// regard to case over their own length, in this order, so a longer word that begins with one
// matches it: "flow_tree", "flow", "chip", "port", "vlan", "group", "l2fwd_info", "meter", and
// "evt", which only matches whole. "all" is compared exactly; anything else is read as a number
// in base 10. "flow" with any argument shows flow 1 and without one every flow; "evt" takes its
// argument from the third word. A keyword without its argument, an empty request or an unknown
// keyword is answered "\nInvalid command.". Every reply ends with a newline.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

inline constexpr size_t OFA_MAX_TOKENS = 16;  // words of a request past these are not read

// Splits `text` (changed in place) at blanks into at most OFA_MAX_TOKENS words; the count.
int ofa_extract_argv_tokens(char* text, char* tokens[OFA_MAX_TOKENS]);
// The reply of one show request: 0.
int ofa_debug_handler(const char* request, std::string* out);

// The debug text: "events on|off" (bit 17), "log <topic> on|off", "trace <module> <level>",
// also behind "log". A null text does nothing.
void openflow_ofa_debug_handler(const char* text);
// Topic numbers 1 to 9 set or clear their bit of debugOpenflow; any other number the master bit.
void openflow_ofa_debug_set_module(uint32_t module, uint32_t value);
// Bit 18 (console) from `first`, bit 19 (file) from `second`.
void openflow_ofa_debug_trace_cfg(uint32_t first, uint32_t second);
