#include "agent/reset.h"

namespace {
ofa_reset_hook* g_hooks = nullptr;  // ascending rank
}

ofa_reset_hook::ofa_reset_hook(int r, fn_t f) : rank(r), fn(f) {
  ofa_reset_hook** at = &g_hooks;
  while (*at && (*at)->rank <= rank)
    at = &(*at)->next;
  next = *at;
  *at = this;
}

void ofa_reset_all() {
  for (ofa_reset_hook* h = g_hooks; h; h = h->next)
    h->fn();
}
