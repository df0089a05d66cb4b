#!/usr/bin/env bash
# End-to-end EVT benchmark: ofa-chipsim, openflowAgtd and bench/evt's evt_bench over the sockets,
# on the platform tests/fixtures/platforms/one_chip_4000.conf (one `ard` chip, 48 ports, IIVIDs
# 4000-4999). evt_bench enables the 48 ports, adds 1000 VLANs, then adds one V-type deviation per
# (port, VLAN) and deletes them again, and prints each phase's rate. The run is made twice: with
# the agent's debug log off (the figure the goal is about), then on.
#
#   scripts/bench-evt.sh [--ports N] [--vlans N] [--pack N]   (N EVT messages a datagram)
#
# OFA_BUILD_DIR is the build tree (default build; the programs are built there first).
set -euo pipefail
cd "$(dirname "$0")/.."

build=${OFA_BUILD_DIR:-build}
[ -f "$build/build.ninja" ] || [ -f "$build/Makefile" ] || cmake --preset default >/dev/null
cmake --build "$build" -j "$(nproc)" --target openflowAgtd ofa-chipsim ofa-mgr evt_bench >/dev/null
bin_agent=$build/bin/openflowAgtd
bin_sim=$build/tools/chipsim/ofa-chipsim
bin_mgr=$build/tools/mgr/ofa-mgr
bin_bench=$build/bench/evt/evt_bench

pids=()
stop() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  wait 2>/dev/null || true
  pids=()
}
trap stop EXIT
. scripts/lib.sh  # wait_for
requests() { "$bin_sim" ctl stats | sed -E 's/.*"requests":([0-9]+).*/\1/'; }
settled() {
  local before
  before=$(requests)
  sleep 0.5
  [ "$before" -gt 0 ] && [ "$(requests)" -eq "$before" ]
}

one_run() { # one_run LOG [evt_bench options]: LOG is off or a file
  local run log=$1
  shift
  run=$(mktemp -d /tmp/ofa-bench-evt.XXXXXX)
  export OFA_RUN_DIR="$run" OFA_PLATFORM="$PWD/tests/fixtures/platforms/one_chip_4000.conf"
  export OFA_DEBUG_LOG="$log"
  unset OFA_SLOT OFA_BOOT
  "$bin_sim" --no-auto-events 2>"$run/chipsim.err" &
  pids+=($!)
  wait_for 10 test -S "$run/hsl/ctl.1"
  "$bin_mgr" listen --count 1 --timeout 30 >"$run/registration.txt" 2>&1 &
  local listener=$!
  wait_for 10 test -S "$run/pq6/ofmgragt.mp"
  "$bin_agent" >"$run/agent.out" 2>&1 &
  pids+=($!)
  wait "$listener"
  "$bin_sim" ctl event slot-up >/dev/null
  "$bin_sim" ctl event chip-up >/dev/null
  wait_for 30 settled
  "$bin_bench" "$@"
  "$bin_sim" ctl stats | sed -E 's/.*"messages":([0-9]+),"requests":([0-9]+),"errors":([0-9]+).*/chip: \1 messages, \2 requests, \3 errors (the set-up too)/'
  stop
  rm -rf "$run"
}

echo "== debug log off"
one_run off "$@"
echo "== debug log on"
log=$(mktemp /tmp/ofa-bench-evt-log.XXXXXX)
one_run "$log" "$@"
rm -f "$log"
