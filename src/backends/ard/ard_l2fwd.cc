#include <algorithm>

#include "agent/trace.h"
#include "backends/ard/ard_groups.h"
#include "backends/ard/ard_send.h"
#include "chip/chip_req.h"
#include "chip/if_table.h"

int ard_of_l2fwd_add(uint32_t, uint32_t iivid, const uint8_t* mac, uint32_t port) {
  of_mac m{};
  if (mac) std::copy_n(mac, m.size(), m.begin());
  const of_if_entry* p = ofLookupIfEntrybyPortId(static_cast<uint16_t>(port & 0xffff));
  int rc = ard_dispatch_all(
      of_build_l2fwd_add(ofNLReqArea(), static_cast<uint16_t>(iivid), m, p ? p->ifIndex : 0));
  if (rc != 0)
    file_printf("Unable to program l2exm entry rc: %d\n", rc);
  else
    file_printf("Programmed l2exm entry\n");
  return rc;
}

int ard_of_l2fwd_del(uint32_t, uint32_t iivid, const uint8_t* mac) {
  of_mac m{};
  if (mac) std::copy_n(mac, m.size(), m.begin());
  int rc = ard_dispatch_all(of_build_l2fwd_del(ofNLReqArea(), static_cast<uint16_t>(iivid), m));
  if (rc != 0)
    file_printf("Unable to program l2exm entry rc: %d\n", rc);
  else
    file_printf("Delete l2exm entry\n");
  return rc;
}
