// Small text helpers around the formatter: MAC/IP/AS texts, hex digits, padding, tokens.
#include <cstring>

#include "foundation/kprintf.h"

namespace {
int g_as_format = 0;
}  // namespace

// "%4x." for each two bytes, the trailing dot removed (blank padded, unlike "%m").
const char* mac2string(const uint8_t* mac) {
  static char text[16];
  if (mac == nullptr) return "<NULL>";
  int n = 0;
  for (int i = 0; i < 6; i += 2)
    n += ksprintf(text + n, "%4x.", mac[i] << 8 | mac[i + 1]);
  text[n - 1] = '\0';
  return text;
}

const char* ip_int2string(uint32_t addr) {
  static char text[16];
  ksnprintf(text, sizeof text, "%I", addr);
  return text;
}

void set_as_format(int format) {
  g_as_format = format;
}

int get_as_format() {
  return g_as_format;
}

char* asn_to_string(uint32_t asn, char* target) {
  ksprintf(target, "%a", asn);
  return target;
}

void conv2hex(uint32_t value, int digits, char* target) {
  for (int i = digits - 1; i >= 0; --i) {
    target[i] = "0123456789ABCDEF"[value & 0xF];
    value >>= 4;
  }
}

int put_spaces(char* target, int width, int length) {
  if (width <= length) return 0;
  std::memset(target, ' ', static_cast<size_t>(width - length));
  return width - length;
}

int put_zeros(char* target, int width, int length) {
  if (width <= length) return 0;
  std::memset(target, '0', static_cast<size_t>(width - length));
  return width - length;
}

const char* end_of_token(const char* text) {
  if (text == nullptr) return nullptr;
  if (*text == '"') {
    const char* close = std::strchr(text + 1, '"');
    return close != nullptr ? close + 1 : text + std::strlen(text);
  }
  while (*text != '\0' && *text != ' ' && *text != '\t' && *text != '\n')
    ++text;
  return text;
}
