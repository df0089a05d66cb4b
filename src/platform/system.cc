#include "platform/system.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <mutex>
#include <variant>

namespace {

using ofa::platform::Platform;

std::mutex g_mu;
std::unique_ptr<Platform> g_platform;

const Platform& embedded_default() {
  static const Platform p = [] {
    auto r = ofa::platform::parse_platform(ofa::platform::default_platform_text(), "<default>");
    auto* ok = std::get_if<Platform>(&r);
    return ok ? *ok : Platform{};
  }();
  return p;
}

int g_mod_handle = 0;

}  // namespace

int ofa_sys_load(std::string* error) {
  std::lock_guard<std::mutex> lock(g_mu);
  if (g_platform) return 0;
  auto r = ofa::platform::platform_from_env();
  if (auto* e = std::get_if<ofa::platform::ParseError>(&r)) {
    if (error) *error = e->message;
    return -1;
  }
  g_platform = std::make_unique<Platform>(std::get<Platform>(std::move(r)));
  return 0;
}

void ofa_sys_set(const Platform& p) {
  std::lock_guard<std::mutex> lock(g_mu);
  g_platform = std::make_unique<Platform>(p);
}

const Platform& ofa_sys_platform() {
  std::lock_guard<std::mutex> lock(g_mu);
  return g_platform ? *g_platform : embedded_default();
}

uint32_t sysconModel() {
  return ofa_sys_platform().model;
}
uint8_t platsys_get_hwprofile() {
  return static_cast<uint8_t>(ofa_sys_platform().hw_profile);
}
uint8_t platsys_get_profile() {
  return static_cast<uint8_t>(ofa_sys_platform().route_profile);
}

uint32_t platsys_get_tcam_size_by_pid(uint8_t /*pid*/, uint32_t table) {
  const Platform& p = ofa_sys_platform();
  if (table == 10) return p.l2_tcam_size;
  if (table == 23) return p.l3_tcam_size;
  return 0;
}

int sysModInit(void** handle) {
  if (!handle) return -1;
  *handle = &g_mod_handle;
  return 0;
}

int sysModClose(void** handle) {
  if (!handle || *handle != &g_mod_handle) return -1;
  *handle = nullptr;
  return 0;
}

int sysCtrlGetResourceLimits(void* handle, int kind, uint8_t* record, size_t size) {
  if (handle != &g_mod_handle || kind != 2 || !record) return -1;
  auto rec = ofa::platform::resource_record(ofa_sys_platform());
  std::memset(record, 0, size);
  std::copy_n(rec.begin(), std::min(size, rec.size()), record);
  return 0;
}

int sysCtrlGetSlotParameters(void* handle, uint32_t slot, sys_slot_params* out) {
  if (handle != &g_mod_handle || !out) return -1;
  auto words = ofa::platform::slot_parameters(ofa_sys_platform(), slot);
  if (!words || words->size() < 2) return -1;
  *out = sys_slot_params{};
  out->slot = (*words)[0];
  out->chip_count = std::min((*words)[1], SYS_MAX_CHIPS_PER_SLOT);
  for (uint32_t c = 0; c < out->chip_count && 3 + 2 * c < words->size(); ++c) {
    out->chips[c].type = (*words)[2 + 2 * c];
    out->chips[c].local_id = (*words)[3 + 2 * c];
  }
  return 0;
}

int sysCtrlGetSystemParameters(void* handle, uint32_t* slots_from_one) {
  if (handle != &g_mod_handle || !slots_from_one) return -1;
  *slots_from_one = 1;
  return 0;
}

uint32_t dpx_ni_my_slot() {
  return ofa_sys_platform().my_slot;
}
// Ports are named from 1 and the agent counts port ids from 0: the count covers the highest id.
uint32_t ip_get_number_of_phy_ports() {
  return ofa_sys_platform().phy_ports + 1;
}

int l3_get_ifname_from_port_num(uint32_t port, char* buf, size_t len) {
  if (!buf || len == 0) return -1;
  buf[0] = '\0';
  const Platform& p = ofa_sys_platform();
  if (port == 0 || port > p.phy_ports) return -1;
  std::string name = p.port_name(port);
  size_t n = std::min(name.size(), len - 1);
  std::memcpy(buf, name.data(), n);
  buf[n] = '\0';
  return 0;
}
