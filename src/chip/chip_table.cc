#include "chip/chip_table.h"

#include <unistd.h>

#include <cstdio>
#include <new>

#include "agent/agent_globals.h"
#include "agent/reset.h"
#include "agent/status.h"
#include "agent/trace.h"
#include "chip/chip_flow_tree.h"
#include "chip/chip_req.h"
#include "chip/hsl_transport.h"
#include "foundation/avl_tree.h"
#include "platform/ifindex.h"
#include "platform/system.h"
#include "platform/wire.h"

of_slot_entry ofSlotTable[OF_MAX_SLOTS + 1];
static auto& of_slot_records = ofSlotTable;
avl_tree* ofChipTable = nullptr;

// ---- platform decoders --------------------------------------------------------------------------

int32_t of_dce_get_flat_chip_id(uint32_t ifindex) {
  return ofa::platform::dce_get_flat_chip_id(ofa_sys_platform(), ifindex);
}
int32_t of_dce_get_slot_id(uint32_t ifindex) {
  return ofa::platform::dce_get_slot_id(ifindex);
}
int32_t of_dce_get_slot_chip_id(uint32_t flat_id) {
  return ofa::platform::dce_get_slot_chip_id(ofa_sys_platform(), flat_id);
}
uint32_t of_dce_get_ifindex(uint32_t flat_id) {
  return ofa::platform::dce_get_ifindex(ofa_sys_platform(), flat_id);
}

// ---- tables ---------------------------------------------------------------------------------

void ofInitSlotTable() {
  for (uint32_t i = 0; i <= OF_MAX_SLOTS; ++i) {
    of_slot_entry& s = of_slot_records[i];
    s.slot_id = static_cast<uint8_t>(i);
    s.state = 0;
    s.flags = 0;
    of_dlist_init(&s.chips);
    of_dlist_init(&s.list2);
    of_dlist_init(&s.list3);
  }
}

int ofCmpChipEntry(const void* a, const void* b) {
  auto ka = static_cast<int32_t>(static_cast<const of_chip_entry*>(a)->chip_id);
  auto kb = static_cast<int32_t>(static_cast<const of_chip_entry*>(b)->chip_id);
  if (kb < ka) return -1;
  if (kb > ka) return 1;
  return 0;
}

int ofInitChipTable() {
  if (ofChipTable) return 0;
  int rc = avl_create(&ofChipTable, 0, ofCmpChipEntry);
  if (rc != 0) {
    file_printf("Failed to initialize chip table, error = %d", rc);
    return OFA_E_NO_MEMORY;
  }
  return 0;
}

of_slot_entry* ofLookupSlot(uint32_t slot) {
  if (slot > OF_MAX_SLOTS) return nullptr;
  return &of_slot_records[slot];
}

of_chip_entry* ofLookupChip(uint32_t flat_id) {
  of_chip_entry key;
  key.chip_id = flat_id;
  avl_node* n = avl_search(ofChipTable, &key);
  return n ? static_cast<of_chip_entry*>(n->info) : nullptr;
}

of_chip_entry* ofGetFirstChip(avl_node** cursor) {
  *cursor = ofChipTable ? avl_getfirst(ofChipTable) : nullptr;
  return *cursor ? static_cast<of_chip_entry*>((*cursor)->info) : nullptr;
}

of_chip_entry* ofGetNextChip(avl_node** cursor) {
  if (!*cursor) return nullptr;
  *cursor = avl_getnext(ofChipTable, *cursor);
  return *cursor ? static_cast<of_chip_entry*>((*cursor)->info) : nullptr;
}

of_chip_entry* ofGetFirstLocalChip(avl_node** cursor) {
  for (of_chip_entry* c = ofGetFirstChip(cursor); c; c = ofGetNextChip(cursor))
    if (c->is_local) return c;
  return nullptr;
}

// ---- chip events ----------------------------------------------------------------------------

int ofProcessChipUp(const of_chip_event_record* rec, int warm) {
  return ofProcessChipAdd(rec, warm);
}

int ofProcessChipAdd(const of_chip_event_record* rec, int warm) {
  uint32_t slot = rec->slot & 0xff;
  uint32_t local = rec->local_chip_id & 0xff;
  int32_t flat = of_dce_get_flat_chip_id(rec->ifindex);
  file_printf("Received Chip Up for %d/%d (%d)\n", slot, local, flat);
  if (flat >= 0 && ofLookupChip(static_cast<uint32_t>(flat))) {
    file_printf("Ignoring duplicate CHIP_UP event for chip %d/%d(%d)", slot, local, flat);
    return 0;
  }
  of_slot_entry* slot_entry = ofLookupSlot(slot);
  if (!slot_entry || flat < 0) {
    // An index that names no chip of the platform has no place in the table either.
    file_printf("Unable to derive slot for chip %d/%d", slot, local);
    return OFA_E_BAD_OR_MISSING;
  }
  auto* chip = new (std::nothrow) of_chip_entry{};
  if (!chip) {
    file_printf("Failed to process chip up event for chip %d/%d", slot, local);
    return OFA_E_NO_MEMORY;
  }
  chip->slot = slot;
  chip->local_chip_id = local;
  chip->chip_id = static_cast<uint32_t>(flat);
  chip->ifindex = rec->ifindex;
  chip->chip_type = rec->chip_type;
  chip->slot_entry = slot_entry;
  int32_t chip_slot = of_dce_get_slot_id(rec->ifindex);
  chip->is_local = static_cast<int32_t>(openflowAgtPcb.my_slot) == chip_slot ? 1 : 0;
  file_printf("ifindex:%x my_slot:%d chip_slot:%d is_local:%d\n", rec->ifindex,
              openflowAgtPcb.my_slot, chip_slot, chip->is_local);
  of_dlist_init(&chip->ports);
  of_dlist_append(&slot_entry->chips, &chip->slot_link, chip);
  if (!ofChipTable || avl_insert_nodup(ofChipTable, chip) != 0) {
    // The slot's list must not keep a link into freed memory.
    of_dlist_unlink(&chip->slot_link);
    delete chip;
    file_printf("Failed to insert chip entry %d in chip table", flat);
    return OFA_E_NO_MEMORY;
  }
  if (warm) {
    file_printf("Call to ofa_region_del call back");
    if (auto fn = openflow_modules[OF_MODULE_AGT].chip_warm_up) {
      if (fn(chip) != 0)
        file_printf("Module %d failed to process chip warm up, rc: %d", OF_MODULE_AGT, OFA_OK);
    }
  }
  for (uint32_t m = 0; m < OF_MODULE_COUNT; ++m) {
    auto fn = openflow_modules[m].chip_up;
    if (fn && fn(chip) != 0) file_printf("Module %d failed to process chip up, rc: %d", m, OFA_OK);
  }
  return 0;
}

int ofProcessChipDown(const of_chip_event_record* rec) {
  file_printf("Ignoring chip down for chip %d/%d (%d)", rec->slot & 0xff, rec->local_chip_id & 0xff,
              rec->flat_chip_id);
  return 0;
}

int ofProcessBulkChipUp(std::span<const uint8_t> event) {
  bool truncated = false;
  auto chips = of_bulk_chip_decode(event, &truncated);
  if (truncated) file_printf("Bulk chip event holds fewer chips than it counts");
  for (const auto& c : chips) {
    int32_t flat = of_dce_get_flat_chip_id(c.ifindex);
    if (of_chip_entry* e = flat >= 0 ? ofLookupChip(static_cast<uint32_t>(flat)) : nullptr) {
      e->seen = 1;
      continue;
    }
    file_printf("Unable to find chip ifidx: %x, slot/chip: %d/%d, flat_chip: %d in db", c.ifindex,
                c.slot, c.local_chip_id, c.flat_chip_id);
    of_chip_event_record rec;
    rec.event = OF_HSL_EVENT_CHIP_UP;
    rec.slot = c.slot;
    rec.local_chip_id = c.local_chip_id;
    rec.flat_chip_id = c.flat_chip_id;
    rec.ifindex = c.ifindex;
    int rc = ofProcessChipAdd(&rec, 1);
    if (rc != 0) {
      file_printf("Failed to add chip to db, rc: %d", rc);
      continue;
    }
    if (of_chip_entry* e = flat >= 0 ? ofLookupChip(static_cast<uint32_t>(flat)) : nullptr)
      e->seen = 1;
  }
  avl_node* cursor = nullptr;
  of_chip_entry* c = ofGetFirstChip(&cursor);
  while (c) {
    avl_node* next_cursor = cursor;
    of_chip_entry* next = ofGetNextChip(&next_cursor);
    if (c->seen == 0) {
      of_chip_event_record rec;
      rec.event = OF_HSL_EVENT_CHIP_DOWN;
      rec.slot = c->slot;
      rec.local_chip_id = c->local_chip_id;
      rec.flat_chip_id = c->chip_id;
      rec.ifindex = c->ifindex;
      int rc = ofProcessChipDown(&rec);
      if (rc != 0) file_printf("unable to process chip down for chip %x, rc: %d", c->chip_id, rc);
    } else {
      c->seen = 0;
    }
    c = next;
    cursor = next_cursor;
  }
  return 0;
}

int ofProcessSlotUp(uint32_t slot) {
  slot &= 0xff;
  file_printf("Processing slot up event for slot %d", slot);
  of_slot_entry* s = ofLookupSlot(slot);
  if (!s) {
    file_printf("Failed to find slot %d entry to process slot up event", slot);
    return OFA_E_BAD_OR_MISSING;
  }
  uint32_t was = s->state;
  s->state = 1;
  if (was != 1) {
    for (auto& m : openflow_modules)
      if (m.slot_up) m.slot_up(s);
  }
  return 0;
}

int ofProcessSlotDown(uint32_t slot) {
  slot &= 0xff;
  file_printf("Processing slot down event for slot %d", slot);
  of_slot_entry* s = ofLookupSlot(slot);
  if (!s) {
    file_printf("Failed to find slot entry for slot %d", slot);
    return 0;
  }
  uint32_t was = s->state;
  s->state = 0;
  if (was != 0) {
    for (auto& m : openflow_modules)
      if (m.slot_down) m.slot_down(s);
  }
  return 0;
}

int ofGetChipFromChipId(uint32_t flat_id) {
  of_chip_event_record rec;
  rec.event = OF_HSL_EVENT_CHIP_UP;
  rec.ifindex = of_dce_get_ifindex(flat_id);
  rec.slot = static_cast<uint32_t>(of_dce_get_slot_id(rec.ifindex));
  rec.local_chip_id = static_cast<uint32_t>(of_dce_get_slot_chip_id(flat_id));
  rec.flat_chip_id = flat_id;
  int rc = ofProcessChipUp(&rec, 1);
  if (rc != 0) file_printf("Fake chip up failed, rc: %d", rc);
  return rc;
}

// ---- requests to many chips -----------------------------------------------------------------

int ofDispatchIoctlToAllChips(const void* request, uint32_t size, void* spare,
                              const uint32_t* response_size) {
  ofa::wire::Reader r(ofNLReqArea());
  bool clear = r.u32_at(0) == OF_STATS_CLEAR_CMD;
  avl_node* cursor = nullptr;
  for (of_chip_entry* c = ofGetFirstChip(&cursor); c; c = ofGetNextChip(&cursor)) {
    if (clear) {
      ofa::wire::Writer w(ofNLReqArea());
      w.u32_at(40, 0);
      w.u32_at(44, 0);
    }
    int rc = ofCosIoctl(c->ifindex, request, size, spare, response_size);
    if (rc != 0) {
      file_printf("Dispatching ioctl to chip %x failed, rc: %d", c->ifindex, rc);
      return rc;
    }
  }
  return 0;
}

int ofAggregateStatsFromAllChips(of_stats_aggr_fn fn, void* ctx, const void* request, uint32_t size,
                                 void* spare, const uint32_t* response_size, int once) {
  int rc = 0;
  avl_node* cursor = nullptr;
  for (of_chip_entry* c = ofGetFirstChip(&cursor); c; c = ofGetNextChip(&cursor)) {
    if (!c->is_local) continue;
    rc = ofCosIoctl(c->ifindex, request, size, spare, response_size);
    if (rc != 0) {
      file_printf("Failed to retrieve stats from chip: %x", c->ifindex);
      break;
    }
    if (fn) fn(ctx, ofNLReqArea().data());
    if (once) break;
  }
  return rc;
}

// ---- capabilities ---------------------------------------------------------------------------

int ofGetChipCapability(of_chip_entry* entry) {
  return ofGetCoSChipCapability(entry);
}

int ofGetCoSChipCapability(of_chip_entry* entry) {
  file_printf("Sending chip capability ioctl");
  uint32_t len = of_build_capability(ofNLReqArea(), static_cast<uint32_t>(getpid()));
  uint32_t rsp = len;
  int rc = ofCosIoctl(entry->ifindex, nullptr, len, nullptr, &rsp);
  if (rc != 0) {
    file_printf("IOCTL failed for chip capability");
    return rc;
  }
  ofa::wire::Reader r(ofNLReqArea());
  file_printf("ioctl response with length  = %d", r.u32_at(12));
  uint32_t id = r.u32_at(OF_CAPABILITY_CHIP_ID_OFFSET);
  if (id != OF_IFM_CHIP_ID_KNOWN) {
    file_printf("Unsupported chip type %d in chip capability", id);
    return OFA_E_BAD_OR_MISSING;
  }
  entry->chip_class = OF_CHIP_CLASS_SUPPORTED;
  entry->ipv4_caps = r.u32_at(OF_CAPABILITY_IPV4_OFFSET);
  entry->ipv6_caps = r.u32_at(OF_CAPABILITY_IPV6_OFFSET);
  return 0;
}

int ofCopyCapsToChip(const of_chip_event_record* rec, of_chip_entry* entry) {
  if (rec->ifm_chip_id != OF_IFM_CHIP_ID_KNOWN) {
    file_printf("Unknown chip id from IFM: %d", rec->ifm_chip_id);
    return OFA_E_BAD_OR_MISSING;
  }
  entry->chip_class = OF_CHIP_CLASS_SUPPORTED;
  entry->ipv4_caps = rec->ipv4_caps;
  entry->ipv6_caps = rec->ipv6_caps;
  file_printf("IPv4=%d IPV6=%d", rec->ipv4_caps, rec->ipv6_caps);
  return 0;
}

// ---- show -------------------------------------------------------------------------------------

void ofShowSlotTable(of_show_cb cb) {
  char line[128];
  for (uint32_t i = 0; i < OF_MAX_SLOTS; ++i) {
    const of_slot_entry& s = of_slot_records[i];
    if (s.state == 0 && of_dlist_empty(&s.chips)) continue;
    std::snprintf(line, sizeof line, "SlotID : %d\n", s.slot_id);
    cb(line);
    std::snprintf(line, sizeof line, "    state: %s chips: %d\n", s.state ? "up" : "down",
                  of_dlist_count(&s.chips));
    cb(line);
  }
}

void ofShowChipTable(of_show_cb cb) {
  char line[160];
  avl_node* cursor = nullptr;
  for (of_chip_entry* c = ofGetFirstChip(&cursor); c; c = ofGetNextChip(&cursor)) {
    std::snprintf(line, sizeof line, "Chip %d (%d/%d):\n", c->chip_id, c->slot, c->local_chip_id);
    cb(line);
    std::snprintf(line, sizeof line,
                  "    ifindex: 0x%08x type: %d is_local: %d l2_size: %d l3_size: %d ports: %d\n",
                  c->ifindex, c->chip_type, c->is_local, c->l2_size, c->l3_size,
                  of_dlist_count(&c->ports));
    cb(line);
  }
}

// ---- reset ------------------------------------------------------------------------------------

void ofResetChipTables() {
  if (ofChipTable) {
    avl_tree_free(&ofChipTable, [](void* item) {
      auto* c = static_cast<of_chip_entry*>(item);
      of_chip_free_flow_table(c);
      delete c;
    });
  }
  ofInitSlotTable();
}

namespace {
const ofa_reset_hook reset_hook{20, ofResetChipTables};
}  // namespace
