#include "backends/chip_family.h"

#include "agent/agent_globals.h"

uint32_t of_chip_family() {
  return of_family_index(openflowAgtPcb.model);
}
