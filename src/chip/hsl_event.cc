// Demultiplexing of HSL events onto the slot and chip tables.
#include <algorithm>
#include <array>

#include "agent/agent_globals.h"
#include "agent/rsm_state.h"
#include "agent/trace.h"
#include "chip/chip_event.h"
#include "chip/chip_table.h"
#include "chip/hsl_transport.h"
#include "platform/wire.h"

namespace {
inline constexpr uint32_t kEventClassOffset = 8;
inline constexpr uint32_t kEventOffset = 28;
inline constexpr uint32_t kEventSlotOffset = 32;
inline constexpr uint32_t kBootCold = 0;  // openflowRsmBootmodeGet() of a cold start
}  // namespace

int ofProcessHslEvent(uint8_t* buf, uint32_t size, uintptr_t /*arg*/, uint16_t /*type*/) {
  file_printf("ofProcessHslEvent: entry");
  if (of_corvu_state.stage == OFA_STAGE_STANDBY || openflowRsmHandleGet() == -1 ||
      openflowRsmBootmodeGet() != static_cast<int>(kBootCold))
    return 0;
  ofa::wire::Reader r(buf, size);
  if (r.u32_at(kEventClassOffset) != OF_HSL_EVENT_CLASS) return 0;
  uint32_t event = r.u32_at(kEventOffset);
  if (!r.ok()) {
    file_printf("HSL event too short (%d bytes), dropped", size);
    return 0;
  }
  switch (event) {
    case OF_HSL_EVENT_SLOT_UP:
    case OF_HSL_EVENT_SLOT_DOWN: {
      uint32_t slot = r.u32_at(kEventSlotOffset) & 0xff;
      if (!r.ok()) {
        // A slot event without its slot word would otherwise act on slot 0.
        file_printf("HSL event too short (%d bytes), dropped", size);
        return 0;
      }
      return event == OF_HSL_EVENT_SLOT_UP ? ofProcessSlotUp(slot) : ofProcessSlotDown(slot);
    }
    case OF_HSL_EVENT_CHIP_UP:
    case OF_HSL_EVENT_CHIP_DOWN: {
      // A record cut short is read as if zero-filled to its full 484 bytes.
      std::array<uint8_t, OF_CHIP_EVENT_RECORD_SIZE> raw{};
      auto rest = r.data().subspan(kEventOffset);
      if (rest.size() < raw.size())
        file_printf("HSL chip event record short (%d bytes), read as zero-filled",
                    static_cast<int>(rest.size()));
      std::copy_n(rest.begin(), std::min(rest.size(), raw.size()), raw.begin());
      of_chip_event_record rec;
      of_chip_event_decode(raw, &rec);
      return event == OF_HSL_EVENT_CHIP_UP ? ofProcessChipUp(&rec, 0) : ofProcessChipDown(&rec);
    }
    case OF_HSL_EVENT_BULK:
      return 0;
    default:
      file_printf("Unknown event %d from HSL", event);
      return 0;
  }
}
