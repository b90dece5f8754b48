#!/bin/sh
# Fails if the program makes a thread, a socket or a file.
set -u
export ASAN_OPTIONS=detect_leaks=0  # the leak check would make a thread of its own
trace=$(mktemp)
trap 'rm -f "$trace"' EXIT
strace -f -o "$trace" true 2>/dev/null || exit 77
strace -f -e trace=clone,clone3,fork,vfork,socket,connect,open,openat,creat,mkdir -o "$trace" "$1" || exit 1
# Without the paths, which may contain the same words.
! sed 's/"[^"]*"//g' "$trace" | grep -E 'clone|fork|socket|connect|creat|O_CREAT|mkdir'
