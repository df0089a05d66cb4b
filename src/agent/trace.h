// Logging: `ofa_trace` for numbered events and `file_printf` for free text. Both reach the sinks
// that bits of `debugOpenflow` choose: 0x80000 the debug-log file, 0x40000 the console, 0x20000
// the debug channel. `ofa_trace` also stores the event's words in the module's trace ring.
// Its ids are named, by subsystem, in agent/trace_ids.h.
//
// Texts are bounded: a trace formats into 200 bytes and its file line into 240; file_printf into
// 200 (file) and 256 (console, channel). Longer texts are cut.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>

enum : uint32_t { OFACRIT = 0, OFACORE = 1, OFAMSG = 2, OFAIO = 3, OFAPKT = 4 };
inline constexpr uint32_t OFA_TRACE_MODULES = 5;
inline constexpr uint32_t OFA_TRACE_LEVEL_MAX = 9;
inline constexpr uint32_t OFA_TRACE_MAX_ARGS = 16;
inline constexpr uint32_t OFA_AGENT_MODULE = 335;

inline constexpr uint32_t OFA_DEBUG_FILE = 0x80000;
inline constexpr uint32_t OFA_DEBUG_CONSOLE = 0x40000;
inline constexpr uint32_t OFA_DEBUG_CHANNEL = 0x20000;
inline constexpr uint32_t OFA_DEBUG_START = 0xc0080000;
inline constexpr uint32_t OFA_DEBUG_ON = 0x80000000;  // bit 31: the debug prints of every topic

inline constexpr size_t OFA_TRACE_TEXT_MAX = 200;
inline constexpr size_t OFA_TRACE_LINE_MAX = 240;
inline constexpr size_t OFA_PRINTF_FILE_MAX = 200;
inline constexpr size_t OFA_PRINTF_OTHER_MAX = 256;

extern uint32_t debugOpenflow;
extern uint32_t openflow_agt_debug[OFA_TRACE_MODULES];

void ofa_trace(uint32_t module, uint32_t level, uint32_t nargs, uint32_t id, const char* format,
               ...) __attribute__((format(printf, 5, 6)));
int file_printf(const char* format, ...) __attribute__((format(printf, 1, 2)));
// file_printf without the debug channel.
int debug_uprintf(const char* format, ...) __attribute__((format(printf, 1, 2)));
int file_vprintf(const char* format, va_list ap);
// file_printf while debug prints are on (bit 31 of debugOpenflow); the arguments are not evaluated
// otherwise.
#define ofa_debug_printf(...)                                   \
  do {                                                          \
    if (debugOpenflow & OFA_DEBUG_ON) file_printf(__VA_ARGS__); \
  } while (0)

// Trace rings and the debug log; 0 or -1.
int openflowAgt_trace_init();
// Closes the debug log and the event log.
void openflowAgt_trace_exit();
void openflow_ofa_debug_init();
void ofa_trace_set_level(uint32_t module, uint32_t level);

// The debug channel (the configuration manager's client) plugs its sender here.
using ofa_debug_channel_fn = void (*)(const char* text);
void ofa_trace_set_debug_channel(ofa_debug_channel_fn fn);

// Trace ring handle of a module (-1 before openflowAgt_trace_init).
int ofa_trace_handle(uint32_t module);
