# Shell helpers shared by the scripts that start the programs; sourced, not run.

# wait_for SECONDS COMMAND...: poll until the command succeeds; past SECONDS, say what was awaited
# (prefixed with the calling script's name) and exit 1.
wait_for() {
  local until=$((SECONDS + $1))
  shift
  until "$@" >/dev/null 2>&1; do
    [ "$SECONDS" -lt "$until" ] || { echo "$(basename "$0" .sh): timed out waiting for: $*" >&2; exit 1; }
    sleep 0.1
  done
}
