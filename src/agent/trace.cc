// ofa_trace and file_printf: level test, binary words into the module's trace ring, and the
// text sinks chosen by debugOpenflow.
#include "agent/trace.h"

#include <atomic>
#include <cstdio>
#include <cstring>

#include "agent/debug_log.h"
#include "agent/reset.h"
#include "agent/status.h"
#include "platform/asp.h"
#include "platform/evrec.h"

uint32_t debugOpenflow = 0;
uint32_t openflow_agt_debug[OFA_TRACE_MODULES] = {9, 9, 9, 9, 9};

namespace {

struct TraceRow {
  const char* name;
  uint32_t size;
};
constexpr TraceRow ofa_trace_sb_init[OFA_TRACE_MODULES] = {
    {"OFACRIT", 4096}, {"OFACORE", 4096}, {"OFAMSG", 4096}, {"OFAIO", 4096}, {"OFAPKT", 4096},
};

int g_handles[OFA_TRACE_MODULES] = {-1, -1, -1, -1, -1};
std::atomic<ofa_debug_channel_fn> g_channel{nullptr};

void strip_newline(char* s) {
  size_t n = std::strlen(s);
  if (n > 0 && s[n - 1] == '\n') s[n - 1] = '\0';
}

// The words of a trace: each variable argument, in order, cut to its low 32 bits. The format
// tells each argument's type, so nothing is read as what it is not.
void collect_words(const char* fmt, va_list ap, uint32_t nargs, uint32_t* words) {
  uint32_t n = 0;
  auto take = [&](uint64_t v) {
    if (n < nargs) words[n] = static_cast<uint32_t>(v);
    n++;
  };
  for (const char* p = fmt; *p && n < nargs; ++p) {
    if (*p != '%') continue;
    ++p;
    if (*p == '%') continue;
    while (*p && std::strchr("-+ #0'", *p))
      ++p;
    if (*p == '*') {
      take(static_cast<uint32_t>(va_arg(ap, int)));
      ++p;
    }
    while (*p >= '0' && *p <= '9')
      ++p;
    if (*p == '.') {
      ++p;
      if (*p == '*') {
        take(static_cast<uint32_t>(va_arg(ap, int)));
        ++p;
      }
      while (*p >= '0' && *p <= '9')
        ++p;
    }
    int longs = 0;
    bool wide = false;
    while (*p && std::strchr("hlLqjzt", *p)) {
      if (*p == 'l' || *p == 'q') longs++;
      if (*p == 'j' || *p == 'z' || *p == 't' || *p == 'L') wide = true;
      ++p;
    }
    if (!*p) break;
    if (n >= nargs) break;
    switch (*p) {
      case 'd':
      case 'i':
      case 'o':
      case 'u':
      case 'x':
      case 'X':
      case 'c':
        if (longs >= 2 || wide) {
          take(va_arg(ap, unsigned long long));
        } else if (longs == 1) {
          take(va_arg(ap, unsigned long));
        } else {
          take(va_arg(ap, unsigned int));
        }
        break;
      case 'f':
      case 'F':
      case 'e':
      case 'E':
      case 'g':
      case 'G':
      case 'a':
      case 'A':
        if (wide) {
          take(static_cast<uint64_t>(va_arg(ap, long double)));
        } else {
          take(static_cast<uint64_t>(va_arg(ap, double)));
        }
        break;
      default:  // s, p, n and anything else: a pointer
        take(reinterpret_cast<uintptr_t>(va_arg(ap, void*)));
        break;
    }
  }
}

void format_text(char* buf, size_t size, const char* fmt, va_list ap) {
  va_list copy;
  va_copy(copy, ap);
  std::vsnprintf(buf, size, fmt, copy);
  va_end(copy);
}

// The sink bits in force: the file's bit counts only while the debug log is open, so that with
// the log off nothing is formatted for it.
uint32_t sink_bits() {
  uint32_t bits = debugOpenflow;
  if ((bits & OFA_DEBUG_FILE) && !ofa_debug_log_is_open()) bits &= ~OFA_DEBUG_FILE;
  return bits;
}

void printf_sinks(bool channel, const char* format, va_list ap) {
  uint32_t bits = sink_bits();
  if (bits & OFA_DEBUG_FILE) {
    char text[OFA_PRINTF_FILE_MAX];
    format_text(text, sizeof text, format, ap);
    ofa_debug_log_write(text);
  }
  if (bits & OFA_DEBUG_CONSOLE) {
    char text[OFA_PRINTF_OTHER_MAX];
    format_text(text, sizeof text, format, ap);
    strip_newline(text);
    std::puts(text);
  }
  ofa_debug_channel_fn fn = g_channel;
  if (channel && (bits & OFA_DEBUG_CHANNEL) && fn) {
    char text[OFA_PRINTF_OTHER_MAX];
    format_text(text, sizeof text, format, ap);
    fn(text);
  }
}

}  // namespace

void ofa_trace(uint32_t module, uint32_t level, uint32_t nargs, uint32_t id, const char* format,
               ...) {
  if (module >= OFA_TRACE_MODULES || !format) return;
  if (nargs > OFA_TRACE_MAX_ARGS) nargs = OFA_TRACE_MAX_ARGS;
  bool emit = level <= openflow_agt_debug[module];
  uint32_t words[OFA_TRACE_MAX_ARGS] = {};
  va_list ap;
  va_start(ap, format);
  {
    va_list copy;
    va_copy(copy, ap);
    collect_words(format, copy, nargs, words);
    va_end(copy);
  }
  if (emit) {
    trace_module_store_lvl(g_handles[module], OFA_AGENT_MODULE, id, level, words);
    uint32_t bits = sink_bits();
    if (bits & (OFA_DEBUG_CONSOLE | OFA_DEBUG_FILE | OFA_DEBUG_CHANNEL)) {
      char text[OFA_TRACE_TEXT_MAX];
      format_text(text, sizeof text, format, ap);
      if (bits & OFA_DEBUG_CONSOLE) {
        char line[OFA_TRACE_TEXT_MAX];
        std::memcpy(line, text, sizeof line);
        strip_newline(line);
        std::puts(line);
      }
      if (bits & OFA_DEBUG_FILE) {
        char line[OFA_TRACE_LINE_MAX];
        std::snprintf(line, sizeof line, "%u: %s", id, text);
        ofa_debug_log_write(line);
      }
      ofa_debug_channel_fn fn = g_channel;
      if ((bits & OFA_DEBUG_CHANNEL) && fn) {
        char line[OFA_TRACE_LINE_MAX];
        std::snprintf(line, sizeof line, "%s", text);
        strip_newline(line);
        fn(line);
      }
    }
  }
  va_end(ap);
}

int file_vprintf(const char* format, va_list ap) {
  if (format) printf_sinks(true, format, ap);
  return 1;
}

int file_printf(const char* format, ...) {
  va_list ap;
  va_start(ap, format);
  file_vprintf(format, ap);
  va_end(ap);
  return 1;
}

int debug_uprintf(const char* format, ...) {
  va_list ap;
  va_start(ap, format);
  if (format) printf_sinks(false, format, ap);
  va_end(ap);
  return 1;
}

void openflow_ofa_debug_init() {
  debugOpenflow = OFA_DEBUG_START;
}

int openflowAgt_trace_init() {
  int rc = evrec_init("ethsw", getMySwitch(), "OPENFLOWAGT");
  if (rc < 0) {
    std::fprintf(stderr, "Error: Openflow agent evlog initialization failed(%d)", rc);
    return OFA_E_GENERIC;
  }
  trace_attr attr{0, 32, 0, 0};
  for (uint32_t i = 0; i < OFA_TRACE_MODULES; ++i) {
    int handle = -1;
    rc = trace_module_init(&handle, (i << 16) + OFA_AGENT_MODULE, ofa_trace_sb_init[i].size,
                           ofa_trace_sb_init[i].name, &attr);
    if (rc != 0 || handle < 0) {
      std::fprintf(stderr, "Error: Openflow agent treace init failed(%d:%d) for sub buf %u", rc,
                   handle, i);
      return OFA_E_GENERIC;
    }
    g_handles[i] = handle;
  }
  openflow_ofa_debug_init();
  if (ofa_debug_log_open(ofa_debug_log_path()) != 0) {
    std::fprintf(stderr, "Error: Could not open debug trace file ofa_trace\n");
  }
  return 0;
}

void openflowAgt_trace_exit() {
  ofa_debug_log_close();
  for (int& h : g_handles)
    h = -1;
  debugOpenflow = 0;
}

void ofa_trace_set_level(uint32_t module, uint32_t level) {
  if (module < OFA_TRACE_MODULES && level <= OFA_TRACE_LEVEL_MAX)
    openflow_agt_debug[module] = level;
}

void ofa_trace_set_debug_channel(ofa_debug_channel_fn fn) {
  g_channel = fn;
}

int ofa_trace_handle(uint32_t module) {
  return module < OFA_TRACE_MODULES ? g_handles[module] : -1;
}

namespace {
const ofa_reset_hook reset_hook{0, [] { debugOpenflow = 0; }};
}  // namespace
