// The agent's printed words, caught through the trace's own debug-channel sink while an object
// of this type lives (the other sinks stay as they are): one line per trace or file_printf call.
#pragma once

#include <cstdint>
#include <string>

#include "agent/trace.h"

namespace ofa::test {

class TraceCapture {
 public:
  TraceCapture() : bits_(debugOpenflow) {
    text_.clear();
    ofa_trace_set_debug_channel(sink);
    debugOpenflow = bits_ | OFA_DEBUG_CHANNEL;
  }
  ~TraceCapture() {
    ofa_trace_set_debug_channel(nullptr);
    debugOpenflow = bits_;
  }
  TraceCapture(const TraceCapture&) = delete;
  TraceCapture& operator=(const TraceCapture&) = delete;
  const std::string& text() const { return text_; }
  bool has(const std::string& words) const { return text_.find(words) != std::string::npos; }

 private:
  static void sink(const char* line) {
    text_ += line;
    if (text_.empty() || text_.back() != '\n') text_ += '\n';
  }
  static inline std::string text_;
  uint32_t bits_;
};

}  // namespace ofa::test
