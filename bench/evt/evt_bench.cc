// EVT deviations over the sockets, against a running openflowAgtd and its chip: PORTS OpenFlow
// ports and VLANS VLANs (VLAN v with IIVID FIRST_IIVID + v - 1), then one V-type deviation per
// (port, VLAN) added (VLAN v out tagged as VLAN v + 1: one chip request each) and deleted again
// (one request each). EVT operations draw no status: each phase goes out back to back and ends
// with the status of a barrier. Prints each phase's operations, time and rate.
//
//   evt_bench [--ports N] [--vlans N] [--first-iivid N] [--slot N] [--pack N]
//
// --pack N sends N EVT messages in one datagram (default 1: one message each).
//
// The run directory is $OFA_RUN_DIR; the manager's end point must be free (the agent has
// registered already).
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <variant>
#include <vector>

#include "codec.h"
#include "endpoint.h"
#include "messages.h"
#include "platform/ifindex.h"
#include "runner.h"
#include "scenario.h"

namespace {

namespace mgr = ofa::mgr;
using Clock = std::chrono::steady_clock;

struct Plan {
  uint32_t ports = 48, vlans = 1000, first_iivid = 4000, slot = 1, pack = 1;
};

class Link {
 public:
  Link(mgr::MpEndpoint& ep, std::string agent) : ep_(ep), agent_(std::move(agent)) {}
  // Sends one message; a full queue is waited out. False when it could not go.
  bool send(const mgr::Message& m) {
    auto bytes = mgr::encode(m);
    return bytes.ok() && send(bytes.value());
  }
  bool send(const mgr::Bytes& bytes) {
    auto deadline = Clock::now() + std::chrono::seconds(10);
    auto e = ep_.send(agent_, bytes);
    while (e && ep_.full() && Clock::now() < deadline) {
      ep_.receive(0.0005);
      e = ep_.send(agent_, bytes);
    }
    if (e) std::fprintf(stderr, "evt_bench: %s\n", e->c_str());
    return !e;
  }
  // A barrier, and its status: the agent has handled everything sent before.
  bool barrier() {
    mgr::FlowMsg b = mgr::barrier_flow(mgr::kBarrierXid + ++barriers_);
    if (!send(b)) return false;
    auto deadline = Clock::now() + std::chrono::seconds(30);
    while (Clock::now() < deadline) {
      auto dg = ep_.receive(1.0);
      if (!dg) continue;
      for (const auto& d : mgr::decode_datagram(*dg)) {
        const auto* m = std::get_if<mgr::Message>(&d);
        const auto* s = m ? std::get_if<mgr::StatusMsg>(m) : nullptr;
        if (s && s->flow_id == 0 && s->xid == b.xid) return true;
      }
    }
    std::fprintf(stderr, "evt_bench: no answer to the barrier\n");
    return false;
  }

 private:
  mgr::MpEndpoint& ep_;
  std::string agent_;
  uint32_t barriers_ = 0;
};

bool setup(Link& link, const Plan& plan) {
  for (uint32_t p = 1; p <= plan.ports; ++p) {
    mgr::ConfigMsg m;
    m.sub_cmd = 10;
    m.add = 1;
    m.ports.set(static_cast<uint16_t>(p));
    m.pvid = static_cast<uint16_t>(plan.first_iivid);
    m.if_name = "ethernet" + std::to_string(plan.slot) + "/" + std::to_string(p);
    m.if_index = ofa::platform::port_ifindex(plan.slot, p);
    m.def_nhop_id = 100 + p;
    if (!link.send(m)) return false;
  }
  for (uint32_t v = 1; v <= plan.vlans; ++v)
    if (!link.send(mgr::VlanMsg{28, plan.first_iivid + v - 1, v})) return false;
  return link.barrier();
}

// One phase: every (port, VLAN) deviation added or deleted, then a barrier.
bool phase(Link& link, const Plan& plan, bool add) {
  auto t0 = Clock::now();
  uint64_t ops = 0;
  mgr::Datagram d;
  for (uint32_t p = 1; p <= plan.ports; ++p)
    for (uint32_t v = 1; v <= plan.vlans; ++v, ++ops) {
      mgr::EvtMsg m;
      m.sub_type = add ? mgr::kSubAddEvt : mgr::kSubDelEvt;
      m.type = 1;
      m.in_vlan = v;
      m.iivid = plan.first_iivid + v - 1;
      m.tag_action = 1;
      m.out_vlan = v % plan.vlans + 1;
      m.out_port = p;
      d.add(m);
      if (d.messages() < plan.pack) continue;
      if (!link.send(d.bytes())) return false;
      d = {};
    }
  if ((!d.empty() && !link.send(d.bytes())) || !link.barrier()) return false;
  double s = std::chrono::duration<double>(Clock::now() - t0).count();
  std::printf("%-10s %8llu ops %9.1f ms %10.0f ops/s\n", add ? "evt add" : "evt delete",
              static_cast<unsigned long long>(ops), s * 1e3, ops / s);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  Plan plan;
  for (int i = 1; i + 1 < argc; i += 2) {
    uint32_t v = static_cast<uint32_t>(std::strtoul(argv[i + 1], nullptr, 0));
    if (!std::strcmp(argv[i], "--ports"))
      plan.ports = v;
    else if (!std::strcmp(argv[i], "--vlans"))
      plan.vlans = v;
    else if (!std::strcmp(argv[i], "--first-iivid"))
      plan.first_iivid = v;
    else if (!std::strcmp(argv[i], "--slot"))
      plan.slot = v;
    else if (!std::strcmp(argv[i], "--pack") && v >= 1 && v <= 100)
      plan.pack = v;
    else {
      std::fprintf(stderr,
                   "usage: evt_bench [--ports N] [--vlans N] [--first-iivid N] [--slot N] "
                   "[--pack 1-100]\n");
      return 2;
    }
  }
  auto ep = mgr::MpEndpoint::bind(mgr::mp_path());
  if (!ep.ok()) {
    std::fprintf(stderr, "evt_bench: %s\n", ep.error().c_str());
    return 1;
  }
  Link link(*ep.value(), mgr::agent_path(plan.slot));
  if (!setup(link, plan)) return 1;
  std::printf("%u ports x %u VLANs, one deviation each\n", plan.ports, plan.vlans);
  return phase(link, plan, true) && phase(link, plan, false) ? 0 : 1;
}
