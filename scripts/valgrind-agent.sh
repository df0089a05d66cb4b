#!/usr/bin/env bash
# Runs openflowAgtd under valgrind through a whole life on the default switch: start-up, the
# stages, registration with the manager, chip up with its regions and default entries, a few
# manager messages, a debug client request, and a stop by SIGTERM. Fails when valgrind reports an
# error or a leak.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}

run=$(mktemp -d /tmp/ofa-vg.XXXXXX)
export OFA_RUN_DIR="$run" OFA_DEBUG_LOG="$run/ofastdout"
unset OFA_PLATFORM OFA_SLOT OFA_BOOT
pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  wait 2>/dev/null || true
  rm -rf "$run"
}
trap cleanup EXIT

. scripts/lib.sh  # wait_for

"$build/tools/chipsim/ofa-chipsim" --no-auto-events 2>/dev/null &
pids+=($!)
wait_for 10 test -S "$run/hsl/ctl.1"
"$build/tools/mgr/ofa-mgr" listen --count 1 --timeout 60 >/dev/null 2>&1 &
listener=$!
wait_for 10 test -S "$run/pq6/ofmgragt.mp"

valgrind -q --error-exitcode=99 --leak-check=full --errors-for-leak-kinds=definite,indirect \
  --log-file="$run/valgrind.txt" "$build/bin/openflowAgtd" >/dev/null 2>&1 &
agent=$!
wait "$listener"
"$build/tools/chipsim/ofa-chipsim" ctl event slot-up >/dev/null
"$build/tools/chipsim/ofa-chipsim" ctl event chip-up >/dev/null
entries() { grep -q "Programmed default l2psel entry" "$OFA_DEBUG_LOG"; }
wait_for 60 entries
"$build/tools/mgr/ofa-mgr" run examples/scenarios/demo.scn >/dev/null
"$build/tools/ofactl/ofactl" sched >/dev/null
kill -TERM "$agent"
rc=0
wait "$agent" || rc=$?
if [ "$rc" -ne 0 ] || [ -s "$run/valgrind.txt" ]; then
  echo "valgrind-agent: openflowAgtd exited $rc"
  cat "$run/valgrind.txt"
  exit 1
fi
echo "valgrind-agent: openflowAgtd start, registration, chip up, messages, debug request and stop: clean"
