#include "backends/ard/ard_policers.h"

#include <span>
#include <string>

#include "agent/status.h"
#include "agent/trace.h"
#include "chip/chip_req.h"
#include "chip/chip_table.h"
#include "chip/hsl_transport.h"

namespace {

constexpr uint32_t kInstances = 2;

// The sub-request of one instance at `at` of the bulk; 0 when it does not fit.
uint32_t ard_of_policer_add_ioctl(std::span<uint8_t> at, uint32_t id, uint32_t instance,
                                  const of_policer_rate& rate) {
  file_printf("pol id:%d rate %s, burst_size %s\n", id, std::to_string(rate.cir).c_str(),
              std::to_string(rate.cbs).c_str());
  return of_build_policer_add(at, id, instance, rate.cir, rate.cbs);
}

uint32_t ard_of_policer_del_ioctl(std::span<uint8_t> at, uint32_t id, uint32_t instance) {
  return of_build_policer_del(at, id, instance);
}

// Both instances in one bulk, to the chip; a request that could not be built is not sent.
template <typename Build>
int send_pair(of_chip_entry* chip, Build build) {
  std::span<uint8_t> area = ofNLReqArea();
  uint32_t len = of_bulk_init(area, false);
  for (uint32_t i = 0; i < kInstances && len != 0; ++i)
    len = len <= area.size() && build(area.subspan(len), i) != 0 ? of_bulk_commit(area) : 0;
  if (len == 0) return OFA_E_HSL_SEND;
  return ofCosIoctl(chip->ifindex, area.data(), len, nullptr, &len);
}

int program(of_chip_entry* chip, uint32_t id, const of_policer_rate* rate, const char* failed) {
  if (!chip || !rate) return OFA_E_INVALID_ARG;
  int rc = send_pair(chip, [&](std::span<uint8_t> at, uint32_t i) {
    return ard_of_policer_add_ioctl(at, id, i, *rate);
  });
  if (rc != 0)
    file_printf(failed, id, rc);
  else
    file_printf("pol id:%d", id);
  return rc;
}

}  // namespace

int ard_of_policer_add(of_chip_entry* chip, uint32_t policer_id, const of_policer_rate* rate) {
  return program(chip, policer_id, rate, "Unable to add pol id:%d rc:%d");
}

int ard_of_policer_upd(of_chip_entry* chip, uint32_t policer_id, const of_policer_rate* rate) {
  return program(chip, policer_id, rate, "Unable to update pol id:%d rc:%d");
}

int ard_of_policer_del(of_chip_entry* chip, uint32_t policer_id) {
  if (!chip) return OFA_E_INVALID_ARG;
  int rc = send_pair(chip, [&](std::span<uint8_t> at, uint32_t i) {
    return ard_of_policer_del_ioctl(at, policer_id, i);
  });
  if (rc != 0)
    file_printf("Unable to del pol id:%d", policer_id);
  else
    file_printf("pol id:%d", policer_id);
  return rc;
}
