#include "debug/cli.h"

#include <cstdarg>
#include <cstdio>

#include "foundation/kprintf.h"

ofa_writer* cli = nullptr;

namespace {

constexpr int kPieceMax = 512;

void append(void* ctx, const char* text, size_t len) {
  static_cast<std::string*>(ctx)->append(text, len);
}

int vprint(ofa_writer* w, const char* fmt, va_list ap) {
  if (!w || !w->print || !fmt) return 0;
  char piece[kPieceMax];
  int n = vksnprintf(piece, sizeof piece, fmt, ap);
  if (n > kPieceMax - 1) n = kPieceMax - 1;
  if (n > 0) w->print(w->ctx, piece, static_cast<size_t>(n));
  return n;
}

}  // namespace

ofa_writer writer_confd_init(std::string* buf) {
  return {append, buf};
}

std::string& get_buf(ofa_writer* w) {
  return *static_cast<std::string*>(w->ctx);
}

int cli_printf(ofa_writer* w, const char* fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  int n = vprint(w, fmt, ap);
  va_end(ap);
  return n;
}

int cli_out(const char* fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  int n = vprint(cli, fmt, ap);
  va_end(ap);
  return n;
}

ofa_counter_text cu_print_counter64(uint64_t value) {
  ofa_counter_text t{};
  std::snprintf(t.text, sizeof t.text, "%llu", static_cast<unsigned long long>(value));
  return t;
}
