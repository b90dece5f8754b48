#!/bin/bash
# Installs, uses and removes the Inspector's helper with the real services. In a private-system: helper.sh BUILD.
support=$(dirname "$(readlink -f "$0")")/../support/system
# Installed, because a helper's libraries must lie where only root can change them.
cmake --install "$1" >/dev/null && ldconfig || exit
inspector=$(sed -n 's/^CMAKE_INSTALL_PREFIX:PATH=//p' "$1/CMakeCache.txt")/bin/corvane-inspector failed=0
export LC_ALL=C.UTF-8

# expect STATUS TEXT ANSWER ARGUMENT…: what a user gets whose agent answers so; the output contains the text, a pattern.
expect() {
  local status=$1 text=$2 answer=$3 output code=0
  shift 3
  output=$("$support/as-user" "$answer" "$inspector" "$@" 2>&1) || code=$?
  [[ $code = "$status" && $output = *$text* ]] && return
  printf 'FAILED (line %s): %s\n  expected %s: %s\n  got %s: %.600s\n' "${BASH_LINENO[0]}" "$*" "$status" "$text" "$code" "$output" >&2
  failed=1
}
# A process of root, which writes.
bash -c 'printf %5000000d 1 >"$0"; sleep 1000; :' "$PRIVATE_SYSTEM/written" & other=$!
until [ "$(pgrep -P $other)" ]; do sleep 0.05; done
io() { sed -n "s/^$1_bytes: //p" /proc/$other/io; }
theirs='"pid":'$other',*"footprint_bytes":[1-9]*"disk_read_bytes":'$(io read)',"disk_written_bytes":'$(io write),

cmake --install "$1" --prefix /usr --component corvane-helpers >/dev/null && gdbus call --system --dest org.freedesktop.DBus \
  --object-path / --method org.freedesktop.DBus.ReloadConfig >/dev/null
expect 0 "The helper is not installed" yes helper status
expect 1 "--all: The helper is not installed: corvane-inspector helper install" yes ps --all
expect 1 "could not be installed" no helper install
expect 0 "The helper is installed" yes helper install
expect 0 "| See what the processes of other users use"*"$theirs" yes ps --all --json
expect 0 "Footprint "*" Read "*" Written " yes ps --all --sort -written
expect 1 "--all: The helper does not answer: " no ps --all
expect 1 "--all: The helper does not answer: " none ps --all
expect 0 '"threads":1,"started"' none ps --json
expect 0 "The helper is not installed" yes helper remove
expect 1 "--all: The helper is not installed" yes ps --all
pkill -P $other
exit $failed
