#include "chip/if_table.h"

#include <cstdio>
#include <cstring>
#include <new>

#include "agent/agent_globals.h"
#include "agent/reset.h"
#include "agent/status.h"
#include "agent/trace.h"
#include "chip/chip_table.h"
#include "foundation/avl_tree.h"
#include "platform/ifindex.h"

avl_tree* ofIfTable = nullptr;

namespace {
int evt_cmp_by_address(const void* a, const void* b) {
  auto x = reinterpret_cast<uintptr_t>(a);
  auto y = reinterpret_cast<uintptr_t>(b);
  return x < y ? -1 : x > y ? 1 : 0;
}

uint32_t if_type(uint32_t ifindex) {
  return ifindex >> 26;
}

bool chip_derivable_type(uint32_t t) {
  return t == 6 || t == 26 || t == 3 || t == 14 || t == 30;
}

of_if_entry* entry_of(avl_node* n) {
  return n ? static_cast<of_if_entry*>(n->info) : nullptr;
}
}  // namespace

of_if_cmp_fn of_if_evt_cmp = evt_cmp_by_address;
of_if_free_fn of_if_evt_free = nullptr;
of_if_delete_fn of_if_port_delete_hook = nullptr;

bool of_if_is_physical(uint32_t ifindex) {
  uint32_t t = if_type(ifindex);
  return t == 6 || t == 26 || t == 3;
}

int ofCmpIfEntrybyPortId(const void* a, const void* b) {
  uint16_t ka = static_cast<const of_if_entry*>(a)->port_id;
  uint16_t kb = static_cast<const of_if_entry*>(b)->port_id;
  if (kb < ka) return -1;
  if (kb > ka) return 1;
  return 0;
}

int ofInitIfTable() {
  if (ofIfTable) return 0;
  int rc = avl_create(&ofIfTable, 0, ofCmpIfEntrybyPortId);
  if (rc != 0) {
    file_printf("Failed to initialize interface table, error = %d", rc);
    return OFA_E_NO_MEMORY;
  }
  return 0;
}

of_if_entry* ofLookupIfEntrybyPortId(uint16_t port_id) {
  of_if_entry key;
  key.port_id = port_id;
  return entry_of(avl_search(ofIfTable, &key));
}

of_if_entry* ofLookupIfEntry(uint32_t ifindex) {
  of_if_entry key;
  key.ifIndex = ifindex;
  return entry_of(avl_search(ofIfTable, &key));
}

of_if_entry* of_get_first_port(avl_node** cursor) {
  *cursor = ofIfTable ? avl_getfirst(ofIfTable) : nullptr;
  return entry_of(*cursor);
}

of_if_entry* of_get_next_port(avl_node** cursor) {
  if (!cursor || !*cursor) return nullptr;
  *cursor = avl_getnext(ofIfTable, *cursor);
  return entry_of(*cursor);
}

int of_get_port_count() {
  return ofIfTable ? avl_get_tree_size(ofIfTable) : 0;
}

int ofValidatePortAdd(uint32_t ifindex, const char* name, of_chip_entry** chip,
                      of_slot_entry** slot) {
  int32_t flat = chip_derivable_type(if_type(ifindex)) ? of_dce_get_flat_chip_id(ifindex) : -1;
  if (flat < 0) {
    file_printf("Unable to derive chip index from ifindex for port %s", name);
    return OFA_E_BAD_OR_MISSING;
  }
  if (of_chip_entry* c = ofLookupChip(static_cast<uint32_t>(flat))) {
    *chip = c;
    if (!c->slot_entry) {
      file_printf("Unable to derive slot for port %s", name);
      return OFA_E_BAD_OR_MISSING;
    }
    *slot = c->slot_entry;
    return 0;
  }
  file_printf("Unknown chip %d for port add %s", flat, name);
  if (ofGetChipFromChipId(static_cast<uint32_t>(flat)) != 0) return OFA_E_BAD_OR_MISSING;
  of_chip_entry* c = ofLookupChip(static_cast<uint32_t>(flat));
  if (!c) return OFA_E_BAD_OR_MISSING;
  *chip = c;
  return 0;
}

of_if_entry* ofProcessPortAdd(uint32_t ifindex, const char* name, uint16_t port_id) {
  if (ofLookupIfEntrybyPortId(port_id)) {
    file_printf("ifEntry already exists for interface %s", name);
    return nullptr;
  }
  bool physical = of_if_is_physical(ifindex);
  of_chip_entry* chip = nullptr;
  of_slot_entry* slot = nullptr;
  if (physical && ofValidatePortAdd(ifindex, name, &chip, &slot) != 0) return nullptr;
  auto* e = new (std::nothrow) of_if_entry{};
  if (!e) {
    file_printf("Failed to create interface entry");
    return nullptr;
  }
  e->ifIndex = ifindex;
  e->port_id = port_id;
  e->is_local = static_cast<int32_t>(openflowAgtPcb.my_slot) == of_dce_get_slot_id(ifindex) ? 1 : 0;
  if (avl_create(&e->evt_tree, 0, of_if_evt_cmp) != 0) {
    delete e;
    return nullptr;
  }
  e->port_db_index = (static_cast<int32_t>(port_id) - 1) % OF_PORT_DB_SIZE;
  std::strncpy(e->ifName, name ? name : "", sizeof e->ifName - 1);
  of_dlist_init(&e->members);
  of_dlist_init(&e->chip_link);
  of_dlist_init(&e->member_link);
  if (avl_insert(ofIfTable, e) != 0) file_printf("Failed to insert interface %s", e->ifName);
  if (physical && chip) {
    e->chip = chip;
    of_dlist_append(&chip->ports, &e->chip_link, e);
  }
  file_printf("Added Interface %s port_id %d is_local %d ifindex: 0x%x\n", e->ifName, port_id,
              e->is_local, ifindex);
  return e;
}

int ofProcessPortDelete(uint32_t /*ifindex*/, uint16_t port_id) {
  of_if_entry* e = ofLookupIfEntrybyPortId(port_id);
  if (!e) return 0;
  if (of_if_port_delete_hook) of_if_port_delete_hook(e);
  if (e->owner) of_dlist_unlink(&e->member_link);
  avl_remove(ofIfTable, e);
  if (e->chip) of_dlist_unlink(&e->chip_link);
  // Members pointing at this entry lose their owner rather than a dangling pointer.
  for (of_dlist* l = e->members.next; l && l != &e->members;) {
    of_dlist* next = l->next;
    static_cast<of_if_entry*>(l->item)->owner = nullptr;
    of_dlist_unlink(l);
    l = next;
  }
  if (e->evt_tree) avl_tree_free(&e->evt_tree, of_if_evt_free);
  delete e;
  return 0;
}

// ---- ordering -----------------------------------------------------------------------------------

int32_t of_if_port_num(uint32_t ifindex) {
  switch (if_type(ifindex)) {
    case 6:
    case 26:
    case 32:
      return static_cast<int32_t>((ifindex >> 15) & 0x7f);
    case 62:
      return static_cast<int32_t>((ifindex >> 10) & 0x3ff);
    case 61:
      return static_cast<int32_t>((ifindex >> 12) & 0xff);
    case 3:
      // Type 3 ports are numbered through the platform's mapped transceiver table, which this
      // platform does not have: attaching it fails, and the port number is -1.
      return -1;
    default:
      return -1;
  }
}

int ofCmpIfEntry(const void* a, const void* b) {
  uint32_t ia = static_cast<const of_if_entry*>(a)->ifIndex;
  uint32_t ib = static_cast<const of_if_entry*>(b)->ifIndex;
  uint32_t ta = if_type(ia), tb = if_type(ib);
  if (ta != tb) return static_cast<int>(tb) - static_cast<int>(ta);
  int32_t sa = ofa::platform::ifindex_slot(ia);
  int32_t sb = ofa::platform::ifindex_slot(ib);
  auto port = [](uint32_t ifx) -> int32_t {
    uint32_t t = if_type(ifx);
    if (t == 6 || t == 26 || t == 3) return of_if_port_num(ifx);
    if (t == 2 || t == 14 || t == 30) return -1;
    return static_cast<int32_t>(ifx & 0xffff);
  };
  if (sa != sb) return sb < sa ? 1 : -1;
  if (sa != -1) {
    int32_t pa = port(ia), pb = port(ib);
    if (pb < pa) return 1;
    if (pb > pa) return -1;
    return 0;
  }
  if (ib < ia) return 1;
  if (ib > ia) return -1;
  return 0;
}

// ---- show -----------------------------------------------------------------------------------

void of_show_ifTable(of_if_show_cb cb) {
  ofShowSlotTable(cb);
  ofShowChipTable(cb);
  cb("Interface Name  ifIndex    ChipId     ChipIfIndex\n");
  char line[160];
  avl_node* cursor = nullptr;
  for (of_if_entry* e = of_get_first_port(&cursor); e; e = of_get_next_port(&cursor)) {
    cb(e->ifName);
    std::snprintf(line, sizeof line, "\tifindex = 0x%08x, ChipId = %d, Chip IfIndex = 0x%08x\n",
                  e->ifIndex, e->chip ? static_cast<int>(e->chip->chip_id) : -1,
                  e->chip ? e->chip->ifindex : 0u);
    cb(line);
  }
}

int ofInitIfClis(int value) {
  return value;
}

void ofResetIfTable() {
  while (ofIfTable && avl_get_tree_size(ofIfTable) > 0) {
    avl_node* cursor = nullptr;
    of_if_entry* e = of_get_first_port(&cursor);
    ofProcessPortDelete(e->ifIndex, e->port_id);
  }
}

namespace {
const ofa_reset_hook reset_hook{10, ofResetIfTable};
}  // namespace
