#!/usr/bin/env bash
# run.sh PREFIX SOURCE CMAKE COMPILER EXAMPLE: copies the example out of the tree, builds it against the package that is
# installed in PREFIX, and tries it. No grep -q behind a pipe: it ends before the program does, which then fails to write.
set -euo pipefail
prefix=$1 source=$2 cmake=$3 compiler=$4 name=$5
support=$source/tests/support
. "$support/expect.sh"
work=$(mktemp -d)
trap 'kill $(jobs -p) 2>/dev/null || true; wait; rm -rf "$work"' EXIT
export HOME=$work/home XDG_RUNTIME_DIR=$work/run LC_ALL=C.UTF-8 DBUS_SYSTEM_BUS_ADDRESS=unix:path=$work/none
unset XDG_CONFIG_HOME XDG_DATA_HOME XDG_CACHE_HOME DBUS_SESSION_BUS_ADDRESS
mkdir -m 755 "$HOME"
mkdir -m 700 "$XDG_RUNTIME_DIR"
chmod 755 "$work"

# quietly COMMAND…: shows the output only if it fails.
quietly() { "$@" >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }; }
build() {
  quietly "$cmake" -S "$work/source" -B "$work/build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror" \
    -DCMAKE_INSTALL_PREFIX="$work/installed" -DCMAKE_INSTALL_RPATH_USE_LINK_PATH=ON
  quietly "$cmake" --build "$work/build"
}
# appears TEXT [COUNT]: within some seconds the output of the program in the background has as many lines with it.
appears() {
  for _ in $(seq 400); do [ "$(grep -c "$1" "$work/out")" -lt "${2:-1}" ] || return 0; sleep 0.05; done
  printf 'FAILED (line %s): no "%s" in:\n%s\n' "${BASH_LINENO[0]}" "$1" "$(cat "$work/out")" >&2
  exit 1
}
# Emptied first: whoever saw the last program's output could end this one while it is still a copy of this shell, and that
# copy would run the trap above.
begin() { : >"$work/out"; "$@" >>"$work/out" 2>&1 & running=$!; }
# end: ends the program in the background, which must succeed.
end() { kill "$running" && wait "$running" || { echo "FAILED: $name ended with $?" >&2; failed=1; }; }
# shown PAGE LANGUAGE NUMBER FILE: the page shows the example's file as it is.
shown() { diff "$source/examples/$name/$4" <("$support/guide-block" "$source/docs/$1.md" "$2" "$3"); }

try_ticker() {
  expect 0 "repeater  *primes  *+-*the last prime number was 1000*[1379]" ./ticker 1.5
  expect 0 "repeater  *clock  " ./ticker 0.1
  expect 2 "must be a number of seconds" ./ticker 5x
}

try_settings() {
  begin ./settings
  appears "^volume: 5"
  expect 0 "" ./settings volume 7
  appears "^volume: 7"
  expect 0 "" ./settings name "Ada Lovelace"
  appears "^name: Ada Lovelace"
  expect 0 "" ./settings reset
  appears "^volume: 5" 2
  end
  expect 2 "a number from 0 to 10" ./settings volume 11
  expect 2 "no setting colour" ./settings colour red
}

try_log() {
  local log=$HOME/Library/Logs/org.example.Log/Log.log
  expect 0 "The log is full*bytes  $log.0" ./log 3000
  expect 0 "12 lines written*bytes  $log"$'\n'"*bytes  $log.0" ./log 10
  expect 0 5 grep -c "the other thread, line . of 5" "$log"
  touch "$work/file"
  expect 1 "nothing could be written" env HOME="$work/file" ./log
}

try_command() {
  expect 3 "  a"$'\n'"*  b"$'\n'"*  c" ./command 100 'echo a; echo b >&2; printf c; exit 3'
  expect 124 "  x"$'\n'"command: stopped after 0.5 s" ./command 0.5 'echo x; sleep 1000'
  expect 137 "killed by signal 9" ./command 100 'kill -9 $$'
  expect 2 "a number of seconds" ./command 100
}

try_watcher() {
  cp "$(command -v sleep)" "$work/dozer"
  begin ./watcher dozer
  appears "^0 processes"
  "$work/dozer" 1
  appears "^+ *[0-9]* dozer: $work/dozer 1"
  appears "^- *[0-9]* dozer, after [1-9]"
  end
}

# As root in a private copy of the machine's services; skipped where that is not possible.
with_services() { (unset DBUS_SYSTEM_BUS_ADDRESS && "$support/system/private-system" "$@"); }

try_awake() {
  expect 4 "may fall asleep" ./awake sh -c 'exit 4'
  expect 127 "nosuch" ./awake nosuch
  expect 2 "a command is needed" ./awake --display
  expect 0 "Running systemd-inhibit \[PreventUserIdleSystemSleep\]" \
    with_services --services=logind ./awake systemd-inhibit --list --no-pager
}

try_disks() {
  expect 1 "No system bus" ./disks mount sdz9
  expect 0 "FOUND WHOLE"$'\n'"/media/root/WHOLE"$'\n'"LISTED"$'\n'"NOT MOUNTED" with_services bash -c '
    raw=$("$0"/loopdisk make raw)
    ./disks | grep -E "^$raw +[0-9.]+ MiB" >/dev/null && echo FOUND WHOLE
    ./disks mount "$raw"
    ./disks | grep -E "^$raw .* /media/root/WHOLE" >/dev/null && echo LISTED
    ./disks unmount "$raw" && ! findmnt "/dev/$raw" && echo NOT MOUNTED' "$support/system"
}

try_slow-timer() {
  begin ./slow-timer
  until [ -S "$XDG_RUNTIME_DIR/corvane/$running" ]; do sleep 0.05; done
  expect 0 "redraw thumbnails" "$prefix/bin/corvane-inspector" stalls --longer-than 50 --for 3 slow-timer
  end
}

try_helper() {  # that it measures is a test of its own, with the real polkit
  shown helper cpp 1 helper.cpp
  shown helper cpp 2 backup.cpp
  shown helper cmake 1 CMakeLists.txt
  expect 1 "the helper could not be installed" ./backup /root
  expect 2 "Usage: backup" ./backup
  quietly "$cmake" --install .
  local label=org.example.Backup.helper
  cmp backup.resources/LaunchServices/$label $label
  ldd "$work/installed/share/backup/LaunchServices/$label" | grep "libcorvane-system.* => $prefix" >/dev/null
  expect 0 "" python3 -c 'import sys, xml.etree.ElementTree as tree
[tree.parse(sys.argv[1] + ending) for ending in (".conf", ".policy")]' $label.files/$label
  sed -i 's/VERSION 1$/VERSION 1.5/' "$work/source/CMakeLists.txt"
  expect 1 "no version that is a whole number" "$cmake" --build .
}

try_tree-picture() {
  mkdir -p "$work/top/many" "$work/top/nested/deeper/deepest"
  touch "$work/top/many/"{1..31} "$work/top/a&b<c" "$work/top/"$'\xff\x01' "$work/top/äöüäöüäöüäöüäöüäöüäöüäöü"
  ./tree-picture "$work/top" >"$work/picture.svg"
  expect 0 $'a&b<c|deeper|deepest|many|nested|top|äöüäöüäöüäöüäöüäöüäöüä…|\ufffd?' python3 -c '
import sys, xml.etree.ElementTree as tree
print(*sorted(node.text for node in tree.parse(sys.argv[1]).iter("{http://www.w3.org/2000/svg}text")), sep="|")' "$work/picture.svg"
  expect 0 "" test 5 -eq "$(./tree-picture "$work/top" 1 | grep -c "<path")"
  expect 1 "No such file or directory" ./tree-picture "$work/nosuch"
  expect 2 "Usage: tree-picture" ./tree-picture "$work" 0
}

try_page-watch() {
  mkdir "$work/pages"
  page() { printf %s "$1" >"$work/new" && mv "$work/new" "$work/pages/page"; }
  page first
  begin python3 -u -m http.server --bind 127.0.0.1 --directory "$work/pages" 0
  appears "port [0-9]"
  local port
  port=$(sed -n 's/.* port \([0-9]*\).*/\1/p' "$work/out")
  "$prefix/bin/corvane-defaults" write org.example.PageWatch interval -float 0.1
  mv "$work/out" "$work/server"
  begin ./page-watch "http://127.0.0.1:$port/page"
  appears "a new page of 5 bytes"
  page "the second"
  appears "a new page of 10 bytes"
  rm "$work/pages/page"
  appears "no page: status 404"
  sleep 0.5  # some more looks, of which nothing is told
  end
  expect 0 "" test 3 -eq "$(grep -c "org.example.PageWatch \(a new\|no\) page" "$HOME/Library/Logs/org.example.PageWatch/PageWatch.log")"
  begin ./page-watch  # the one of last time
  appears "no page: status 404"
  end
  expect 2 "Usage: page-watch" env HOME="$work" ./page-watch
  # The page builds the program up of its parts, and shows it whole at the end.
  shown first-application cmake 1 CMakeLists.txt
  shown first-application cpp 6 main.cpp
  for part in {1..5}; do
    expect 1 "" grep -vxFf <(sed 's/^ *//' "$work/source/main.cpp") \
      <("$support/guide-block" "$source/docs/first-application.md" cpp $part | sed 's/^ *//')
  done
}

# becomes TEXT COMMAND…: within some seconds that is the command's output.
becomes() {
  local output=
  for _ in $(seq 400); do output=$("${@:2}" 2>/dev/null || true); [[ $output != *"$1"* ]] || return 0; sleep 0.05; done
  printf 'FAILED (line %s): %s: %s instead of %s\n' "${BASH_LINENO[0]}" "${*:2}" "$output" "$1" >&2
  cat "$work/out" >&2
  exit 1
}

try_tea-timer() {  # on a display of its own
  active() { xdotool getactivewindow getwindowname; }
  quietly "$cmake" --install .
  desktop-file-validate "$work/installed/share/applications/org.example.TeaTimer.desktop"
  begin env QTWEBENGINE_DISABLE_SANDBOX=1 "$work/installed/bin/tea-timer"
  becomes "Tea Timer" active
  figures() { "$prefix/bin/corvane-inspector" attach --json --for 1 tea-timer; }
  xdotool key Return
  becomes '"countdown"' figures
  xdotool key ctrl+t
  becomes "Repeater" active
  xdotool key alt+F4
  becomes "Tea Timer" active
  xdotool key F1
  becomes "Help" active
  xdotool key alt+F4
  becomes "Tea Timer" active
  xdotool key alt+m
  sleep 0.5  # the bubble has no title to wait for
  xdotool key Up Up
  becomes 5 "$prefix/bin/corvane-defaults" read org.example.TeaTimer minutes
  xdotool key Escape
  xdotool key ctrl+q
  wait "$running"
}

cp -r "$source/examples/$name" "$work/source"
build
cd "$work/build"
expect 0 "Usage: " "./$(sed -n 's/.*add_executable(\([^ ]*\) .*/\1/p' "$work/source/CMakeLists.txt" | head -n 1)" --help
"try_$name"
exit $failed
