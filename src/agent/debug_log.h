// The debug-log file: a wrapping text log with a five-line head that survives restarts.
//
//   Openflow Agent Log
//   Last Execution time:  <asctime>
//   Wrap Count: 00000000
//   Cur line: 00000005
//   Curr Offset: 00000130
//
// Log lines "<asctime>: <text>" follow. After 149995 lines the log wraps to offset 130.
#pragma once

#include <cstdint>
#include <string>

inline constexpr const char* OFA_DEBUG_LOG_DEFAULT = "/var/tmp/ofastdout";
inline constexpr uint32_t OFA_DEBUG_LOG_WRAP_LINE = 149999;
inline constexpr long OFA_DEBUG_LOG_RESTART_OFFSET = 130;
inline constexpr uint32_t OFA_DEBUG_LOG_FIRST_LINE = 5;

// $OFA_DEBUG_LOG or the default path; "off" means no debug-log file.
inline constexpr const char* OFA_DEBUG_LOG_OFF = "off";
std::string ofa_debug_log_path();
// Opens (creating, resuming or replacing) the log; 0, or -1 when the file cannot be opened. The
// path "off" opens nothing and answers 0.
int ofa_debug_log_open(const std::string& path);
void ofa_debug_log_close();
// Without a lock: the trace asks it before formatting anything for the file.
bool ofa_debug_log_is_open();
// Writes "<time>: <text>\n" (one trailing newline of text removed) and updates the head.
void ofa_debug_log_write(const char* text);
// Updates the head's line count and offset after a line; wraps when due.
void openflowAgt_debug_log_update();
