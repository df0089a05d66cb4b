// Egress VLAN translation: what leaves a port tagged or untagged, and with which VLAN. Each (port,
// IIVID) has a default that the port and VLAN set-up programmed (a port's own IIVID untagged, a
// VLAN's IIVID tagged with the VLAN's id); each port's evt_tree holds one record per deviation
// from it, highest IIVID first (of_evt_cmp is reversed). The table reflects the requests, not the
// chip: a record changes before the chip is told and stays changed when the chip refuses.
//
// Table primitives answer 0 or a negative status; the lp_ and of_dpx_ operations 1 when done and
// 0 when not (a request that restores nothing, or is refused). The chips are reached through the
// family's slot 40.
#pragma once

#include <cstdint>
#include <span>

struct of_if_entry;

struct of_evt_entry {
  uint32_t iivid = 0;
  uint8_t type = 0;  // 0 a port's own IIVID (P), 1 a VLAN's (V)
  uint8_t is_tag = 0;
  uint32_t out_vlan = 0;
};

inline constexpr uint32_t OF_EVT_TYPE_PORT = 0;
inline constexpr uint32_t OF_EVT_TYPE_VLAN = 1;
inline constexpr uint32_t OF_EVT_ALL_IIVIDS = 0xFFFFFFFF;

// The EVT message (the body of a type 12 message: sub-type in the low 16 bits of the word at 4,
// then the fields below, big-endian). A shorter body is refused by the handler.
inline constexpr uint32_t OF_EVT_MSG_MIN_LEN = 44;
inline constexpr uint32_t OFM_ADD_EVT = 30;
inline constexpr uint32_t OFM_DEL_EVT = 31;

struct of_evt_msg {
  uint32_t type = 0;
  uint32_t in_vlan = 0;
  uint32_t iivid = 0;
  uint32_t tag_action = 0;
  uint32_t is_out_vlan_tag = 0;  // computed by the agent: from tag_action, or the default
  uint32_t out_vlan = 0;
  uint32_t out_port = 0;  // its low 16 bits name the port
};
of_evt_msg of_evt_msg_read(std::span<const uint8_t> body);

// Reversed on the records' first word, as the VLAN table compares its ids.
int of_evt_cmp(const void* key, const void* item);
of_evt_entry* of_lookup_evt(of_if_entry* port, uint32_t iivid);
// 0, or OFA_E_INVALID_ARG when present or out of memory.
int of_evt_add_entry(of_if_entry* port, uint32_t iivid, uint8_t type, uint8_t is_tag,
                     uint32_t out_vlan);
// A null record is looked up by iivid: 0, or OFA_E_INVALID_ARG when absent.
int of_evt_upd_entry(of_if_entry* port, of_evt_entry* rec, uint32_t iivid, uint8_t is_tag,
                     uint32_t out_vlan);
// Unlinks the record (a null one is looked up by iivid, traced 16015): 0, or OFA_E_ABSENT. The
// record is the caller's to free.
int of_evt_del_entry(of_if_entry* port, of_evt_entry* rec, uint32_t iivid);

// The manager's add and delete (traces 16016 to 16021): an unknown port 0, a port of another LP
// 1 with nothing done; a tag_action above 3 ends an add with 0.
int lp_process_add_evt(std::span<const uint8_t> body);
int lp_process_del_evt(std::span<const uint8_t> body);

// The decision tables of a first add, an update over a record and a delete (traces 19025 to
// 19050), on a message whose is_out_vlan_tag is set.
int of_dpx_process_evt_add(of_if_entry* port, const of_evt_msg& m);
int of_dpx_process_evt_upd(of_if_entry* port, const of_evt_msg& m);
int of_dpx_process_evt_del(of_if_entry* port, const of_evt_msg& m);
// Slot 40: 1, or 0 with trace 19023 (no handler) or 19024 (the chip's refusal).
int of_dpx_process_evt_upd_hw(uint32_t iivid, of_if_entry* port, uint32_t is_tag, uint32_t out_vlan,
                              uint32_t remove);

// Start-up: every port's tree made from then on compares and frees EVT records.
void of_evt_init();
