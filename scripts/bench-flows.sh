#!/usr/bin/env bash
# End-to-end flow benchmark: openflowAgtd (debug log off) with its chip, driven by `ofa-mgr bench`,
# on the platform bench/platforms/two_slots_50023.conf (this LP in slot 1 with two chips, slot 2
# with one; flow regions of 49999). For each size given, ofa-mgr installs that many flows on port
# 3 and deletes them again, and prints its figures with a bare socket round trip measured in the
# same run. Flows past the 49999th go to port 49, a port of slot 2: database only on this LP.
# A run of groups=N or meters=N adds that many groups or meters, then deletes them (with ofa-mgr's
# settings for them: "groups=1000 type=select buckets=8", "meters=1000 bands=2"). A run of
# vlans=N enables ports 1 to 48, adds N VLANs, makes every port a member of every VLAN and
# disables openflow: "vlans=4094" is the 196,512 memberships load. Give it alone, on a fresh agent;
# it runs on the embedded default switch (one chip), not on the platform above.
#
#   scripts/bench-flows.sh [--order ascending|descending|random] [--window N]
#                          [--keys shared|distinct] [--json]
#                          SIZE|"groups=N ..."|"meters=N ..."|"vlans=N ..."...
#   scripts/bench-flows.sh 1000 10000 49999 200000 "groups=1000 buckets=4" "meters=1000"
#
# OFA_BENCH_CHIP chooses the chip: `chipsim` (default), ofa-chipsim over its socket; `in-process`,
# the agent built with the chip model behind its ioctl hook (bin/openflowAgtd-model), whose chips
# come up with their first port.
# OFA_BENCH_PIN=1 runs every program on CPU 0 (taskset), so that no add pays a wake-up across
# cores: compare its figures with the pinned round trip, the others with the unpinned one.
# OFA_BENCH_LOG=1 runs the agent with its debug log on (in the run directory) instead of off.
# OFA_BUILD_DIR is the build tree (default build; the programs are built there first).
set -euo pipefail
cd "$(dirname "$0")/.."

usage() {
  sed -n '12,14p' "$0" >&2
  exit 2
}
order=ascending window=1 keys=shared json=() sizes=() others=()
while [ $# -gt 0 ]; do
  case "$1" in
    --order) order=${2:?}; shift 2 ;;
    --window) window=${2:?}; shift 2 ;;
    --keys) keys=${2:?}; shift 2 ;;
    --json) json=(--json); shift ;;
    -h | --help) usage ;;
    [0-9]*) sizes+=("$1"); shift ;;
    groups=* | meters=* | vlans=*) others+=("$1"); shift ;;
    *) echo "bench-flows: unknown argument '$1'" >&2; usage ;;
  esac
done
[ $((${#sizes[@]} + ${#others[@]})) -gt 0 ] || usage
chip=${OFA_BENCH_CHIP:-chipsim}
pin=()
[ "${OFA_BENCH_PIN:-0}" = 1 ] && pin=(taskset -c 0)
build=${OFA_BUILD_DIR:-build}
on_chip=49999  # the agent's handle supply; the platform's flow regions hold as many
remote_port=49 # front-panel port 1 of slot 2
remote_ifindex=$(((6 << 26) | (2 << 22) | (1 << 15)))

[ -f "$build/build.ninja" ] || [ -f "$build/Makefile" ] || cmake --preset default >/dev/null
cmake --build "$build" -j "$(nproc)" --target openflowAgtd openflowAgtd-model ofa-chipsim ofa-mgr \
  >/dev/null
bin_agent=$build/bin/openflowAgtd
bin_sim=$build/tools/chipsim/ofa-chipsim
bin_mgr=$build/tools/mgr/ofa-mgr

run=$(mktemp -d /tmp/ofa-bench.XXXXXX)
log=off
[ "${OFA_BENCH_LOG:-0}" = 1 ] && log="$run/ofastdout"
export OFA_RUN_DIR="$run" OFA_PLATFORM="$PWD/bench/platforms/two_slots_50023.conf" OFA_DEBUG_LOG="$log"
unset OFA_SLOT OFA_BOOT
# The memberships load runs on the embedded default switch: its 48 ports on one chip.
case " ${others[*]-} " in *" vlans="*) unset OFA_PLATFORM ;; esac
pids=()
stop() {
  local status=$?
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  wait 2>/dev/null || true
  [ "$status" -ne 0 ] || rm -rf "$run"  # a failed run keeps its logs
}
trap stop EXIT
. scripts/lib.sh  # wait_for
requests() { "$bin_sim" ctl stats | sed -E 's/.*"requests":([0-9]+).*/\1/'; }

case "$chip" in
  chipsim)
    "${pin[@]}" "$bin_sim" --no-auto-events 2>"$run/chipsim.err" &
    pids+=($!)
    wait_for 10 test -S "$run/hsl/ctl.1"
    ;;
  in-process)
    bin_agent=$build/bin/openflowAgtd-model
    ;;
  *) echo "bench-flows: OFA_BENCH_CHIP is chipsim or in-process" >&2; exit 2 ;;
esac

# The agent registers once, when it turns active: the manager listens before it starts.
"$bin_mgr" listen --count 1 --timeout 30 >"$run/registration.txt" 2>&1 &
listener=$!
wait_for 10 test -S "$run/pq6/ofmgragt.mp"
"${pin[@]}" "$bin_agent" >"$run/agent.out" 2>&1 &
pids+=($!)
wait "$listener"

# Slots and chips up; the regions and default entries are programmed once requests stop coming.
if [ "$chip" = chipsim ]; then
  "$bin_sim" ctl event slot-up >/dev/null
  "$bin_sim" ctl event chip-up >/dev/null
  settled() {
    local before
    before=$(requests)
    sleep 0.5
    [ "$before" -gt 0 ] && [ "$(requests)" -eq "$before" ]
  }
  wait_for 30 settled
fi

cat >"$run/setup.scn" <<EOF
openflow enable
port enable 3 pvid=1 nhop=11
port enable 5 pvid=1 nhop=12
port enable $remote_port pvid=1 ifindex=$remote_ifindex
default-action controller
barrier
EOF
setup=(--setup "$run/setup.scn")

rc=0
for n in "${sizes[@]}"; do
  remote=()
  [ "$n" -le "$on_chip" ] || remote=(--remote-port "$remote_port" --on-chip "$on_chip")
  [ ${#json[@]} -gt 0 ] || printf '\n== %s flows, order %s, window %s, keys %s (chip: %s)\n' \
    "$n" "$order" "$window" "$keys" "$chip"
  "${pin[@]}" "$bin_mgr" bench "${setup[@]}" "${json[@]}" --timeout 10 flows="$n" order="$order" \
    window="$window" --keys "$keys" "${remote[@]}" delete 2>>"$run/bench.err" || rc=$?
  setup=()
done
for run_words in "${others[@]}"; do
  read -ra words <<<"$run_words"
  [ ${#json[@]} -gt 0 ] || printf '\n== %s (chip: %s)\n' "$run_words" "$chip"
  "${pin[@]}" "$bin_mgr" bench "${setup[@]}" "${json[@]}" --timeout 10 "${words[@]}" \
    2>>"$run/bench.err" || rc=$?
  setup=()
done
[ "$rc" -eq 0 ] || echo "bench-flows: some operations failed or went missing (exit $rc); logs in $run" >&2
exit "$rc"
