#include "platform/evrec.h"

#include <cstdarg>
#include <cstdio>
#include <deque>
#include <mutex>
#include <string>

namespace {

inline constexpr size_t kEventLines = 256;

struct Ring {
  std::string name;
  size_t capacity = 0;
  std::deque<trace_record> records;
};

struct EvrecState {
  std::mutex mu;
  bool open = false;
  std::deque<std::string> events;
  std::deque<Ring> rings;  // index = handle; deque keeps references stable
};

EvrecState& st() {
  static EvrecState s;
  return s;
}

}  // namespace

int evrec_init(const char* /*facility*/, int /*sw*/, const char* /*name*/) {
  std::lock_guard<std::mutex> lock(st().mu);
  st().open = true;
  return 0;
}

void evrec_exit() {
  std::lock_guard<std::mutex> lock(st().mu);
  st().open = false;
  st().events.clear();
  st().rings.clear();
}

int evrec_log2(const char* fmt, ...) {
  char line[256];
  va_list ap;
  va_start(ap, fmt);
  vsnprintf(line, sizeof line, fmt, ap);
  va_end(ap);
  std::lock_guard<std::mutex> lock(st().mu);
  if (!st().open) return -1;
  st().events.emplace_back(line);
  if (st().events.size() > kEventLines) st().events.pop_front();
  return 0;
}

size_t evrec_count() {
  std::lock_guard<std::mutex> lock(st().mu);
  return st().events.size();
}

int trace_module_init(int* handle, uint32_t /*id*/, uint32_t size, const char* name,
                      const trace_attr* /*attr*/) {
  if (!handle || size < sizeof(trace_record)) return -1;
  std::lock_guard<std::mutex> lock(st().mu);
  Ring r;
  r.name = name ? name : "";
  r.capacity = size / sizeof(trace_record);
  st().rings.push_back(std::move(r));
  *handle = static_cast<int>(st().rings.size() - 1);
  return 0;
}

int trace_module_store_lvl(int handle, uint32_t module, uint32_t id, uint32_t level,
                           const uint32_t* words) {
  std::lock_guard<std::mutex> lock(st().mu);
  if (handle < 0 || static_cast<size_t>(handle) >= st().rings.size()) return -1;
  Ring& r = st().rings[static_cast<size_t>(handle)];
  trace_record rec{module, id, level, {}};
  if (words) {
    for (size_t i = 0; i < 16; ++i)
      rec.words[i] = words[i];
  }
  r.records.push_back(rec);
  if (r.records.size() > r.capacity) r.records.pop_front();
  return 0;
}

std::vector<trace_record> trace_module_records(int handle) {
  std::lock_guard<std::mutex> lock(st().mu);
  if (handle < 0 || static_cast<size_t>(handle) >= st().rings.size()) return {};
  const Ring& r = st().rings[static_cast<size_t>(handle)];
  return {r.records.begin(), r.records.end()};
}
