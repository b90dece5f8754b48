#!/bin/bash
# Runs the guide's application as a user; prints its output, then the questions. In a private-system.
support=$(dirname "$(readlink -f "$0")")/../../support/system
cmake --install "$1" >/dev/null && cmake --install "$1" --prefix /usr --component corvane-helpers >/dev/null && ldconfig || exit
# The user may not be able to enter the build folder.
mkdir /run/build && mount --bind "$1" /run/build
mkdir -m 700 /run/secret && head -c 12345 /dev/zero >/run/secret/file
gdbus call --system -d org.freedesktop.DBus -o / -m org.freedesktop.DBus.ReloadConfig >/dev/null
"$support/as-user" --session yes /run/build/bin/backup /run/secret /run/secret 2>/run/questions
cat /run/questions
for _ in {1..100}; do pgrep -f helpers/org.example.Backup >/dev/null || break; sleep 0.05; done
echo "helpers: $(pgrep -fc helpers/org.example.Backup)"
