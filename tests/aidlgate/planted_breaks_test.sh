#!/usr/bin/env bash
# scripts/aidl-check.sh must fail, and say why, when aidl/ and host/jorv drift apart. Each case
# plants one break in fresh copies of both under a temporary directory and points the gate at them;
# the tree itself is never touched.
set -euo pipefail

ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)"
work="$(mktemp -d)"
trap 'rm -rf "${work}"' EXIT

failures=0

fresh_copies() {
    rm -rf "${work}/aidl" "${work}/jorv"
    cp -r "${ROOT}/aidl" "${work}/aidl"
    cp -r "${ROOT}/host/jorv" "${work}/jorv"
}

# check NAME STATUS PATTERN...: the gate on the copies exits with STATUS and its output has a line
# matching each PATTERN (extended regular expressions).
check() {
    local name="$1" want="$2" status=0
    shift 2
    AIDL_DIR="${work}/aidl" JORV_DIR="${work}/jorv" "${ROOT}/scripts/aidl-check.sh" \
        >"${work}/out" 2>&1 || status=$?
    local ok=1
    [[ ${status} -eq ${want} ]] || ok=0
    for pattern in "$@"; do
        grep -qE -- "${pattern}" "${work}/out" || ok=0
    done
    if ((ok)); then
        echo "ok: ${name}"
    else
        echo "FAILED: ${name}: exit status ${status}, wanted ${want} and lines matching: $*"
        cat "${work}/out"
        failures=$((failures + 1))
    fi
}

# Unchanged copies pass, so what fails below fails because of the planted break.
fresh_copies
check "unchanged copies" 0 "matches"

# A method inserted first in IJorv moves every transaction code after it.
fresh_copies
sed -i 's/^interface IJorv {$/&\n    void plantedFirst();/' \
    "${work}/aidl/vendor/vemra/hardware/jorv/IJorv.aidl"
check "method inserted first in IJorv.aidl" 1 \
    '^-IJorv method plantedFirst code=0 ' \
    '^-IJorv method init code=1 ' '^\+IJorv method init code=0 ' \
    '^-IJorv method requestOneWay code=14 flags=FLAG_ONEWAY ' \
    '^\+IJorv method requestOneWay code=13 flags=FLAG_ONEWAY '

# Two string fields of JorvRequestData swapped on the wire, in both readFromParcel and
# writeToParcel: the host round-trips its own parcels unchanged but no longer speaks the interface.
fresh_copies
sed -i -e 's/Field(&value)/Field(\&PLANTED)/' -e 's/Field(&path)/Field(\&value)/' \
    -e 's/Field(&PLANTED)/Field(\&path)/' -e 's/Field(value)/Field(PLANTED)/' \
    -e 's/Field(path)/Field(value)/' -e 's/Field(PLANTED)/Field(path)/' \
    "${work}/jorv/src/JorvRequestData.cpp"
check "value and path swapped in host JorvRequestData.cpp" 1 \
    '^-JorvRequestData read 2 value nullable' '^\+JorvRequestData read 2 path nullable' \
    '^-JorvRequestData write 3 path nullable' '^\+JorvRequestData write 3 value nullable'

if ((failures > 0)); then
    echo "${failures} case(s) failed"
    exit 1
fi
echo "all cases passed"
