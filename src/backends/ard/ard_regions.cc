#include "backends/ard/ard_regions.h"

#include <array>

#include "agent/agent_globals.h"
#include "agent/status.h"
#include "agent/trace.h"
#include "backends/chip_family.h"
#include "chip/chip_req.h"
#include "chip/chip_table.h"
#include "chip/hsl_transport.h"
#include "platform/wire.h"

namespace {

constexpr uint32_t kFam = OF_FAMILY_ARD;

int send(of_chip_entry* chip, uint32_t len) {
  if (len == 0) return OFA_E_HSL_SEND;
  uint32_t rsp = len;
  return ofCosIoctl(chip->ifindex, ofNLReqArea().data(), len, nullptr, &rsp);
}

uint32_t reply_u32(size_t off) {
  return ofa::wire::Reader(ofNLReqArea()).u32_at(off);
}
uint32_t reply_u8(size_t off) {
  return ofa::wire::Reader(ofNLReqArea()).u8_at(off);
}

// What a default entry's success and failure words say, and how it is built.
struct def_entry {
  const char* ok;
  const char* fail;
  uint32_t (*build)(uint8_t action);
};

uint32_t build_l2_default(uint8_t action) {
  of_l2flow_params p;
  p.handle = 1;
  p.region = OF_REGION_DEFAULT;
  p.key.vpn_id = ARD_DFLT_L2_VPN;
  p.key.valid = OF_L2_VALID_VPN;
  p.result.fwd_action = OF_L2_FWD_DROP;
  p.result.flags =
      OF_L2_FLAG_ACTION_VALID | (action == OFA_DEFAULT_ACTION_TO_CTRL ? OF_L2_FLAG_COPY_CTRL : 0u);
  return of_build_l2flow_req(ofNLReqArea(), p);
}

uint32_t build_reserved(uint32_t handle, uint16_t iivid, uint32_t mask) {
  of_l2flow_params p;
  p.handle = handle;
  p.region = OF_REGION_TOP;
  p.key.iivid = iivid;
  p.key.valid = OF_L2_VALID_IIVID | of_l2_valid_iivid_mask(mask);
  p.result.fwd_action = OF_L2_FWD_LOCAL;
  p.result.flags = OF_L2_FLAG_ACTION_VALID;
  return of_build_l2flow_req(ofNLReqArea(), p);
}

uint32_t build_l3_default(uint8_t action) {
  of_l3flow_params p;
  p.handle = 1;
  p.region = OF_REGION_DEFAULT;
  p.key.vpn_id = ARD_DFLT_L3_VPN;
  p.key.valid = OF_L3_VALID_VPN;
  p.result.fwd_action = OF_L3_FWD_LOCAL;
  p.result.flags_a = OF_L3_FA_ACTION_VALID;
  p.result.flags_b = action == OFA_DEFAULT_ACTION_TO_CTRL ? OF_L3_FB_TO_CTRL : 0u;
  return of_build_l3flow_req(ofNLReqArea(), p);
}

const std::array<def_entry, 4> kDefaultEntries = {{
    {"Programmed default l2psel entry hdl: %d, reg %d\n",
     "Unable to program default l2psel entry hdl: %d, reg %d, rc: %d\n", build_l2_default},
    {"Programmed ASIC Reserved IVID-1 entry hdl: %d, reg %d\n",
     "Unable to program ASIC Reserved IVID-1 entry hdl: %d, reg %d, rc: %d\n",
     [](uint8_t) { return build_reserved(1, ARD_RSVD_IVID1, ARD_RSVD_IVID1_MASK); }},
    {"Programmed ASIC Reserved IVID-2 entry hdl: %d, reg %d\n",
     "Unable to program ASIC Reserved IVID-2 entry hdl: %d, reg %d, rc: %d\n",
     [](uint8_t) { return build_reserved(2, ARD_RSVD_IVID2, ARD_RSVD_IVID2_MASK); }},
    {"Programmed default l2psel entry hdl: %d, reg %d\n",
     "Unable to program default ipv4psel entry hdl: %d, reg %d, rc: %d\n", build_l3_default},
}};

}  // namespace

int ard_add_regions(of_chip_entry* chip) {
  const std::array<of_region_params, 6> regions = {{
      {OF_LDEV_L2, OF_REGION_TOP, of_l2psel_reg_dflt_max[kFam], of_l2psel_reg_top_size[kFam], 4},
      {OF_LDEV_L2, OF_REGION_FLOW, chip->l2_size, chip->l2_size / 16, 16},
      {OF_LDEV_L2, OF_REGION_DEFAULT, of_l2psel_reg_dflt_max[kFam], of_l2psel_reg_dflt_size[kFam],
       4},
      {OF_LDEV_L3, OF_REGION_TOP, of_ipv4psel_reg_dflt_max[kFam], 0, 4},
      {OF_LDEV_L3, OF_REGION_FLOW, chip->l3_size, chip->l3_size / 16, 16},
      {OF_LDEV_L3, OF_REGION_DEFAULT, of_ipv4psel_reg_dflt_max[kFam],
       of_ipv4psel_reg_dflt_size[kFam], 4},
  }};
  for (const auto& r : regions) {
    int rc = send(chip, of_build_region_req(ofNLReqArea(), r));
    if (rc != 0) {
      file_printf("Unable to create region ldev: %d, region: %d, size %d, rc: %d\n", r.ldev,
                  r.region, r.size, rc);
      return rc;
    }
    file_printf("Created region ldev: %d, region: %d, size %d\n", r.ldev, r.region, r.size);
  }
  return 0;
}

int ard_del_regions(of_chip_entry* chip) {
  for (uint8_t ldev : {OF_LDEV_L2, OF_LDEV_L3}) {
    int rc = send(chip, of_build_region_del_all(ofNLReqArea(), ldev));
    if (rc != 0) {
      file_printf("Unable to delete all regions ldev: %d rc: %d\n", ldev, rc);
      return rc;
    }
    file_printf("Deleted all regions ldev: %d\n", ldev);
  }
  return 0;
}

int ard_add_def_entries(of_chip_entry* chip, uint8_t default_action) {
  uint8_t action = default_action & 1;
  for (const auto& e : kDefaultEntries) {
    int rc = send(chip, e.build(action));
    if (rc != 0) {
      file_printf(e.fail, reply_u32(28), reply_u8(40), rc);
      return rc;
    }
    file_printf(e.ok, reply_u32(28), reply_u8(40));
  }
  return 0;
}

int ard_upd_def_entries(of_chip_entry* chip, uint8_t default_action) {
  uint8_t action = default_action & 1;
  of_l2_result l2;
  l2.fwd_action = OF_L2_FWD_DROP;
  l2.flags =
      OF_L2_FLAG_ACTION_VALID | (action == OFA_DEFAULT_ACTION_TO_CTRL ? OF_L2_FLAG_COPY_CTRL : 0u);
  of_l3_result l3;
  l3.fwd_action = OF_L3_FWD_LOCAL;
  l3.flags_a = OF_L3_FA_ACTION_VALID;
  l3.flags_b = action == OFA_DEFAULT_ACTION_TO_CTRL ? OF_L3_FB_TO_CTRL : 0u;
  for (int step = 0; step < 2; ++step) {
    uint32_t len = step == 0 ? of_build_l2flow_upd_req(ofNLReqArea(), 1, OF_REGION_DEFAULT, l2)
                             : of_build_l3flow_upd_req(ofNLReqArea(), 1, OF_REGION_DEFAULT, l3);
    int rc = send(chip, len);
    if (rc != 0) {
      file_printf("Unable to update default l2psel entry hdl: %d, reg %d, rc: %d\n", reply_u32(28),
                  reply_u8(32), rc);
      return rc;
    }
    file_printf("Updated default l2psel entry hdl: %d, reg %d\n", reply_u32(28), reply_u8(32));
  }
  return 0;
}
