#!/usr/bin/env bash
# Builds the libFuzzer targets (the `fuzz` preset: Clang, ASan + UBSan) and runs each one from its
# seed corpus in tests/fuzz/corpus/<target>/.
#
#   scripts/fuzz.sh                 a fixed-seed run of 20000 inputs per target (what CI runs)
#   scripts/fuzz.sh --runs N        N inputs per target, fixed seed
#   scripts/fuzz.sh --time S [T..]  S seconds per target (or only the targets named), new inputs
#                                   kept in build-fuzz/corpus/<target>/
#
# A crash leaves its input in build-fuzz/crashes/ and fails the run.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/deps.sh

mode=runs
amount=20000
if [ $# -ge 2 ] && [ "$1" = "--runs" ]; then amount=$2; shift 2;
elif [ $# -ge 2 ] && [ "$1" = "--time" ]; then mode=time; amount=$2; shift 2; fi

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j "$(nproc)"

targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  mapfile -t targets < <(find build-fuzz/tests/fuzz -maxdepth 1 -type f -executable -name '*_fuzz' \
                           -printf '%f\n' | sort)
fi

mkdir -p build-fuzz/crashes
fail=0
printf '%-22s %10s  %s\n' target inputs result
for t in "${targets[@]}"; do
  seeds=tests/fuzz/corpus/$t
  work=build-fuzz/corpus/$t
  mkdir -p "$seeds" "$work"
  if [ "$mode" = runs ]; then
    # Fixed seed from the seeds alone: the same inputs on every machine. New inputs go to an
    # emptied scratch folder (libFuzzer writes into the first folder it is given).
    rm -rf "$work.runs" && mkdir -p "$work.runs"
    args=(-seed=1 -runs="$amount" "$work.runs" "$seeds")
  else
    args=(-max_total_time="$amount" "$work" "$seeds")
  fi
  log=build-fuzz/$t.log
  if "build-fuzz/tests/fuzz/$t" "${args[@]}" -artifact_prefix=build-fuzz/crashes/"$t"- \
       -print_final_stats=1 >"$log" 2>&1; then
    runs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$log" | grep -o '[0-9]*$' || echo '?')
    printf '%-22s %10s  %s\n' "$t" "$runs" ok
  else
    printf '%-22s %10s  %s\n' "$t" - "FAILED (see $log)"
    tail -n 30 "$log"
    fail=1
  fi
done
exit "$fail"
