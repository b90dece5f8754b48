#!/usr/bin/env bash
# The guide's program on a desktop whose settings another process reads: desktop.sh PROGRAM DESKTOP SCHEMA KEY. It is
# ended, killed, and killed before the user chooses another picture.
set -euo pipefail
program=$1 schema=$3 key=$4
command -v gsettings >/dev/null || { echo "no gsettings"; exit 77; }
gsettings list-keys "$schema" >/dev/null 2>&1 || { echo "the settings of $2 are not installed"; exit 77; }
work=$(mktemp -d)
trap 'kill -9 $(jobs -p) 2>/dev/null || true; rm -rf "$work"' EXIT
export HOME=$work XDG_CONFIG_HOME=$work/config XDG_CACHE_HOME=$work/cache XDG_DATA_HOME=$work/data XDG_CURRENT_DESKTOP=$2
export GSETTINGS_BACKEND=keyfile
user="'/home/user/my picture.png'"
pictures=$XDG_CACHE_HOME/org.example.Clock
becomes() {
  for _ in $(seq 400); do
    [[ $(gsettings get "$schema" "$key") != $1 ]] || [[ $1 = *image* && ! -e $pictures/desktop-image-1.png ]] || return 0
    sleep 0.05
  done
  echo "FAILED: $(gsettings get "$schema" "$key") instead of $1" >&2; exit 1
}
starts() { rm -f "$pictures"/*; "$program" & pid=$!; becomes "*/desktop-image-1.png'"; }
ends() { kill -$1 $pid; local status=0; wait $pid 2>/dev/null || status=$?; [[ $status = $2 ]]; }

gsettings set "$schema" "$key" "$user"
starts
[[ $(gsettings get "$schema" picture-options) = "'zoom'" ]]
head -c 8 "$pictures/desktop-image-1.png" | cmp - <(printf '\x89PNG\r\n\x1a\n')
ends TERM 143
becomes "$user"
[[ -z $(ls "$pictures") && -z $(find "$XDG_DATA_HOME" -type f) ]]

starts
ends KILL 137
becomes "*/desktop-image-1.png'"
starts
ends HUP 129
becomes "$user"

starts
ends KILL 137
gsettings set "$schema" "$key" "'/chosen'"
starts
ends TERM 143
becomes "'/chosen'"
gsettings reset "$schema" "$key"
starts
ends TERM 143
[[ $(find "$work" -name keyfile -exec cat {} +) != *"$key="* ]]
