// System parameters of this switch, answered from the platform file ($OFA_PLATFORM or the
// embedded default, with OFA_SLOT and OFA_BOOT applied): model, profiles, TCAM sizes, the
// resource record, slot parameters, this LP's slot, port count and names.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/platform_file.h"

// Loads the platform of this process once; later calls reuse it. 0, or -1 with the parser's
// "file:line: reason" in *error.
int ofa_sys_load(std::string* error);
// Replaces the platform (tests, tools).
void ofa_sys_set(const ofa::platform::Platform& p);
// The loaded platform (the embedded default when nothing was loaded).
const ofa::platform::Platform& ofa_sys_platform();

uint32_t sysconModel();
uint8_t platsys_get_hwprofile();
uint8_t platsys_get_profile();
uint32_t platsys_get_tcam_size_by_pid(uint8_t pid, uint32_t table);  // table 10 or 23

inline constexpr size_t SYS_RESOURCE_RECORD_SIZE = 128;
inline constexpr uint32_t SYS_MAX_CHIPS_PER_SLOT = 32;

// Slot parameters: the slot, the chip count and (type, local id) per chip.
struct sys_slot_params {
  uint32_t slot;
  uint32_t chip_count;
  struct {
    uint32_t type;
    uint32_t local_id;
  } chips[SYS_MAX_CHIPS_PER_SLOT];
};

int sysModInit(void** handle);
int sysModClose(void** handle);
// kind 2: the 128-byte resource record (big-endian words at their offsets).
int sysCtrlGetResourceLimits(void* handle, int kind, uint8_t* record, size_t size);
int sysCtrlGetSlotParameters(void* handle, uint32_t slot, sys_slot_params* out);
// Whether slots count from 1 in slot masks (they do on this platform).
int sysCtrlGetSystemParameters(void* handle, uint32_t* slots_from_one);

uint32_t dpx_ni_my_slot();
uint32_t ip_get_number_of_phy_ports();
// The name of front-panel port `port` into buf (cut to len - 1); 0, or -1 for no such port.
int l3_get_ifname_from_port_num(uint32_t port, char* buf, size_t len);
