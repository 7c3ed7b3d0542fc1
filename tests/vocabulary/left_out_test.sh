#!/usr/bin/env bash
# Adds a storage kind, and an instruction set, to one place after another. Until they are in every
# place, the library must not compile.
#
#   left_out_test.sh SOURCES COMPILER
set -euo pipefail

sources=$1 compiler=$2
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
mkdir "$tree/fenletir"
cp -r "$sources/include" "$sources/src" "$tree"
cp -r "$sources/fenletir/include" "$tree/fenletir"
cd "$tree"

failures=0
compiles() { # compiles SOURCE [OPTION...]
    "$compiler" -std=c++20 -fsyntax-only -Werror=switch -Wall -Iinclude -Ifenletir/include -Isrc \
        -DFENLET_TARGET=Tests "${@:2}" "$1" >messages 2>&1
}
expectRefused() { # expectRefused WORDS SOURCE [OPTION...]
    if compiles "${@:2}"; then
        echo "$2 compiles, where '$1' should stop it."
        failures=$((failures + 1))
    elif ! grep -q "$1" messages; then
        echo "$2: no '$1' in:" && cat messages
        failures=$((failures + 1))
    fi
}
expectTaken() { # expectTaken SOURCE [OPTION...]
    compiles "$@" || { echo "$1 does not compile:" && cat messages && failures=$((failures + 1)); }
}
replace() { # replace FILE OLD NEW
    grep -q "$2" "$1" || { echo "No '$2' in $1" && exit 2; }
    sed -i "s/$2/$3/" "$1"
}

kinds=src/vocabulary/element_kinds.cpp
expectTaken $kinds
replace include/fenletexec/element_kinds.h 'Float64 = 6,' 'Float64 = 6, UInt8 = 7,'
expectRefused 'UInt8.* not handled in switch' $kinds
replace $kinds 'return "Float64";' 'return "Float64"; case CpuElementKind::UInt8: return "UInt8";'
expectRefused 'AllKinds leaves out a kind' $kinds
replace src/vocabulary/kinds.h 'Kind<CpuElementKind::Float64, double>>' \
    'Kind<CpuElementKind::Float64, double>, Kind<CpuElementKind::UInt8, signed char>>'
expectTaken $kinds

sets=src/kernels/target/sets.cpp
expectTaken $sets -DFENLET_BUILT_SETS=Baseline
expectRefused 'name different sets' $sets -DFENLET_BUILT_SETS=Baseline,Baseline
expectRefused 'Wider' $sets -DFENLET_BUILT_SETS=Baseline,Wider
replace src/kernels/target/sets.h 'each(Baseline, __VA_ARGS__)$' \
    'each(Baseline, __VA_ARGS__) each(Wider, __VA_ARGS__)'
expectRefused 'name different sets' $sets -DFENLET_BUILT_SETS=Baseline
expectTaken $sets -DFENLET_BUILT_SETS=Baseline,Wider

exit $((failures > 0))
