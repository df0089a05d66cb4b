// The agent's printed words, caught through the trace's own debug-channel sink while an object
// of this type lives (the other sinks stay as they are): one line per trace or file_printf call.
#pragma once

#include <cstdint>
#include <string>

namespace ofa::test {

class TraceCapture {
 public:
  TraceCapture();
  ~TraceCapture();
  TraceCapture(const TraceCapture&) = delete;
  TraceCapture& operator=(const TraceCapture&) = delete;
  const std::string& text() const;
  bool has(const std::string& words) const { return text().find(words) != std::string::npos; }

 private:
  uint32_t bits_;
};

}  // namespace ofa::test
