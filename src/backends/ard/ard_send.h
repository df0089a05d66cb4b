// How the ard handlers that program every chip send: the request standing in ofNLMsgBuf to all
// chips in table order, stopping at the first failure; a request that could not be built (length
// 0) is not sent.
#pragma once

#include <cstdint>

#include "agent/status.h"
#include "chip/chip_table.h"
#include "chip/hsl_transport.h"

inline int ard_dispatch_all(uint32_t len) {
  if (len == 0) return OFA_E_HSL_SEND;
  return ofDispatchIoctlToAllChips(ofNLReqArea().data(), len, nullptr, &len);
}
