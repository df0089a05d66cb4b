// Event log and binary trace buffers: in-memory rings, one per trace module.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

struct trace_attr {
  uint32_t w0;
  uint32_t w1;  // 32
  uint32_t w2;
  uint32_t w3;
};

struct trace_record {
  uint32_t module;
  uint32_t id;
  uint32_t level;
  uint32_t words[16];
};

int evrec_init(const char* facility, int sw, const char* name);
void evrec_exit();
// One event line in the event log ring; 0, or -1 before evrec_init.
int evrec_log2(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
size_t evrec_count();

// Creates a ring of `size` bytes; *handle >= 0 on success. 0 or -1.
int trace_module_init(int* handle, uint32_t id, uint32_t size, const char* name,
                      const trace_attr* attr);
int trace_module_store_lvl(int handle, uint32_t module, uint32_t id, uint32_t level,
                           const uint32_t* words);
// The records a ring holds, oldest first.
std::vector<trace_record> trace_module_records(int handle);
