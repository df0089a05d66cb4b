#include "model_hsl.h"

#include "chip/hsl_transport.h"
#include "control/platform_config.h"
#include "platform/ifindex.h"
#include "platform/system.h"

namespace ofa::test {
namespace {

chipsim::Model* current = nullptr;

int model_ioctl(int, uint8_t* buf, uint32_t len, uint32_t cap) {
  return current->ioctl(std::span<uint8_t>(buf, cap), len) > 0 ? 0 : -1;
}

}  // namespace

ModelHsl::ModelHsl()
    : model_(std::make_unique<chipsim::Model>(chipsim::model_config(ofa_sys_platform()))) {
  current = model_.get();
  ofNLSetIoctlHook(model_ioctl);
}

ModelHsl::~ModelHsl() {
  ofNLSetIoctlHook(nullptr);
  current = nullptr;
}

std::vector<uint32_t> ModelHsl::region_handles(uint32_t flat, uint8_t ldev, uint8_t region) {
  std::vector<uint32_t> out;
  const platform::Platform& p = ofa_sys_platform();
  chipsim::ChipState* chip = model_->chip(platform::dce_get_ifindex(p, flat));
  if (!chip) return out;
  auto it = chip->regions.find({ldev, region});
  if (it == chip->regions.end()) return out;
  for (const auto& e : it->second.entries)
    out.push_back(e.handle);
  return out;
}

}  // namespace ofa::test
