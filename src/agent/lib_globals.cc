// The library globals: the record that holds the scheduler, the protocol word and the name.
#include <cstdlib>
#include <cstring>

#include "agent/status.h"
#include "agent/thread.h"

lib_globals* lib_create(const char* name) {
  auto* zg = static_cast<lib_globals*>(std::calloc(1, sizeof(lib_globals)));
  if (!zg) return nullptr;
  if (name) std::memcpy(zg->name, name, strnlen(name, sizeof zg->name - 1));
  return zg;
}

int lib_start(lib_globals* zg) {
  return (zg && zg->master) ? 0 : OFA_E_GENERIC;
}

void lib_stop(lib_globals* zg) {
  if (!zg) return;
  if (zg->master) thread_master_finish(zg->master);
  std::free(zg);
}
