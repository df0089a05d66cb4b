#include "control/events.h"

#include "platform/ifindex.h"
#include "platform/wire.h"

namespace ofa::chipsim {

namespace {

constexpr size_t kHeader = 20;

// The closing record at the next 4-byte boundary behind `data`.
void close_datagram(std::vector<uint8_t>& d, uint32_t seq, const EventShape& shape) {
  if (!shape.close) return;
  size_t at = (d.size() + 3) & ~size_t{3};
  d.resize(at + kHeader, 0);
  wire::Writer w(d);
  w.u32_at(at, kHeader);
  w.u16_at(at + 4, shape.close_type);
  w.u32_at(at + 8, seq);
}

}  // namespace

std::vector<uint8_t> event_datagram(uint32_t event, uint32_t slot, const ChipConfig* chip,
                                    uint32_t seq, const EventShape& shape) {
  std::vector<uint8_t> d(kHeader + kEventPayloadSize, 0);
  wire::Writer w(d);
  w.u32_at(0, static_cast<uint32_t>(d.size()));
  w.u16_at(4, kCommandType);
  w.u32_at(8, seq);
  const size_t p = kHeader;  // payload
  w.u32_at(p + 8, shape.cls);
  // The chip event record starts at payload offset 28.
  const size_t rec = p + 28;
  w.u32_at(rec, event);
  w.u32_at(rec + 4, slot);
  if (chip) {
    w.u32_at(rec + 4, chip->slot);
    w.u32_at(rec + 8, chip->local_id);
    w.u32_at(rec + 12, chip->flat_id);
    w.u32_at(rec + 16, platform::chip_ifindex(chip->slot, chip->local_id));
    w.u32_at(rec + 20, chip->type);
    w.u32_at(rec + 28, 29);  // chip id from IFM: the one known capability row
    w.u32_at(rec + 464, 1);  // IPv4
    w.u32_at(rec + 468, 1);  // IPv6
  }
  close_datagram(d, seq, shape);
  return d;
}

std::vector<uint8_t> error_datagram(int32_t error, uint16_t msg_type, uint32_t err_seq,
                                    uint32_t seq) {
  std::vector<uint8_t> d(kHeader + 16 + 20, 0);
  wire::Writer w(d);
  w.u32_at(0, static_cast<uint32_t>(d.size()));
  w.u16_at(4, kRecordError);
  w.u32_at(8, seq);
  w.u32_at(20, static_cast<uint32_t>(error));
  w.u16_at(28, msg_type);
  w.u32_at(32, err_seq);
  close_datagram(d, seq, {});
  return d;
}

}  // namespace ofa::chipsim
