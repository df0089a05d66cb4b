// The chip model of ofa-chipsim behind the agent's ioctl, in process: every chip request is
// decoded, checked and answered as the simulator would, and the model's state can be read back.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "model/model.h"

namespace ofa::test {

// Made from the loaded platform; installs itself as the ioctl hook until destroyed.
class ModelHsl {
 public:
  ModelHsl();
  ~ModelHsl();
  ModelHsl(const ModelHsl&) = delete;
  ModelHsl& operator=(const ModelHsl&) = delete;

  chipsim::Model& model() { return *model_; }
  // Handles of a region's entries in chip order, on the chip of flat id `flat`.
  std::vector<uint32_t> region_handles(uint32_t flat, uint8_t ldev, uint8_t region);

 private:
  std::unique_ptr<chipsim::Model> model_;
};

}  // namespace ofa::test
