// What a request handler works with: the request bytes in place, the chip, the decoded fields for
// the request log, and whether to apply the request (a fault decodes it without applying it).
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "common/json.h"
#include "common/text.h"
#include "model/model.h"
#include "model/status.h"
#include "platform/wire.h"

namespace ofa::chipsim {

struct Exchange {
  Model& model;
  ChipState& chip;
  const FamilyRules& rules;
  std::span<uint8_t> buf;  // from the command word; the room the reply may use
  size_t received;         // bytes of buf that came in
  uint32_t command;
  uint32_t req_len;  // checked: <= received and <= buf.size()
  uint32_t reply_len;
  tools::JsonWriter* fields;  // open object for the decoded fields; null when nobody logs
  bool commit;                // apply the request to the chip
  int depth;                  // 1 inside a bulk container
  std::string error;
  size_t reply_end = 0;  // end of the reply data written, from the command word

  // The request as declared.
  wire::Reader in() const { return wire::Reader(buf.first(req_len)); }
  // Everything that came in, also past the declared length.
  wire::Reader all_in() const { return wire::Reader(buf.first(received)); }
  // The room for the reply: the whole buffer from the command word on. A handler that writes
  // reply data past the request notes its end in reply_end.
  wire::Writer out() const { return wire::Writer(buf); }

  int32_t fail(int32_t st, std::string why) {
    error = std::move(why);
    return st;
  }
  // Refuses a request whose length is not `want`.
  bool length_is(uint32_t want) {
    if (req_len == want) return true;
    error = "request length " + std::to_string(req_len) + ", want " + std::to_string(want);
    return false;
  }
  template <typename T>
  void f(std::string_view k, const T& v) {
    if (fields) fields->field(k, v);
  }
  void mac(std::string_view k, const Mac& m) {
    if (fields) fields->field(k, tools::mac_text(m));
  }
};

using Handler = int32_t (*)(Exchange&);

// Runs one request (header checks, fault, handler) and writes its status word. With `out` set,
// writes the request's log object (command, lengths, fields, status, error) into it.
// `reply_end`, when given, receives the end of the reply data written.
int32_t run_request(Model& m, ChipState& chip, std::span<uint8_t> buf, size_t received,
                    tools::JsonWriter* out, bool commit, int depth, size_t* reply_end = nullptr);

// Handlers by family of objects.
int32_t handle_bulk(Exchange& x);
int32_t handle_capability(Exchange& x);
int32_t handle_region_add(Exchange& x);
int32_t handle_region_delete_all(Exchange& x);
int32_t handle_flow_add(Exchange& x);
int32_t handle_flow_upd(Exchange& x);
int32_t handle_flow_del(Exchange& x);
int32_t handle_port_qos_init(Exchange& x);
int32_t handle_port_cfg(Exchange& x);
int32_t handle_port_vlan_cfg(Exchange& x);
int32_t handle_evt(Exchange& x);
int32_t handle_partition_id(Exchange& x);
int32_t handle_vid_to_mgid(Exchange& x);
int32_t handle_port_l2_ctrl(Exchange& x);
int32_t handle_port_vpn(Exchange& x);
int32_t handle_ivt(Exchange& x);
int32_t handle_l2exm_add(Exchange& x);
int32_t handle_l2exm_delete(Exchange& x);
int32_t handle_mgid_set(Exchange& x);
int32_t handle_mgid_delete(Exchange& x);
int32_t handle_nhop_add(Exchange& x);
int32_t handle_nhop_delete(Exchange& x);
int32_t handle_policer_add(Exchange& x);
int32_t handle_policer_delete(Exchange& x);
int32_t handle_stats(Exchange& x);

// Readers of the shared record shapes.
Mac read_mac(wire::Reader& r, size_t off);
bool iivid_ok(const Exchange& x, uint32_t iivid);
// A VLAN id a translation or partition request may carry: 0 to 4095, or the all-VLANs id.
bool vlan_ok(uint32_t vlan);
// Count an applied IIVID or mgid outside the platform's ranges; a platform without ranges counts
// none. The agent picks them, so the chip takes them all.
void note_iivid(Exchange& x, uint32_t iivid);
void note_mgid(Exchange& x, uint32_t mgid);

}  // namespace ofa::chipsim
