#include "fake_hsl.h"

#include "chip/hsl_transport.h"
#include "platform/wire.h"

namespace ofa::test {

FakeHsl& fake_hsl() {
  static FakeHsl f;
  return f;
}

namespace {

int fake_ioctl(int, uint8_t* buf, uint32_t len, uint32_t cap) {
  FakeHsl& f = fake_hsl();
  if (len < OF_NL_REQ_OFFSET || len > cap || wire::Reader(buf, len).u32_at(0) != len) {
    f.envelope_ok = false;
    return -1;
  }
  std::span<uint8_t> whole(buf, cap);
  wire::Reader r(whole);
  Request q;
  q.target = r.u32_at(20);
  q.command = r.u32_at(48);
  auto req = whole.subspan(OF_NL_REQ_OFFSET);
  q.bytes.assign(req.begin(), req.begin() + (len - OF_NL_REQ_OFFSET));
  size_t index = f.requests.size();
  f.requests.push_back(std::move(q));
  if (f.reply) f.reply(index, req);
  bool refused = f.fail.count(index) || (f.fail_if && f.fail_if(index));
  wire::Writer(whole).u32_at(OF_NL_STATUS_OFFSET,
                             refused ? static_cast<uint32_t>(f.fail_status) : 0u);
  return 0;
}

}  // namespace

void install_fake_hsl() {
  fake_hsl() = FakeHsl{};
  ofNLSetIoctlHook(fake_ioctl);
}

}  // namespace ofa::test
