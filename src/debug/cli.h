// The output of a show request: a writer record with a print function and its context. The
// request handler makes a writer that collects the text in a buffer and stores it in the global
// `cli`; the renderers print through it with the agent's own conversions (foundation/kprintf.h:
// "%m" a MAC, "%I" an IPv4 word, "%p" a port number). Main thread only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

struct ofa_writer {
  void (*print)(void* ctx, const char* text, size_t len);
  void* ctx;
};

// The current output; null prints nowhere.
extern ofa_writer* cli;

// A writer that appends to `buf`.
ofa_writer writer_confd_init(std::string* buf);
// The text collected by a writer of writer_confd_init.
std::string& get_buf(ofa_writer* w);

// Formats one piece (at most 511 characters) with the agent's conversions and prints it on `w`;
// the characters printed.
int cli_printf(ofa_writer* w, const char* fmt, ...);
// The same on `cli`.
int cli_out(const char* fmt, ...);

// A 64-bit counter as decimal text, for the "%s" of the renderers.
struct ofa_counter_text {
  char text[24];
};
ofa_counter_text cu_print_counter64(uint64_t value);
