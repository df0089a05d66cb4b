#include "chip/chip_event.h"

#include <algorithm>

#include "platform/wire.h"

bool of_chip_event_encode(const of_chip_event_record& rec, std::span<uint8_t> out) {
  if (out.size() < OF_CHIP_EVENT_RECORD_SIZE) return false;
  auto area = out.first(OF_CHIP_EVENT_RECORD_SIZE);
  std::fill(area.begin(), area.end(), uint8_t{0});
  ofa::wire::Writer w(area);
  w.u32_at(0, rec.event);
  w.u32_at(4, rec.slot);
  w.u32_at(8, rec.local_chip_id);
  w.u32_at(12, rec.flat_chip_id);
  w.u32_at(16, rec.ifindex);
  w.u32_at(20, rec.chip_type);
  w.u32_at(28, rec.ifm_chip_id);
  w.u32_at(464, rec.ipv4_caps);
  w.u32_at(468, rec.ipv6_caps);
  return w.ok();
}

bool of_chip_event_decode(std::span<const uint8_t> in, of_chip_event_record* rec) {
  *rec = {};
  if (in.size() < OF_CHIP_EVENT_RECORD_SIZE) return false;
  ofa::wire::Reader r(in.first(OF_CHIP_EVENT_RECORD_SIZE));
  rec->event = r.u32_at(0);
  rec->slot = r.u32_at(4);
  rec->local_chip_id = r.u32_at(8);
  rec->flat_chip_id = r.u32_at(12);
  rec->ifindex = r.u32_at(16);
  rec->chip_type = r.u32_at(20);
  rec->ifm_chip_id = r.u32_at(28);
  rec->ipv4_caps = r.u32_at(464);
  rec->ipv6_caps = r.u32_at(468);
  return r.ok();
}

std::vector<of_bulk_chip> of_bulk_chip_decode(std::span<const uint8_t> in, bool* truncated) {
  std::vector<of_bulk_chip> chips;
  ofa::wire::Reader r(in);
  uint32_t count = r.u32_at(4);
  size_t present = in.size() > OF_BULK_CHIP_FIRST
                       ? (in.size() - OF_BULK_CHIP_FIRST) / OF_BULK_CHIP_RECORD_SIZE
                       : 0;
  size_t n = std::min<size_t>(count, present);
  if (truncated) *truncated = !r.ok() || n < count;
  for (size_t i = 0; i < n; ++i) {
    size_t base = OF_BULK_CHIP_FIRST + i * OF_BULK_CHIP_RECORD_SIZE;
    of_bulk_chip c;
    c.slot = r.u8_at(base);
    c.local_chip_id = r.u8_at(base + 1);
    c.flat_chip_id = r.u8_at(base + 2);
    c.ifindex = r.u32_at(base + 4);
    chips.push_back(c);
  }
  return chips;
}

size_t of_bulk_chip_encode(std::span<const of_bulk_chip> chips, std::span<uint8_t> out) {
  size_t need = OF_BULK_CHIP_FIRST + chips.size() * OF_BULK_CHIP_RECORD_SIZE;
  if (out.size() < need) return 0;
  std::fill(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(need), uint8_t{0});
  ofa::wire::Writer w(out);
  w.u32_at(4, static_cast<uint32_t>(chips.size()));
  for (size_t i = 0; i < chips.size(); ++i) {
    size_t base = OF_BULK_CHIP_FIRST + i * OF_BULK_CHIP_RECORD_SIZE;
    w.u8_at(base, chips[i].slot);
    w.u8_at(base + 1, chips[i].local_chip_id);
    w.u8_at(base + 2, chips[i].flat_chip_id);
    w.u32_at(base + 4, chips[i].ifindex);
  }
  return w.ok() ? need : 0;
}
