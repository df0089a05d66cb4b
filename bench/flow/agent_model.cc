// openflowAgtd with the chip model of ofa-chipsim in process, behind the ioctl hook as a kernel
// call would be: for the end-to-end benchmark without the simulator's socket
// (OFA_BENCH_CHIP=in-process scripts/bench-flows.sh). The model is made from the agent's platform
// at the first chip request; chips come up when their first port does (the warm path).
#include <memory>
#include <span>

#include "agent/top/openflow_agt_main.h"
#include "chip/hsl_transport.h"
#include "control/platform_config.h"
#include "model/model.h"
#include "platform/system.h"

namespace {

std::unique_ptr<ofa::chipsim::Model> g_model;

int model_ioctl(int, uint8_t* buf, uint32_t len, uint32_t cap) {
  if (!g_model)
    g_model = std::make_unique<ofa::chipsim::Model>(ofa::chipsim::model_config(ofa_sys_platform()));
  return g_model->ioctl(std::span<uint8_t>(buf, cap), len) > 0 ? 0 : -1;
}

}  // namespace

int main(int argc, char** argv) {
  ofNLSetIoctlHook(model_ioctl);
  return openflow_agt_main(argc, argv);
}
