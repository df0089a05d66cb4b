// HSL event datagrams as the agent's event socket receives them: a data record (20-byte
// envelope and the event payload), then at the next 4-byte boundary a closing record of type 4.
#pragma once

#include <cstdint>
#include <vector>

#include "model/model.h"

namespace ofa::chipsim {

inline constexpr uint32_t kEventChipUp = 3;
inline constexpr uint32_t kEventChipDown = 4;
inline constexpr uint32_t kEventSlotUp = 5;
inline constexpr uint32_t kEventSlotDown = 6;
inline constexpr uint32_t kEventIgnored = 7;

inline constexpr uint32_t kEventClass = 2;
inline constexpr size_t kChipRecordSize = 484;
inline constexpr size_t kEventPayloadSize = 28 + kChipRecordSize;
inline constexpr uint16_t kRecordDone = 4;
inline constexpr uint16_t kRecordError = 2;

// How to close a datagram; the defaults make a good one, the others exercise the agent's checks.
struct EventShape {
  uint32_t cls = kEventClass;
  bool close = true;  // false: no closing record
  uint16_t close_type = kRecordDone;
};

// A slot or chip event. For chip events `chip` gives the chip event record (slot, local id,
// flat id, interface index, type); for slot events it may be null.
std::vector<uint8_t> event_datagram(uint32_t event, uint32_t slot, const ChipConfig* chip,
                                    uint32_t seq, const EventShape& shape = {});

// An error record (type 2): error word at 20, message type at 28, sequence word at 32, then a
// good closing record.
std::vector<uint8_t> error_datagram(int32_t error, uint16_t msg_type, uint32_t err_seq,
                                    uint32_t seq);

}  // namespace ofa::chipsim
