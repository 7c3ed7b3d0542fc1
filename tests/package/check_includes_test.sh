#!/usr/bin/env bash
# Tests what scripts/check-includes accepts and refuses.
#
#   check_includes_test.sh SCRIPT
set -euo pipefail

script=$1
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
failures=0

put() { # put FILE LINE...
    mkdir -p "$tree/$(dirname "$1")"
    printf '%s\n' "${@:2}" >"$tree/$1"
}
plant() {
    rm -rf "${tree:?}"/*
    put fenletir/include/fenletir/program.h '#include <vector>'
    put fenletir/src/formats.h ''
    put fenletir/src/program.cpp '#include <fenletir/program.h>' '#include "formats.h"'
    put include/fenletexec/element_kinds.h '#include <fenletir/program.h>'
    put include/fenletexec/interpreter.h '#include <fenletexec/element_kinds.h>'
    put src/vocabulary/faults.h '#include <fenletexec/element_kinds.h>'
    put src/kernels/lanes/lanes.h '#include <cstdint>'
    put src/kernels/unary/unary.h '#include "kernels/lanes/lanes.h"'
    put src/kernels/unary/unary.cpp '#include "kernels/unary/unary.h"'
    put src/kernels/select/select.h '#include "kernels/lanes/lanes.h"'
    put src/sources/component.h '#include "kernels/lanes/lanes.h"' '#include "vocabulary/faults.h"'
    put src/frame/plan.h '#include "sources/component.h"' '#include <fenletexec/interpreter.h>'
    put hosts/include/fenlethosts/sinks.h '#include <fenletexec/interpreter.h>'
    put hosts/src/sinks.cpp '#include <fenlethosts/sinks.h>'
    put examples/one/main.cpp '#include <fenlethosts/sinks.h>'
}
passes() {
    if ! "$script" "$tree" >"$tree.out" 2>&1; then
        printf 'Refused, and should not be: %s\n' "$1" && cat "$tree.out"
        failures=$((failures + 1))
    fi
}
refused() { # refused FILE LINE: adds LINE to the end of FILE; the script must refuse the tree
    plant
    printf '%s\n' "$2" >>"$tree/$1"
    if "$script" "$tree" >"$tree.out" 2>&1; then
        printf 'Let through: %s in %s\n' "$2" "$1"
        failures=$((failures + 1))
    elif ! grep -q "^$1:[0-9]*: " "$tree.out" || [ "$(wc -l <"$tree.out")" -ne 1 ]; then
        printf 'Refused without naming %s alone:\n' "$1" && cat "$tree.out"
        failures=$((failures + 1))
    fi
}

plant
passes 'a tree that keeps all rules'

refused fenletir/include/fenletir/program.h '#include <fenletexec/element_kinds.h>'
refused fenletir/include/fenletir/program.h '#include "formats.h"'
refused fenletir/src/program.cpp '#include <fenletexec/element_kinds.h>'
refused fenletir/src/program.cpp '#include "vocabulary/faults.h"'
refused include/fenletexec/interpreter.h '#include "frame/plan.h"'
refused include/fenletexec/interpreter.h '#include <frame/plan.h>'
refused include/fenletexec/interpreter.h '#include <fenlethosts/sinks.h>'
refused src/vocabulary/faults.h '#include "kernels/lanes/lanes.h"'
refused src/vocabulary/faults.h '#include <fenletexec/interpreter.h>'
refused src/kernels/lanes/lanes.h '#include "kernels/unary/unary.h"'
refused src/kernels/unary/unary.cpp '#include "kernels/select/select.h"'
refused src/kernels/unary/unary.cpp '#include "sources/component.h"'
refused src/kernels/unary/unary.cpp '#include "frame/plan.h"'
refused src/kernels/unary/unary.cpp '  #  include   "frame/plan.h"'
refused src/kernels/unary/unary.cpp '#include "../../frame/plan.h"'
refused src/kernels/unary/unary.cpp '#include <fenletexec/interpreter.h>'
refused src/sources/component.h '#include "frame/plan.h"'
refused src/sources/component.h '#include <fenletexec/interpreter.h>'
refused src/frame/plan.h '#include <fenlethosts/sinks.h>'
refused hosts/include/fenlethosts/sinks.h '#include "vocabulary/faults.h"'
refused hosts/src/sinks.cpp '#include "frame/plan.h"'
refused examples/one/main.cpp '#include "kernels/lanes/lanes.h"'
refused examples/one/main.cpp '#include PLAN'

plant
put src/elsewhere/odd.cpp ''
if "$script" "$tree" >"$tree.out" 2>&1; then
    echo 'Let through: a folder that has no rule'
    failures=$((failures + 1))
fi
rm -rf "${tree:?}"/*
if "$script" "$tree" >"$tree.out" 2>&1; then
    echo 'Let through: no tree at all'
    failures=$((failures + 1))
fi

rm -f "$tree.out"
[ "$failures" -eq 0 ]
