#!/usr/bin/env bash
# A new user's way: install, then link an application with find_package and another one with pkg-config.
# No grep -q behind a pipe: it ends before the program does, which then fails to write.
set -euo pipefail
build=$1 source=$2 cmake=$3 libdir=$4 compiler=$5
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export HOME=$work/home XDG_RUNTIME_DIR=$work/run
mkdir -p "$HOME"
mkdir -m 700 "$XDG_RUNTIME_DIR"
unset XDG_CONFIG_HOME XDG_DATA_HOME XDG_CACHE_HOME

"$cmake" --install "$build" --prefix "$work/prefix" --strip >"$work/install.log" || { cat "$work/install.log"; exit 1; }
# Moved, to show that nothing installed remembers where it was put.
mv "$work/prefix" "$work/moved"
prefix=$work/moved

echo "-- the README's example, with find_package"
mkdir "$work/app"
"$source/tests/support/guide-block" "$source/README.md" cpp 1 >"$work/app/main.cpp"
"$source/tests/support/guide-block" "$source/README.md" cmake 1 >"$work/app/CMakeLists.txt"
"$cmake" -S "$work/app" -B "$work/app/build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_COMPILER="$compiler" \
  -DCMAKE_INSTALL_RPATH="$prefix/$libdir" -DCMAKE_INSTALL_PREFIX="$work/installed" >"$work/app.log" || { cat "$work/app.log"; exit 1; }
"$cmake" --build "$work/app/build"
"$work/app/build/ticker" >"$work/out"
grep -q '^tick 3' "$work/out" || { cat "$work/out"; exit 1; }
log=$HOME/Library/Logs/org.example.Ticker/Ticker.log
grep -q 'org.example.Ticker Logging begins for: Ticker$' "$log"
echo "-- the same, installed"
"$cmake" --install "$work/app/build" >/dev/null
rm "$log"
"$work/installed/bin/ticker" | grep '^tick 3' >/dev/null
grep -q 'Logging begins for: Ticker$' "$log"

echo "-- folders of resources follow what is in them, and what the build makes in them"
pages="$work/app0/Help pages"
mkdir -p "$pages/old"
echo 'int main() {}' >"$work/app0/main.cpp"
{
  sed '/link/d; s|BUILD 1)|BUILD 1 RESOURCE_FOLDERS "Help pages/" ../Made)|' "$work/app/CMakeLists.txt"
  echo 'corvane_documentation(guide FOLDER ${CMAKE_CURRENT_SOURCE_DIR}/../Made TITLE Guide SOURCES a.md)'
  echo 'add_dependencies(ticker_resources guide)'
} >"$work/app0/CMakeLists.txt"
echo 1 | tee "$pages/"{a,old/b}.html >"$work/app0/a.md"
"$cmake" -S "$work/app0" -B "$work/app0/build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_COMPILER="$compiler" \
  -DCMAKE_INSTALL_PREFIX="$work/installed0" >/dev/null
for step in 1 2; do
  "$cmake" --build "$work/app0/build" --target install >/dev/null
  for bundle in "$work/app0/build/ticker.resources" "$work/installed0/share/ticker"; do
    diff -r "$pages" "$bundle/Help pages"
    grep -q "<p>$step</p>" "$bundle/Made/a.html"
  done
  mkdir -p "$pages/new folder"
  echo 2 | tee "$pages/"{a,"new folder/ü c"}.html >"$work/app0/a.md"
  rm -rf "$work/installed0/share/ticker" "$pages/old"
done

echo "-- the same, with a launcher in front of it, and looked into while it runs"
mkdir "$work/app1"
sed 's|main.cpp|../app/main.cpp|; s/BUILD 1)/BUILD 1\n  DIAGNOSTICS CONTROL SETTING_VALUES REQUIRES libm.so.6 "its ticks" "" "$ENV{NEEDED}" "its a;b" "https:\/\/a.b")/' "$work/app/CMakeLists.txt" >"$work/app1/CMakeLists.txt"
for needed in libc.so.6 libgone.so; do
  NEEDED=$needed "$cmake" -S "$work/app1" -B "$work/app1/build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_COMPILER="$compiler" \
    -DCMAKE_INSTALL_RPATH="$prefix/$libdir" -DCMAKE_INSTALL_PREFIX="$work/in stalled" >/dev/null
  "$cmake" --build "$work/app1/build" --target install >/dev/null
  ln -sf "$work/in stalled/bin/ticker" "$work/link"
  status=0
  env -u DISPLAY -u WAYLAND_DISPLAY "$work/link" >"$work/out" 2>&1 &
  shown=no
  while kill -0 $! 2>/dev/null; do
    [ ! -S "$XDG_RUNTIME_DIR/corvane/$!" ] || shown=yes
    sleep 0.05
  done
  wait $! || status=$?
  if [ "$needed" = libc.so.6 ]; then grep -q '^tick 3' "$work/out" && [ $shown = yes ]
  else [ "$status" = 1 ] && grep -q ': Ticker needs a library for its a;b that is not installed: libgone.so (https://a.b)$' "$work/out"; fi
done

echo "-- the same, with pkg-config and the guide's dictionary"
export PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig
flags="$(pkg-config --cflags --libs corvane) -Wl,-rpath,$(pkg-config --variable=libdir corvane)"
mkdir "$work/ticker.resources"
"$source/tests/support/guide-block" "$source/docs/bundles.md" xml 1 >"$work/ticker.resources/Info.plist"
# shellcheck disable=SC2086
"$compiler" -std=c++20 "$work/app/main.cpp" -o "$work/ticker" $flags
rm "$log"
"$work/ticker" | grep '^tick 3' >/dev/null
grep -q 'Logging begins for: Ticker$' "$log"

echo "-- programs that use nothing of the infrastructure library, linked with --as-needed, log all the same"
cat >"$work/lone.cpp" <<'CPP'
#include "corvane/core/Log.h"
int main() { corvane::logLine("from the core"); }
CPP
# shellcheck disable=SC2086
"$compiler" -std=c++20 -Wl,--as-needed "$work/lone.cpp" -o "$work/lone" $flags
mkdir "$work/app2"
sed 's/ticker/lone2/g; s/Ticker/Lone/g; s/main.cpp/..\/lone.cpp/' "$work/app/CMakeLists.txt" >"$work/app2/CMakeLists.txt"
"$cmake" -S "$work/app2" -B "$work/app2/build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_COMPILER="$compiler" \
  -DCMAKE_EXE_LINKER_FLAGS=-Wl,--as-needed >/dev/null
"$cmake" --build "$work/app2/build" >/dev/null
cp -r "$work/app2/build/lone2.resources" "$work/lone.resources"
log=$HOME/Library/Logs/org.example.Lone/Lone.log
for program in "$work/lone" "$work/app2/build/lone2"; do
  "$program"
  grep -q 'org.example.Lone from the core$' "$log"
  rm "$log"
done

echo "-- a program that needs the infrastructure library alone starts, and finds the installed translations"
cat >"$work/kind.cpp" <<'CPP'
#include <cstdio>
#include <sys/stat.h>
#include "corvane/infra/SysAttr.h"
int main() { std::puts(corvane::SysAttr::modeKind(S_IFDIR).c_str()); }
CPP
# shellcheck disable=SC2086
"$compiler" -std=c++20 -Wl,--as-needed "$work/kind.cpp" -o "$work/kind" $flags
localedef -i de_DE -f UTF-8 "$work/de_DE.UTF-8"
LOCPATH=$work LC_ALL=de_DE.UTF-8 "$work/kind" | grep -x Verzeichnis >/dev/null

echo "-- the examples of the guides to the algorithms"
block() { "$source/tests/support/guide-block" "$source/docs/$1.md" "$2" "$3"; }
block pid cpp 1 >"$work/loop.cpp"
block pid cpp 2 >"$work/simulation.cpp"
block layout cpp 1 >"$work/layout.cpp"
for program in loop simulation layout; do
  # shellcheck disable=SC2086
  "$compiler" -std=c++20 -Wall -Wextra -Werror "$work/$program.cpp" -o "$work/$program" \
    $(pkg-config --libs corvane-testing) $flags
done
cp -r "$work/ticker.resources" "$work/loop.resources"
"$work/loop" | grep -x '60 °C at [78][0-9] %' >/dev/null
"$work/simulation" | diff <(block pid text 1) -
"$work/layout" | diff <(block layout text 1) -

qt=
if [ -e "$prefix/$libdir/pkgconfig/corvane-ui.pc" ]; then
  echo "-- the example of the guide to the user interface, with find_package and with pkg-config"
  mkdir "$work/app3"
  block ui cpp 1 >"$work/app3/main.cpp"
  { echo 'cmake_minimum_required(VERSION 3.25)'; echo 'project(Files LANGUAGES CXX)'; block ui cmake 1; } >"$work/app3/CMakeLists.txt"
  "$cmake" -S "$work/app3" -B "$work/app3/build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_COMPILER="$compiler" \
    >/dev/null
  "$cmake" --build "$work/app3/build" >/dev/null
  qt=$(pkg-config --cflags corvane-ui | sed 's/-I/-isystem /g')
  # shellcheck disable=SC2046
  "$compiler" -std=c++20 -fPIC "$work/app3/main.cpp" -o "$work/files" $(pkg-config --cflags --libs corvane-ui) $flags
  for program in "$work/app3/build/files" "$work/files"; do
    QT_QPA_PLATFORM=offscreen "$program" --once | grep -x '/nowhere has no icon' >/dev/null
  done
  echo "-- programs without a user interface need no Qt"
  ! ldd "$work/ticker" | grep Qt
  echo "-- no header uses what Qt's headers make keywords"
  (echo '#include <QObject>'; cd "$prefix/include" && find corvane -name '*.h' -printf '#include "%p"\n') >"$work/headers.cpp"
  # shellcheck disable=SC2046
  "$compiler" -std=c++20 -fPIC -fsyntax-only "$work/headers.cpp" $(pkg-config --cflags corvane-ui)
fi

echo "-- the C headers, as C11"
for header in "$prefix"/include/corvane/{,system/}*/*_c.h "$prefix"/include/corvane/system/procinfo/*.h; do
  echo "#include \"${header#"$prefix"/include/}\"" | cc -std=c11 -Wall -Wextra -Wpedantic -Werror -I"$prefix/include" -xc -fsyntax-only -
done
echo "-- every C++ header on its own"
(cd "$prefix/include" && find corvane -name '*.h' ! -name '*_c.h') | xargs -P "$(nproc)" -I{} sh -c \
  'echo "#include \"{}\"" | "$0" -std=c++20 -Wall -Wextra -Wpedantic -Werror -I"$1" $2 -xc++ -fsyntax-only - || exit 255' \
  "$compiler" "$prefix/include" "$qt"
