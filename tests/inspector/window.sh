#!/usr/bin/env bash
# The Inspector's window on a real display: window.sh PROGRAM DEFAULTS SLOW, run by with-display.
set -euo pipefail
program=$1 defaults=$2 slow=$3 failed=0
mkdir -m 700 "$HOME/run"
export XDG_RUNTIME_DIR=$HOME/run LC_ALL=C.UTF-8
check() { [[ $2 = "$3" ]] || { printf 'FAILED: %s: %s instead of %s\n' "$1" "$2" "$3" >&2; failed=1; }; }
# becomes WHAT EXPECTED COMMAND…: within some seconds its output is that.
becomes() {
  local output=''
  for _ in $(seq 200); do output=$("${@:3}" 2>/dev/null || true); [[ $output != "$2" ]] || return 0; sleep 0.05; done
  check "$1" "$output" "$2"
}
active() { xdotool getactivewindow getwindowname; }
page() { "$defaults" read org.corvane.Inspector window.page; }

code=0; text=$(DISPLAY=:nothing "$program" 2>&1) || code=$?
check "without a display" "$code ${text##*: }" "1 no window can be shown here; corvane-inspector shows the same in a terminal"

"$slow" & slow=$!
"$program" --page broadcaster & first=$!
becomes "the first start's window" "Corvane Inspector" active
becomes "its page" broadcaster page
wish -name other <<<'wm geometry . 600x400+0+0' & other=$!
becomes "another window" other active
code=0; "$program" --page power || code=$?; check "a second start" $code 0
becomes "the window after a second start" "Corvane Inspector" active
becomes "its page" power page
check "windows of the Inspector" "$(xdotool search --onlyvisible --name '^Corvane Inspector$' | wc -l)" 1
code=0; "$program" --attach "slow-timer" || code=$?; check "a start for another program" $code 0
becomes "the window of another program" "Slow Timer – Corvane Inspector" active
kill $slow
kill -9 $first; wait $first 2>/dev/null || true
"$program" & third=$!
becomes "the window after a start that was killed" "Corvane Inspector" active
becomes "the page that was remembered" power page
ask() { xdotool key F1; sleep 0.2; active; }  # again, because a new window may not hear the first key
becomes "the window after F1" Help ask
kill $third; status=0; wait $third || status=$?
check "status after SIGTERM" $status 143
"$program" & fourth=$!
becomes "a window again" "Corvane Inspector" active
xdotool key ctrl+q; wait $fourth || failed=1
kill $other
code=0; message=$("$program" --page nowhere 2>&1) || code=$?
check "an unknown page" "$code ${message%%: there are *}" "2 corvane-inspector-window: --page"
exit $failed
