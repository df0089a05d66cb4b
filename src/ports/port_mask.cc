#include "ports/port_mask.h"

#include "agent/flow_record.h"
#include "agent/trace.h"
#include "chip/if_table.h"
#include "platform/system.h"
#include "platform/wire.h"

namespace {

// Where a port's bit lives; false for a port whose word lies past the mask.
bool locate(uint32_t port, uint32_t* word, uint32_t* bit) {
  *word = (port / 289) * 5 + (port % 289) / 32;
  *bit = (port % 289) % 32;
  return *word < OF_PORT_MASK_WORDS;
}

}  // namespace

of_port_mask port_mask_from_wire(std::span<const uint8_t> bytes) {
  of_port_mask mask;
  ofa::wire::Reader r(bytes);
  for (uint32_t& w : mask.words) {
    if (!r.has(4)) break;
    w = r.u32();
  }
  return mask;
}

void set_mask_bit(of_port_mask* mask, uint32_t port) {
  uint32_t w = 0, b = 0;
  if (locate(port, &w, &b)) mask->words[w] |= 1u << b;
}

void clear_mask_bit(of_port_mask* mask, uint32_t port) {
  uint32_t w = 0, b = 0;
  if (locate(port, &w, &b)) mask->words[w] &= ~(1u << b);
}

uint32_t is_member(const of_port_mask* mask, uint32_t port) {
  uint32_t w = 0, b = 0;
  return locate(port, &w, &b) ? mask->words[w] & (1u << b) : 0;
}

uint16_t port_mask_get_next_port(const of_port_mask* mask, uint16_t prev) {
  uint32_t from = prev == OF_PORT_MASK_END ? 0 : prev + 1u;
  for (uint32_t p = from; p <= OF_MAX_PORT; ++p)
    if (is_member(mask, p)) return static_cast<uint16_t>(p);
  return OF_PORT_MASK_END;
}

uint16_t port_mask_get_first_port(const of_port_mask* mask) {
  return port_mask_get_next_port(mask, OF_PORT_MASK_END);
}

bool is_physical_port(uint16_t port_id) {
  return port_id <= OF_MAX_PORT && port_id < ip_get_number_of_phy_ports();
}

int port_is_openflow_type(uint16_t port_id) {
  if (!is_physical_port(port_id)) return OF_PORT_TYPE_L2;
  const of_if_entry* e = ofLookupIfEntrybyPortId(port_id);
  if (!e) return OF_PORT_TYPE_L2;
  if (e->of_hybrid) return OF_PORT_TYPE_L23;
  return e->of_l3_type ? OF_PORT_TYPE_L3 : OF_PORT_TYPE_L2;
}

int port_is_openflow_port(uint16_t port_id) {
  if (!is_physical_port(port_id)) return 0;
  const of_if_entry* e = ofLookupIfEntrybyPortId(port_id);
  if (!e) {
    file_printf("Error: Invalid port ptr: port_id=%d!!\n", port_id);
    return 0;
  }
  return e->of_enabled;
}
