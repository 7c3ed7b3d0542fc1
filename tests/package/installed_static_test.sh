#!/usr/bin/env bash
# Builds static libraries and runs installed_test.sh with them.
#
#   installed_static_test.sh SOURCE GENERATOR COMPILER PROGRAM [LAUNCHER]
#
# PROGRAM is the README's program, a source file; LAUNCHER goes before the compiler's name.
set -euo pipefail

source=$1 generator=$2 compiler=$3 program=$4 launcher=${5:-}
build=$(mktemp -d)
trap 'rm -rf "$build"' EXIT
unset CXXFLAGS CFLAGS LDFLAGS LD_LIBRARY_PATH

# Builds without optimisation, to save time.
cmake -S "$source" -B "$build" -G "$generator" -DCMAKE_CXX_COMPILER="$compiler" \
    -DCMAKE_CXX_COMPILER_LAUNCHER="$launcher" -DCMAKE_BUILD_TYPE=Debug \
    -DCMAKE_CXX_FLAGS_DEBUG=-O0 -DBUILD_SHARED_LIBS=OFF -DFENLET_BUILD_EXAMPLES=OFF \
    -DFENLET_BUILD_TOOLS=OFF -DFENLET_BUILD_TESTS=OFF >"$build/log" ||
    { cat "$build/log" && exit 1; }
cmake --build "$build" --parallel 2 >"$build/log" || { cat "$build/log" && exit 1; }
"${BASH_SOURCE%/*}/installed_test.sh" "$source" "$build" "$generator" "$compiler" "$program"
