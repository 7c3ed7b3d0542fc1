#!/usr/bin/env bash
# Builds a project that adds this one as a folder.
#
#   subproject_test.sh SOURCE GENERATOR COMPILER [LAUNCHER]
#
# LAUNCHER is a command, such as ccache, that runs the compiler.
set -euo pipefail

source=$1 generator=$2 compiler=$3 launcher=${4:-}
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
unset CXXFLAGS CFLAGS LDFLAGS LD_LIBRARY_PATH

# Builds without optimisation and debug information, to save time.
cmake -S "$source/tests/package/subproject" -B "$place/build" -G "$generator" \
    -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_COMPILER_LAUNCHER="$launcher" \
    -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG=-O0 -DFENLET_SOURCE="$source" >"$place/log" ||
    { cat "$place/log" && exit 1; }
cmake --build "$place/build" --parallel 2 >"$place/log" || { cat "$place/log" && exit 1; }
# Checks that the parent's -ffast-math does not apply to the libraries.
"$source/scripts/check-instructions" "$place"/build/fenlet/*/libfenlet*.so
"$place/build/consumer"
"$place/build/with_hosts"
