#!/usr/bin/env bash
# Prints the lines of test code (tests/) against the lines of the programs (src/ and tools/):
# tracked C++ files only, blank lines and comment lines not counted.
set -euo pipefail
cd "$(dirname "$0")/.."

count() {
  git ls-files -co --exclude-standard -- "$@" | grep -E '\.(cc|h)$' | while read -r f; do
    [ -f "$f" ] && cat "$f"
  done | awk '
    /^[[:space:]]*$/ { next }
    in_block { if ($0 ~ /\*\//) in_block = 0; next }
    /^[[:space:]]*\/\// { next }
    /^[[:space:]]*\/\*/ { if ($0 !~ /\*\//) in_block = 1; next }
    { n++ }
    END { print n + 0 }'
}

code=$(count src tools)
tests=$(count tests)
share=$((tests * 1000 / code))
printf 'code (src/, tools/): %6d lines\ntests (tests/):      %6d lines\nshare:               %3d.%d %%\n' \
  "$code" "$tests" $((share / 10)) $((share % 10))
