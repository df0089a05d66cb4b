// Statuses the simulated chip answers in the request's status word. Negative errno values, as a
// kernel driver would give them; 0 is success.
#pragma once

#include <cstdint>

namespace ofa::chipsim::status {

inline constexpr int32_t kOk = 0;
inline constexpr int32_t kNoEntry = -2;          // region, entry or object not there
inline constexpr int32_t kExists = -17;          // handle in use, region already made
inline constexpr int32_t kNoDevice = -19;        // target names no chip
inline constexpr int32_t kInvalid = -22;         // bad length or field
inline constexpr int32_t kFull = -28;            // region full
inline constexpr int32_t kNotNeighbours = -34;   // before/after not neighbours in the chip's order
inline constexpr int32_t kProtocol = -71;        // bad envelope or routing block
inline constexpr int32_t kTooBig = -90;          // the reply does not fit the buffer
inline constexpr int32_t kUnknownCommand = -95;  // unknown command, or not one of this family

}  // namespace ofa::chipsim::status
