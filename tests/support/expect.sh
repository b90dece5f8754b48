# shellcheck shell=bash
# For tests that run programs; at their end they exit with $failed.
failed=0
# expect STATUS TEXT COMMAND…: the command must end so, and its output contain the text, a pattern.
expect() {
  local status=$1 text=$2 output code=0
  shift 2
  output=$("$@" 2>&1) || code=$?
  [[ $code = "$status" && $output = *$text* ]] && return
  printf 'FAILED (line %s): %s\n  expected %s: %s\n  got %s: %.6000s\n' "${BASH_LINENO[0]}" "$*" "$status" "$text" "$code" "$output" >&2
  failed=1
}
