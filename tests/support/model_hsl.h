// The chip model of ofa-chipsim behind the agent's ioctl, in process: every chip request is
// decoded, checked and answered as the simulator would, and the model's state can be read back.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "chip/hsl_transport.h"
#include "control/platform_config.h"
#include "model/model.h"
#include "platform/ifindex.h"
#include "platform/system.h"

namespace ofa::test {

// Made from the loaded platform; installs itself as the ioctl hook until destroyed.
class ModelHsl {
 public:
  ModelHsl() : model_(std::make_unique<chipsim::Model>(chipsim::model_config(ofa_sys_platform()))) {
    current() = model_.get();
    ofNLSetIoctlHook([](int, uint8_t* buf, uint32_t len, uint32_t cap) {
      return current()->ioctl(std::span<uint8_t>(buf, cap), len) > 0 ? 0 : -1;
    });
  }
  ~ModelHsl() {
    ofNLSetIoctlHook(nullptr);
    current() = nullptr;
  }
  ModelHsl(const ModelHsl&) = delete;
  ModelHsl& operator=(const ModelHsl&) = delete;

  chipsim::Model& model() { return *model_; }
  // Handles of a region's entries in chip order, on the chip of flat id `flat`.
  std::vector<uint32_t> region_handles(uint32_t flat, uint8_t ldev, uint8_t region) {
    std::vector<uint32_t> out;
    chipsim::ChipState* chip = model_->chip(platform::dce_get_ifindex(ofa_sys_platform(), flat));
    if (!chip) return out;
    auto it = chip->regions.find({ldev, region});
    if (it == chip->regions.end()) return out;
    for (const auto& e : it->second.entries)
      out.push_back(e.handle);
    return out;
  }

 private:
  static chipsim::Model*& current() {
    static chipsim::Model* m = nullptr;
    return m;
  }
  std::unique_ptr<chipsim::Model> model_;
};

}  // namespace ofa::test
