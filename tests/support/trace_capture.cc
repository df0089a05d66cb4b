#include "trace_capture.h"

#include "agent/trace.h"

namespace ofa::test {
namespace {
std::string g_text;
void sink(const char* line) {
  g_text += line;
  if (g_text.empty() || g_text.back() != '\n') g_text += '\n';
}
}  // namespace

TraceCapture::TraceCapture() : bits_(debugOpenflow) {
  g_text.clear();
  ofa_trace_set_debug_channel(sink);
  debugOpenflow = bits_ | OFA_DEBUG_CHANNEL;
}

TraceCapture::~TraceCapture() {
  ofa_trace_set_debug_channel(nullptr);
  debugOpenflow = bits_;
}

const std::string& TraceCapture::text() const {
  return g_text;
}

}  // namespace ofa::test
