// The formatter of ksprintf/ksnprintf and the console functions uprintf/kprintf.
#include "foundation/kprintf.h"

#include <cstdio>
#include <cstring>

namespace {

ksprintf_port_name_fn g_port_name_fn = nullptr;

constexpr int kConsoleBufSize = 2048;  // a console text is cut at 2047 characters
// The console buffers; a console print made while another is being formatted (say by a "%P"
// lookup that logs) gets a buffer of its own on the stack, so neither is overwritten.
char g_uprintf_buf[kConsoleBufSize];
char g_kprintf_buf[kConsoleBufSize];
int g_console_depth = 0;

// The target of one print. `end` is the last byte (kept for the terminator); null: unbounded.
struct Out {
  char* buf;
  char* end;
  int n = 0;

  void put(char c) {
    if (end != nullptr && buf + n >= end) return;
    buf[n++] = c;
  }
  void put(const char* s, int len) {
    for (int i = 0; i < len; ++i)
      put(s[i]);
  }
  void pad(char c, int count) {
    for (int i = 0; i < count; ++i)
      put(c);
  }
  void finish() {
    if (end != nullptr && buf + n > end) n = static_cast<int>(end - buf);
    buf[n] = '\0';
  }
};

struct Conversion {
  bool left = false;
  bool zero = false;
  bool wide = false;  // "l": the argument is a long
  int width = 0;
};

int utoa(unsigned long long v, int base, bool upper, char* out) {
  const char* digits = upper ? "0123456789ABCDEF" : "0123456789abcdef";
  char tmp[24];
  int len = 0;
  do {
    tmp[len++] = digits[v % static_cast<unsigned>(base)];
    v /= static_cast<unsigned>(base);
  } while (v != 0);
  for (int i = 0; i < len; ++i)
    out[i] = tmp[len - 1 - i];
  return len;
}

// Writes text of len characters padded to the width: blanks in front (or behind with "-"); with
// a zero width flag and `numeric`, zeros in front after any sign.
void emit(Out& out, const Conversion& conv, const char* text, int len, bool numeric) {
  int fill = conv.width > len ? conv.width - len : 0;
  if (conv.left) {
    out.put(text, len);
    out.pad(' ', fill);
  } else if (conv.zero && numeric) {
    if (len > 0 && text[0] == '-') {
      out.put('-');
      ++text;
      --len;
    }
    out.pad('0', fill);
    out.put(text, len);
  } else {
    out.pad(' ', fill);
    out.put(text, len);
  }
}

int format_ip(uint32_t ip, char* out) {
  int len = 0;
  for (int shift = 24; shift >= 0; shift -= 8) {
    len += utoa((ip >> shift) & 0xFF, 10, false, out + len);
    if (shift > 0) out[len++] = '.';
  }
  return len;
}

int format_mac(const uint8_t* mac, char* out) {
  int len = 0;
  for (int i = 0; i < 6; i += 2) {
    uint32_t group = static_cast<uint32_t>(mac[i]) << 8 | mac[i + 1];
    const char* digits = "0123456789abcdef";
    for (int shift = 12; shift >= 0; shift -= 4)
      out[len++] = digits[(group >> shift) & 0xF];
    if (i < 4) out[len++] = '.';
  }
  return len;
}

int format_asn(uint32_t asn, int as_format, char* out) {
  if (as_format == 2 || (as_format == 1 && asn > 65535)) {
    int len = utoa(asn >> 16, 10, false, out);
    out[len++] = '.';
    return len + utoa(asn & 0xFFFF, 10, false, out + len);
  }
  return utoa(asn, 10, false, out);
}

void format(Out& out, const char* fmt, va_list ap) {
  char text[64];
  for (const char* p = fmt; *p != '\0'; ++p) {
    if (*p != '%') {
      out.put(*p);
      continue;
    }
    Conversion conv;
    ++p;
    if (*p == '-') {
      conv.left = true;
      ++p;
    }
    if (*p == '0') conv.zero = true;
    for (int digits = 0; digits < 2 && *p >= '0' && *p <= '9'; ++digits, ++p)
      conv.width = conv.width * 10 + (*p - '0');
    while (*p == 'h' || *p == 'l' || *p == ' ') {
      if (*p == 'l') conv.wide = true;
      ++p;
    }
    if (*p == '\0') break;
    int len = 0;
    switch (*p) {
      case 'c':
        text[0] = static_cast<char>(va_arg(ap, int));
        emit(out, conv, text, 1, false);
        break;
      case 'd':
      case 'i':
      case 'v': {
        long long v = conv.wide ? va_arg(ap, long) : va_arg(ap, int);
        unsigned long long mag = v < 0 ? 0ull - static_cast<unsigned long long>(v) : v;
        if (v < 0) text[len++] = '-';
        len += utoa(mag, 10, false, text + len);
        emit(out, conv, text, len, true);
        break;
      }
      case 'u':
      case 'x':
      case 'X': {
        unsigned long long v = conv.wide ? va_arg(ap, unsigned long) : va_arg(ap, unsigned);
        len = utoa(v, *p == 'u' ? 10 : 16, *p == 'X', text);
        emit(out, conv, text, len, true);
        break;
      }
      case 's': {
        const char* s = va_arg(ap, const char*);
        if (s == nullptr) s = "<NULL>";
        emit(out, conv, s, static_cast<int>(std::strlen(s)), false);
        break;
      }
      case 'm': {
        const auto* mac = va_arg(ap, const uint8_t*);
        if (mac == nullptr) {
          emit(out, conv, "<NULL>", 6, false);
          break;
        }
        len = format_mac(mac, text);
        emit(out, conv, text, len, false);
        break;
      }
      case 'I':
      case 'A':
        len = format_ip(va_arg(ap, uint32_t), text);
        emit(out, conv, text, len, false);
        break;
      case 'a':
      case 'J':
        len = format_asn(va_arg(ap, uint32_t), *p == 'J' ? 2 : get_as_format(), text);
        emit(out, conv, text, len, false);
        break;
      case 'p':
      case 'T':
      case 'P': {
        uint32_t port = va_arg(ap, uint32_t);
        char name[33];
        if (*p == 'P' && g_port_name_fn != nullptr && g_port_name_fn(port, name, sizeof name)) {
          name[sizeof name - 1] = '\0';
          emit(out, conv, name, static_cast<int>(std::strlen(name)), false);
          break;
        }
        len = utoa(port & 0xFFFF, 10, false, text);
        emit(out, conv, text, len, true);
        break;
      }
      case 'g': {
        len = std::snprintf(text, sizeof text, "%g", va_arg(ap, double));
        emit(out, conv, text, len, true);
        break;
      }
      default:
        out.put(*p);  // "%%" and unknown letters print themselves
        break;
    }
  }
}

int print_to_console(char* buf, const char* fmt, va_list ap) {
  char nested[kConsoleBufSize];
  if (g_console_depth > 0) buf = nested;
  ++g_console_depth;
  int n = vksnprintf(buf, kConsoleBufSize, fmt, ap);
  --g_console_depth;
  output_direct_to_system_console(buf, n);
  return n;
}

}  // namespace

int vksnprintf(char* buf, int size, const char* fmt, va_list ap) {
  if (buf == nullptr || fmt == nullptr) return 0;
  if (size != -1 && size < 1) return 0;
  Out out{buf, size == -1 ? nullptr : buf + size - 1};
  va_list copy;
  va_copy(copy, ap);
  format(out, fmt, copy);
  va_end(copy);
  out.finish();
  return out.n;
}

int ksnprintf(char* buf, int size, const char* fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  int n = vksnprintf(buf, size, fmt, ap);
  va_end(ap);
  return n;
}

int ksprintf(char* buf, const char* fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  int n = vksnprintf(buf, -1, fmt, ap);
  va_end(ap);
  return n;
}

void output_direct_to_system_console(const char* text, int len) {
  constexpr int kPiece = kConsoleBufSize - 1;
  for (int done = 0; done < len; done += kPiece) {
    int piece = len - done < kPiece ? len - done : kPiece;
    std::fwrite(text + done, 1, static_cast<size_t>(piece), stdout);
  }
  std::fflush(stdout);
}

void print_buf_init() {
  g_uprintf_buf[0] = '\0';
  g_kprintf_buf[0] = '\0';
}

int vuprintf(const char* fmt, va_list ap) {
  return print_to_console(g_uprintf_buf, fmt, ap);
}

int uprintf(const char* fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  int n = vuprintf(fmt, ap);
  va_end(ap);
  return n;
}

int vkprintf(const char* fmt, va_list ap) {
  return print_to_console(g_kprintf_buf, fmt, ap);
}

int kprintf(const char* fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  int n = vkprintf(fmt, ap);
  va_end(ap);
  return n;
}

void ksprintf_set_port_name_fn(ksprintf_port_name_fn fn) {
  g_port_name_fn = fn;
}
