// The layout of flow action members by version, shared by the encoder and the decoder.
#pragma once

#include <cstddef>
#include <cstdint>

#include "layout.h"
#include "msg_types.h"

namespace ofa::mgr::detail {

// Base of a member's stride (48 for version 1, 76 for version 4, 0 for others).
constexpr size_t member_base(uint8_t version) {
  return version == 1 ? kMemberBaseV1 : version == 4 ? kMemberBaseV4 : 0;
}

// Bytes a member's fixed fields reach past its start.
constexpr size_t member_reach(uint8_t version) {
  return member_base(version) + kMemberMinLength;
}

template <class V, class M>
void member(V& v, M& m, uint8_t version, size_t base) {
  if (version == 1) {
    layout::member_v1(v, m, base);
  } else {
    layout::member_v4(v, m, base);
  }
}

}  // namespace ofa::mgr::detail
