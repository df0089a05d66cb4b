#!/usr/bin/env bash
# Builds the four programs and runs the demo switch on the embedded default platform (one `ard`
# switch, model 131, one line processor in slot 1 with one chip):
#   1. ofa-chipsim serves the chip, ofa-mgr waits for the agent as the manager would;
#   2. openflowAgtd starts cold, walks its stages and registers with the manager;
#   3. the simulator reports its slot and chip up: the agent programs the chip's TCAM regions
#      and default entries, and the simulator shows what the chip holds;
#   4. ofa-mgr runs examples/scenarios/demo.scn against the agent;
#   5. the request log and the agent's debug log are shown;
#   6. ofactl asks the running agent how long each of its callbacks ran, and what it holds: its
#      chips, ports, VLANs and flows in the agent's own words.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/deps.sh

cmake --preset default >/dev/null
cmake --build --preset default -j "$(nproc)" --target openflowAgtd ofa-chipsim ofa-mgr ofactl

bin_agent=build/bin/openflowAgtd
bin_sim=build/tools/chipsim/ofa-chipsim
bin_mgr=build/tools/mgr/ofa-mgr
bin_ctl=build/tools/ofactl/ofactl

run=$(mktemp -d /tmp/ofa-demo.XXXXXX)
export OFA_RUN_DIR="$run" OFA_DEBUG_LOG="$run/ofastdout"
unset OFA_PLATFORM OFA_SLOT OFA_BOOT
pids=()
stop() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  wait 2>/dev/null || true
}
trap stop EXIT

step() { printf '\n\033[1m== %s\033[0m\n' "$*"; }
. scripts/lib.sh  # wait_for

step "ofa-chipsim: the chip of slot 1 (run directory $run)"
"$bin_sim" --no-auto-events --log "$run/requests.jsonl" 2>"$run/chipsim.err" &
pids+=($!)
wait_for 10 test -S "$run/hsl/ctl.1"
"$bin_sim" ctl stats >/dev/null

step "ofa-mgr listens as the manager; openflowAgtd starts cold"
"$bin_mgr" listen --count 1 --timeout 30 >"$run/registration.txt" &
listener=$!
wait_for 10 test -S "$run/pq6/ofmgragt.mp"
"$bin_agent" >"$run/agent.out" 2>&1 &
pids+=($!)
wait "$listener"
cat "$run/registration.txt"

step "slot and chip up: the agent programs regions and default entries"
"$bin_sim" ctl event slot-up >/dev/null
"$bin_sim" ctl event chip-up >/dev/null
has_defaults() { [ "$(wc -l <"$run/requests.jsonl")" -ge 10 ]; }
wait_for 10 has_defaults
"$bin_sim" ctl show

step "ofa-mgr runs examples/scenarios/demo.scn"
"$bin_mgr" run examples/scenarios/demo.scn

step "the requests the chip received (request log $run/requests.jsonl)"
sed -E 's/^\{"seq":([0-9]+),"chip":([0-9]+),"command":"([a-z0-9_]+)".*"status":(-?[0-9]+)\}$/\1 \2 \3 \4/' \
  "$run/requests.jsonl" | awk '{ printf "  %3s  chip 0x%08x  %-14s status %s\n", $1, $2, $3, $4 }'
"$bin_sim" ctl check

step "ofa-chipsim show: the flows in the chip, in the chip's order"
"$bin_sim" ctl show

step "ofa-chipsim show ports and vlans: the OpenFlow ports and the VLAN around them"
"$bin_sim" ctl show ports | sed -E 's/^\{"ok":true,"text":"//; s/"\}$//; s/\\n/\n/g'
"$bin_sim" ctl show vlans | sed -E 's/^\{"ok":true,"text":"//; s/"\}$//; s/\\n/\n/g'

step "the agent's debug log ($OFA_DEBUG_LOG), last lines"
tail -n 15 "$OFA_DEBUG_LOG"

step "ofactl sched: the agent's callbacks, their calls and run times"
"$bin_ctl" sched

step "ofactl chip all, port all, vlan all, flow_tree: what the agent holds, in its own words"
for request in "chip all" "port all" "vlan all" "flow_tree"; do
  printf '$ ofactl %s\n' "$request"
  # shellcheck disable=SC2086 # the request's words are meant to be split
  "$bin_ctl" $request
done

printf '\nLogs are kept in %s (requests.jsonl, ofastdout, chipsim.err, agent.out).\n' "$run"
