#!/usr/bin/env bash
# Builds the libraries without a user interface as static ones, and links programs with them: these contain all of the
# library, log although they ask for nothing of it, and find its translations from the program's folder.
set -euo pipefail
source=$1 cmake=$2 compiler=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export HOME=$work/home
mkdir -p "$HOME" "$work/prefix/bin"
unset XDG_CONFIG_HOME XDG_DATA_HOME XDG_CACHE_HOME

echo "-- build and install"
"$cmake" -S "$source" -B "$work/build" -G Ninja -DBUILD_SHARED_LIBS=OFF -DBUILD_TESTING=OFF -DCORVANE_APPS=OFF -DCORVANE_UI=OFF \
  -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS=-O0 -DCMAKE_INSTALL_LIBDIR=lib >"$work/log" || { cat "$work/log"; exit 1; }
"$cmake" --build "$work/build" -- --quiet
"$cmake" --install "$work/build" --prefix "$work/prefix" >/dev/null

cat >"$work/main.cpp" <<'CPP'
#include "corvane/core/Log.h"
#ifdef KIND
#include <sys/stat.h>
#include <cstdio>
#include "corvane/infra/SysAttr.h"
#include "corvane/testing/ManualClock.h"
#endif
int main() {
#ifdef KIND
  std::puts(corvane::SysAttr::modeKind(S_IFDIR).c_str());
#endif
  corvane::logLine("from the core");
}
CPP
cat >"$work/CMakeLists.txt" <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(Lone LANGUAGES CXX)
find_package(Corvane REQUIRED COMPONENTS system algorithms testing)
add_executable(lone main.cpp)
target_link_libraries(lone PRIVATE Corvane::system Corvane::algorithms Corvane::testing)
corvane_application(lone IDENTIFIER org.example.Lone NAME Lone VERSION 1.0 BUILD 1)
CMAKE
log=$HOME/Library/Logs/org.example.Lone/Lone.log

echo "-- with find_package"
"$cmake" -S "$work" -B "$work/app" -G Ninja -DCMAKE_PREFIX_PATH="$work/prefix" -DCMAKE_CXX_COMPILER="$compiler" >/dev/null
"$cmake" --build "$work/app" >/dev/null
"$work/app/lone"
grep -q 'org.example.Lone from the core$' "$log"
rm "$log"

echo "-- with pkg-config; the translations beside the program's folder"
# shellcheck disable=SC2046
"$compiler" -std=c++20 -DKIND "$work/main.cpp" -o "$work/prefix/bin/lone" \
  $(PKG_CONFIG_PATH=$work/prefix/lib/pkgconfig pkg-config --static --cflags --libs corvane corvane-testing)
cp -r "$work/app/lone.resources" "$work/prefix/bin/"
localedef -i de_DE -f UTF-8 "$work/de_DE.UTF-8"
(cd / && PATH=$work/prefix/bin:$PATH LOCPATH=$work LC_ALL=de_DE.UTF-8 lone) | grep -x Verzeichnis >/dev/null
grep -q 'org.example.Lone from the core$' "$log"

echo "-- no library of ours is loaded"
! ldd "$work/app/lone" "$work/prefix/bin/lone" | grep corvane-
