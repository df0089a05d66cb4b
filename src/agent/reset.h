// Every module that keeps global state names, once, how to bring it back to its start: a
// namespace-scope `ofa_reset_hook` in the module's own file. `ofa_reset_all` runs them all by
// rank (lower first: a table whose entries point into another is emptied before that one).
#pragma once

struct ofa_reset_hook {
  using fn_t = void (*)();
  ofa_reset_hook(int rank, fn_t fn);
  int rank;
  fn_t fn;
  ofa_reset_hook* next = nullptr;
};

void ofa_reset_all();
