// Request dispatch (envelope, header checks, faults, handlers), faults, traffic and reset.
#include "model/model.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <thread>

#include "model/commands.h"
#include "model/exchange.h"
#include "platform/ifindex.h"

namespace ofa::chipsim {

namespace {

constexpr uint32_t kMaxLength = 0x100000;
constexpr uint32_t kHeaderSize = 28;
constexpr uint32_t kRoutingClass = 16;

// Which families know a command.
constexpr uint8_t kAll = 0x7, kArdOnly = 0x2, kArd2Only = 0x4, kArdAndArd2 = 0x6;

uint8_t family_bit(Family f) {
  switch (f) {
    case Family::zim:
      return 0x1;
    case Family::ard:
      return 0x2;
    case Family::ard2:
      return 0x4;
    case Family::none:
      break;
  }
  return 0;
}

struct Route {
  uint32_t code;
  Handler handler;
  uint8_t families;
};

constexpr std::array<Route, 32> kRoutes{{
    {cmd::kBulk, handle_bulk, kAll},
    {cmd::kCapability, handle_capability, kAll},
    {cmd::kPortQosInit, handle_port_qos_init, kAll},
    // zim has no exact-match forwarding entries.
    {cmd::kL2ExmAdd, handle_l2exm_add, kArdAndArd2},
    {cmd::kL2ExmDel, handle_l2exm_delete, kArdAndArd2},
    {cmd::kNhopAdd, handle_nhop_add, kAll},
    {cmd::kNhopDel, handle_nhop_delete, kAll},
    {cmd::kPortCfg, handle_port_cfg, kAll},
    {cmd::kPortVlanCfg, handle_port_vlan_cfg, kAll},
    {cmd::kEvtAdd, handle_evt, kArd2Only},
    {cmd::kEvtRemove, handle_evt, kArd2Only},
    {cmd::kPartitionId, handle_partition_id, kArdOnly},
    {cmd::kVidToMgid, handle_vid_to_mgid, kAll},
    {cmd::kPortL2Ctrl, handle_port_l2_ctrl, kAll},
    {cmd::kPortVpn, handle_port_vpn, kArdOnly},  // only ard's port enable names a VPN
    {cmd::kIvtAdd, handle_ivt, kArd2Only},
    {cmd::kIvtRemove, handle_ivt, kArd2Only},
    {cmd::kMgidAdd, handle_mgid_set, kAll},
    {cmd::kMgidUpdate, handle_mgid_set, kAll},
    {cmd::kMgidDelete, handle_mgid_delete, kAll},
    {cmd::kStatsRead, handle_stats, kAll},
    {cmd::kStatsClear, handle_stats, kAll},
    {cmd::kL2FlowAdd, handle_flow_add, kAll},
    {cmd::kL2FlowUpd, handle_flow_upd, kAll},
    {cmd::kL2FlowDel, handle_flow_del, kAll},
    {cmd::kL3FlowAdd, handle_flow_add, kAll},
    {cmd::kL3FlowUpd, handle_flow_upd, kAll},
    {cmd::kL3FlowDel, handle_flow_del, kAll},
    {cmd::kRegionAdd, handle_region_add, kAll},
    {cmd::kRegionDeleteAll, handle_region_delete_all, kAll},
    {cmd::kPolicerAdd, handle_policer_add, kAll},
    {cmd::kPolicerDelete, handle_policer_delete, kAll},
}};

const Route* route_of(uint32_t code) {
  for (const auto& r : kRoutes)
    if (r.code == code) return &r;
  return nullptr;
}

bool is_mgid_command(uint32_t c) {
  return c == cmd::kMgidAdd || c == cmd::kMgidUpdate || c == cmd::kMgidDelete;
}

std::string hex(uint32_t v) {
  char b[16];
  std::snprintf(b, sizeof b, "0x%08x", v);
  return b;
}

struct Problem {
  int32_t status = status::kOk;
  std::string why;
};

// Checks of the common header and of the command's place; status 0 means good.
Problem header_problem(const Model& m, const ChipState& chip, uint32_t command, uint32_t len,
                       uint32_t rlen, size_t received, size_t room, int depth) {
  auto bad = [](std::string why) { return Problem{status::kInvalid, std::move(why)}; };
  if (len % 4 || rlen % 4) return bad("lengths not multiples of 4");
  if (len > kMaxLength || rlen > kMaxLength) return bad("length above 0x100000");
  if (len < kHeaderSize) return bad("request length " + std::to_string(len) + " below 28");
  if (len > received)
    return bad("request length " + std::to_string(len) + " but " + std::to_string(received) +
               " bytes came");
  if (len > room) return bad("request length past the buffer");
  const Route* route = route_of(command);
  if (!route) return {status::kUnknownCommand, "unknown command"};
  if (!(route->families & family_bit(m.family())))
    return {status::kUnknownCommand, "command not of this family"};
  if (chip.mcast_only && !is_mgid_command(command))
    return {status::kNoDevice, "this target takes mgid requests only"};
  if (depth > 0 && (command == cmd::kBulk || command == cmd::kCapability))
    return bad("not allowed inside a bulk");
  return {};
}

}  // namespace

int32_t run_request(Model& m, ChipState& chip, std::span<uint8_t> buf, size_t received,
                    tools::JsonWriter* out, bool commit, int depth, size_t* reply_end) {
  Stats& st = m.mutable_stats();
  ++st.requests;
  received = std::min(received, buf.size());
  wire::Reader head(buf.first(received));
  uint32_t command = head.u32_at(0), len = head.u32_at(8), rlen = head.u32_at(12);
  wire::Writer status_word(buf);
  bool counted = false;
  auto finish = [&](int32_t s, const std::string& why, bool fault) {
    if (s != status::kOk) {
      ++st.errors;
      if (counted) ++st.by_command[command].errors;
      m.error_line("chip " + hex(chip.ifindex) + ": " + std::string(command_name(command)) + " (" +
                   hex(command) + "): " + (fault ? "fault injected" : why) + ", status " +
                   std::to_string(s));
    }
    status_word.u32_at(24, static_cast<uint32_t>(s));
    if (out) {
      out->field("status", s);
      if (!why.empty()) out->field("error", why);
      if (fault) out->key("fault").boolean(true);
    }
    return s;
  };
  if (out) {
    out->field("command", command_name(command)).field("code", hex(command));
    out->field("len", len).field("reply_len", rlen);
  }
  if (!head.ok()) {
    ++st.malformed;
    return finish(status::kInvalid, "request shorter than its 28-byte header", false);
  }
  if (command_by_code(command)) {
    ++st.by_command[command].requests;
    counted = true;
  }
  Problem problem = header_problem(m, chip, command, len, rlen, received, buf.size(), depth);
  if (problem.status != status::kOk) {
    if (problem.status != status::kNoDevice) ++st.malformed;
    return finish(problem.status, problem.why, false);
  }
  std::optional<int32_t> fault;
  uint32_t cls = command == cmd::kStatsRead || command == cmd::kStatsClear ? head.u32_at(28) : 0;
  if (commit) fault = m.take_fault(command, chip.ifindex, cls);
  if (commit && !fault) {
    if (uint32_t ms = m.take_delay(command, chip.ifindex, cls))
      std::this_thread::sleep_for(std::chrono::milliseconds(ms));
  }
  Exchange x{.model = m,
             .chip = chip,
             .rules = m.rules(),
             .buf = buf,
             .received = received,
             .command = command,
             .req_len = len,
             .reply_len = rlen,
             .fields = out,
             .commit = commit && !fault,
             .depth = depth,
             .error = {},
             .reply_end = 0};
  if (out) out->key("fields").begin_object();
  int32_t s = route_of(command)->handler(x);
  if (out) out->end_object();
  if (reply_end) *reply_end = x.reply_end;
  if (fault) return finish(*fault, x.error, true);
  if (s != status::kOk && x.error.empty()) x.error = "refused";
  if (s == status::kInvalid) ++st.malformed;
  return finish(s, s == status::kOk ? std::string() : x.error, false);
}

Model::Model(ModelConfig cfg) : cfg_(std::move(cfg)) {
  build_chips();
}

void Model::build_chips() {
  chips_.clear();
  for (const auto& c : cfg_.chips) {
    ChipState s;
    s.ifindex = platform::chip_ifindex(c.slot, c.local_id);
    s.slot = c.slot;
    s.local_id = c.local_id;
    s.type = c.type;
    chips_.emplace(s.ifindex, std::move(s));
  }
  if (uint32_t t = rules().fixed_mcast_target; t != 0) {
    ChipState s;
    s.ifindex = t;
    s.mcast_only = true;
    chips_.emplace(t, std::move(s));
  }
}

ChipState* Model::chip(uint32_t ifindex) {
  auto it = chips_.find(ifindex);
  return it == chips_.end() ? nullptr : &it->second;
}

std::vector<Fault>::iterator Model::fire(uint32_t command, uint32_t chip_if, uint32_t cls,
                                         bool slow) {
  for (auto it = faults_.begin(); it != faults_.end(); ++it) {
    if (it->command != command || (it->chip != 0 && it->chip != chip_if) ||
        (it->cls != 0 && it->cls != cls) || (it->delay_ms != 0) != slow)
      continue;
    ++it->seen;
    bool fire = false;
    switch (it->mode) {
      case FaultMode::once:
        fire = it->fired == 0;
        break;
      case FaultMode::times:
        fire = it->fired < it->n;
        break;
      case FaultMode::from:
        fire = it->seen >= it->n;
        break;
    }
    if (!fire) continue;
    ++it->fired;
    ++stats_.faults_fired;
    return it;
  }
  return faults_.end();
}

namespace {
bool spent(const Fault& f) {
  return f.mode == FaultMode::once || (f.mode == FaultMode::times && f.fired >= f.n);
}
}  // namespace

std::optional<int32_t> Model::take_fault(uint32_t command, uint32_t chip_if, uint32_t cls) {
  auto it = fire(command, chip_if, cls, false);
  if (it == faults_.end()) return std::nullopt;
  int32_t s = it->status;
  if (spent(*it)) faults_.erase(it);
  return s;
}

uint32_t Model::take_delay(uint32_t command, uint32_t chip_if, uint32_t cls) {
  auto it = fire(command, chip_if, cls, true);
  if (it == faults_.end()) return 0;
  uint32_t ms = it->delay_ms;
  if (spent(*it)) faults_.erase(it);
  return ms;
}

void Model::clear_faults(std::optional<uint32_t> command) {
  std::erase_if(faults_, [&](const Fault& f) { return !command || f.command == *command; });
}

size_t Model::ioctl(std::span<uint8_t> msg, size_t received) {
  ++stats_.messages;
  received = std::min(received, msg.size());
  constexpr size_t kStatusAt = kRequestOffset + 24;
  size_t answer = std::min(msg.size(), std::max(received, kStatusAt + 4));
  tools::JsonWriter line;
  tools::JsonWriter* out = log_ ? &line : nullptr;
  if (out) out->begin_object().field("seq", ++seq_);
  auto refuse = [&](int32_t s, const std::string& why) {
    ++stats_.errors;
    ++stats_.malformed;
    error_line("message refused: " + why + ", status " + std::to_string(s));
    wire::Writer(msg).u32_at(kStatusAt, static_cast<uint32_t>(s));
    if (out) {
      out->field("status", s).field("error", why).end_object();
      log_(line.str());
    }
    return answer;
  };
  wire::Reader r(msg.first(received));
  uint32_t length = r.u32_at(0), type = r.u16_at(4), target = r.u32_at(20), kind = r.u32_at(24),
           cls = r.u32_at(28), total = r.u32_at(40);
  if (!r.ok() || received < kRequestOffset) return refuse(status::kProtocol, "message too short");
  if (out) out->field("chip", target);
  if (length != received)
    return refuse(status::kProtocol, "length field " + std::to_string(length) + ", message " +
                                         std::to_string(received));
  if (type != kCommandType) return refuse(status::kProtocol, "type " + std::to_string(type));
  if (kind != 0) return refuse(status::kUnknownCommand, "routing kind " + std::to_string(kind));
  if (cls != kRoutingClass)
    return refuse(status::kProtocol, "routing class " + std::to_string(cls));
  if (total + kEnvelopeSize != length)
    return refuse(status::kProtocol, "routing total " + std::to_string(total));
  ChipState* c = chip(target);
  if (!c) {
    if (received < kStatusAt + 4) return refuse(status::kNoDevice, "no chip");
    return refuse(status::kNoDevice, "no chip with interface index " + hex(target));
  }
  size_t reply_end = 0;
  run_request(*this, *c, msg.subspan(kRequestOffset), received - kRequestOffset, out, true, 0,
              &reply_end);
  if (out) {
    out->end_object();
    log_(line.str());
  }
  return std::min(msg.size(), std::max(answer, kRequestOffset + reply_end));
}

size_t Model::traffic_entry(std::optional<uint32_t> chip_if, uint8_t ldev, uint8_t region,
                            uint32_t handle, uint64_t packets, uint64_t bytes) {
  size_t n = 0;
  for (auto& [ifx, c] : chips_) {
    if (chip_if && *chip_if != ifx) continue;
    auto reg = c.regions.find({ldev, region});
    if (reg == c.regions.end()) continue;
    TcamEntry* e = reg->second.entries.find(handle);
    if (!e) continue;
    e->packets += packets;
    e->bytes += bytes;
    ++n;
  }
  return n;
}

size_t Model::traffic_all(uint64_t packets, uint64_t bytes) {
  size_t n = 0;
  for (auto& [ifx, c] : chips_) {
    for (auto& [key, reg] : c.regions) {
      for (auto& e : reg.entries) {
        // An entry whose result says "don't count statistics" stays still.
        bool nocount = key.first == kLdevL2 ? (e.l2res.qos & (1u << 15)) != 0
                                            : (e.l3res.flags_a & (1u << 10)) != 0;
        if (nocount) continue;
        e.packets += packets;
        e.bytes += bytes;
        ++n;
      }
    }
    for (auto& [key, p] : c.policers) {
      p.first += packets;
      p.second += bytes;
      ++n;
    }
    for (auto& [ifx2, port] : c.ports) {
      for (auto& q : port.queues) {
        q.packets += packets;
        q.bytes += bytes;
      }
      ++n;
    }
  }
  return n;
}

size_t Model::traffic_policer(std::optional<uint32_t> chip_if, uint32_t id, uint32_t instance,
                              uint64_t first, uint64_t second) {
  size_t n = 0;
  for (auto& [ifx, c] : chips_) {
    if (chip_if && *chip_if != ifx) continue;
    auto it = c.policers.find({id, instance});
    if (it == c.policers.end()) continue;
    it->second.first += first;
    it->second.second += second;
    ++n;
  }
  return n;
}

size_t Model::traffic_queue(std::optional<uint32_t> chip_if, uint32_t ifindex, uint32_t queue,
                            uint64_t packets, uint64_t bytes) {
  if (queue >= 8) return 0;
  size_t n = 0;
  for (auto& [ifx, c] : chips_) {
    if (chip_if && *chip_if != ifx) continue;
    if (c.mcast_only) continue;
    // Queues exist for every port the chip was told about; a port never named gets one when
    // traffic is aimed at it on a given chip.
    auto it = c.ports.find(ifindex);
    if (it == c.ports.end()) {
      if (!chip_if) continue;
      it = c.ports.emplace(ifindex, PortState{}).first;
    }
    it->second.queues[queue].packets += packets;
    it->second.queues[queue].bytes += bytes;
    ++n;
  }
  return n;
}

void Model::reset() {
  build_chips();
  stats_ = Stats{};
  faults_.clear();
  seq_ = 0;
}

std::vector<const ChipState::L2Entry*> ChipState::l2_sorted() const {
  std::vector<const L2Entry*> rows;
  rows.reserve(l2_entries.size());
  for (const auto& e : l2_entries)
    rows.push_back(&e);
  std::sort(rows.begin(), rows.end(),
            [](const L2Entry* a, const L2Entry* b) { return IividMacLess{}(a->first, b->first); });
  return rows;
}

void ChipState::clear() {
  regions.clear();
  nhops.clear();
  mgids.clear();
  policers.clear();
  ports.clear();
  translations.clear();
  evt.clear();
  eft.clear();
  partition.clear();
  ivt.clear();
  vid_to_mgid.clear();
  l2_entries.clear();
}

}  // namespace ofa::chipsim
