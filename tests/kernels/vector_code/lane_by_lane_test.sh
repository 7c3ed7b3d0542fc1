#!/usr/bin/env bash
# Tests that scripts/check-vector-code refuses kernels in which the compiler has vectorised no loop.
#
#   lane_by_lane_test.sh CHECK LIST OBJECT...
#
# The list for the baseline set, beside LIST, must be refused in the same way.
set -euo pipefail
check=$1 list=$2
shift 2
objects=("$@")
own=$(mktemp -d)
trap 'rm -r "$own"' EXIT

failed=false
fail() {
    echo "$*" >&2
    failed=true
}

# Some loops use vector types, so they are vector code with any compiler options. All other loops
# must be refused.
inVectors='bool (divide|select)Whole|combineScalars|combineWhole|compareRun|takeFixed'
inVectors+='|spreadFixed<unsigned (int|long), [234]>'
inVectors+='|mapRun<(Convert|ToWorking)<int, (float|double)>>'
written='spreadFixed<unsigned int, 3>'
cat "$list" "${list%.txt}_baseline.txt" >"$own/both"
"$check" --show "$own/both" "${objects[@]}" >"$own/report" && fail "Kernels that go lane by lane pass."
shown=$(sed -n 's/^  \([^ ].*\): [a-z].*/\1/p' "$own/report" | sort -u)
others=$(grep -vE "^($inVectors)" <<<"$shown" || true)
[ -z "$others" ] || fail "Taken for vector code: $others"
grep -qxF "$written" <<<"$shown" || fail "Not taken for vector code: $written"
grep 'No function' "$own/report" >&2 && fail "The list names what is not there."

# One object is enough to test other lists.
for object in "$@"; do
    [[ $object == */comparisons_kernels.* ]] && objects=("$object")
done
run() {
    printf '%s\n' "$@" >"$own/list"
    "$check" "$own/list" "${objects[@]}" >"$own/report" 2>&1
}
says() {
    grep -qF -- "$1" "$own/report" || fail "It does not say '$1':" "$(head -n 9 "$own/report")"
}
run '# One that is there.' "$written : pshufd" "$written : addps|pshuf* mov*" \
    'spreadFixed<unsigned {int, 3|int, 3}> : pshufd' || fail "$(cat "$own/report")"

run "$written : pshufd" "$written : pshufd divps" && fail "An instruction may be missing."
says 'no divps'
run "$written : x9 pshufd" && fail "Loops may be missing."
says '1 of 9 vector loops'
run "$written : pshufd" 'spreadFixed<unsigned int, {3|5}> : pshufd' && fail "A name may be missing."
says 'No function: spreadFixed<unsigned int, 5>'
run "$written : pshufd" "$written pshufd" && fail "A line may be of any form."
says 'list:2: error: not NAME'
run "$written :" && fail "A rule may ask for nothing."
says 'list:1: error: not NAME'
run '# Nothing.' && fail "A list may be empty."
says 'names no function'
objects+=("$own/absent.o")
run "$written : pshufd" && fail "An object may be missing."
says 'absent.o'

! $failed
