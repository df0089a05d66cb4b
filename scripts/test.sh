#!/usr/bin/env bash
# Builds and runs every test: the normal build, the AddressSanitizer + UndefinedBehaviorSanitizer
# build, the unit tests once more under valgrind, and every fuzzer from its seeds (fixed seed).
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/deps.sh

echo "== layers (scripts/layers.txt)"
./scripts/check-layers.sh

jobs=$(nproc)
for preset in default asan; do
  echo "== build ($preset)"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$jobs"
  echo "== test ($preset)"
  ctest --preset "$preset" -j "$jobs"
done

echo "== valgrind (unit tests, then the agent through a whole life)"
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

echo "== fuzz (fixed seed, from the seeds in tests/fuzz/corpus)"
./scripts/fuzz.sh --runs 20000 || fail=1
[ "$fail" -eq 0 ] || exit 1
echo "all tests passed under the normal build, ASan/UBSan, valgrind and the fuzzers"
