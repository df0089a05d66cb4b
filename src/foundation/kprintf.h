// The agent's own formatter and console output, and the message rate limiters.
//
// Conversions: "%" [-] [width of one or two digits, a leading 0 pads numbers with zeros]
// [h | l | blank, skipped] letter. Every argument is a 32-bit int, except "%s" and "%m" (pointers)
// and "%g" (double):
//   %c char   %d %i signed   %u unsigned   %x %X hex   %s text ("<NULL>" for null)
//   %m 6-byte MAC as "xxxx.xxxx.xxxx"   %I IPv4 word, dotted   %A IPv4 word, dotted (as %I)
//   %a %J AS number by set_as_format() (%J always dotted)   %p %T port number (low 16 bits)
//   %P port name from the platform's lookup, decimal when there is none   %v number in the width
//   %g double   any other letter prints itself ("%%" gives "%").
// Not thread-safe: the end-of-buffer bound and the console buffers are shared (main thread).
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>

// Characters written, unbounded.
int ksprintf(char* buf, const char* fmt, ...);
// Bounded by size (terminator included); size -1 means unbounded, any other size below 1 gives 0.
int ksnprintf(char* buf, int size, const char* fmt, ...);
int vksnprintf(char* buf, int size, const char* fmt, va_list ap);

// Format to the console (stdout), in pieces of at most 2047 characters; gives the length.
int uprintf(const char* fmt, ...);
int vuprintf(const char* fmt, va_list ap);
int kprintf(const char* fmt, ...);
int vkprintf(const char* fmt, va_list ap);
void print_buf_init();
// Writes len characters to the console.
void output_direct_to_system_console(const char* text, int len);

// Port-name lookup of "%P": fills name (NUL-terminated, at most size bytes), true on success.
using ksprintf_port_name_fn = bool (*)(uint32_t port_num, char* name, size_t size);
void ksprintf_set_port_name_fn(ksprintf_port_name_fn fn);

// Static texts, overwritten by the next call. mac2string prints "%4x." per two bytes (blank
// padded) without the last dot; ip_int2string is dotted decimal.
const char* mac2string(const uint8_t* mac);
const char* ip_int2string(uint32_t addr);

// AS format: 1 prints values above 65535 as high.low, 2 prints all so, anything else plain.
void set_as_format(int format);
int get_as_format();
char* asn_to_string(uint32_t asn, char* target);

// Writes `digits` uppercase hexadecimal digits of value with zero padding, no terminator.
void conv2hex(uint32_t value, int digits, char* target);
// Write width - length blanks or zeros (nothing when width is not greater); give the count.
int put_spaces(char* target, int width, int length);
int put_zeros(char* target, int width, int length);
// End of the blank-separated or double-quoted word at text.
const char* end_of_token(const char* text);

struct rate_limiter {
  uint64_t last_time;   // time of the last passed message, in time-base ticks
  uint32_t in_window;   // messages passed in this window
  uint32_t suppressed;  // messages held back
  uint32_t passed;      // messages let through
  uint32_t backoff;     // current interval in milliseconds (back-off form)
};

// 1 to print, 0 not.
int rate_control_mini_sec_per_message(uint32_t ms, rate_limiter* limiter);
int rate_control_mini_sec_messages(uint32_t ms, uint32_t count, rate_limiter* limiter);
int rate_control_mini_sec_per_message_backoff(rate_limiter* limiter);

// The limiters' clock: ticks and ticks per second. Default CLOCK_MONOTONIC in nanoseconds.
using time_base_fn = uint64_t (*)();
void rate_control_set_time_base(time_base_fn fn, uint64_t ticks_per_second);
uint64_t read_long_time_base();
