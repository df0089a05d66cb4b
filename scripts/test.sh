#!/usr/bin/env bash
# Checks the format of every tracked C++ file and the includes against the layers, then builds and
# runs every test: the normal build, the AddressSanitizer + UndefinedBehaviorSanitizer build, the
# Clang build (built, not run), the unit tests and the agent of the group and EVT scenarios under
# valgrind, and every fuzzer from its seeds (fixed seed).
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/deps.sh

jobs=$(nproc)
mkdir -p build
log=build/test-step.log

# Runs a step with its output in $log; on failure shows the end of it and stops.
quiet() {
  if ! "$@" >"$log" 2>&1; then
    tail -n 40 "$log"
    echo "failed: $* (all of its output: $log)"
    exit 1
  fi
}

echo "== format (clang-format --dry-run -Werror)"
if ! git ls-files -z '*.cc' '*.h' | xargs -0 clang-format --dry-run -Werror >"$log" 2>&1; then
  echo "not clang-format clean ($(grep -c 'error:' "$log") places; clang-format -i FILE...):"
  grep 'error:' "$log" | cut -d: -f1,2 | sort -u -t: -k1,1 | head -n 20 || true
  exit 1
fi

echo "== layers (scripts/layers.txt)"
./scripts/check-layers.sh

for preset in default asan clang; do
  echo "== build ($preset)"
  quiet cmake --preset "$preset"
  quiet cmake --build --preset "$preset" -j "$jobs"
  # The Clang build runs the same tests as the default one: it is built to catch its warnings.
  if [ "$preset" = clang ]; then continue; fi
  echo "== test ($preset)"
  quiet ctest --preset "$preset" -j "$jobs"
  grep 'tests passed' "$log"
done

echo "== valgrind (unit tests, the agent through a whole life, the group and EVT scenario files)"
fail=0
for t in $(find build/tests/unit -type f -executable -name '*_test*' | sort); do
  [ -x "$t" ] || continue
  # The long randomised runs are covered by the two builds above.
  if ! valgrind -q --error-exitcode=1 --leak-check=full --errors-for-leak-kinds=definite \
      "$t" --gtest_brief=1 --gtest_filter='-*Differential*:*Random*:*Fuzz*:*Mutat*' >/dev/null; then
    echo "valgrind: $t reported errors"
    fail=1
  fi
done
./scripts/valgrind-agent.sh build || fail=1
# The group, EVT and statistics scenario files with the agent under valgrind.
OFA_SCENARIO_VALGRIND=1 build/tests/integration/scenarios/scenario_test --gtest_brief=1 \
  --gtest_filter='*groups_*:*evt_*:*stats_*' >/dev/null || { echo "valgrind: scenario files reported errors"; fail=1; }

echo "== fuzz (fixed seed, from the seeds in tests/fuzz/corpus)"
./scripts/fuzz.sh --runs 20000 || fail=1
[ "$fail" -eq 0 ] || exit 1
echo "all tests passed: format, the normal build, ASan/UBSan, the Clang build, valgrind and the fuzzers"
