#!/usr/bin/env bash
# Builds and runs the test suite in each build configuration.
#
#   scripts/test.sh                 # default clang asan tsan fuzz
#   scripts/test.sh default asan    # only the named presets
#
# Stops at the first configuration that fails to configure, build or pass.
set -euo pipefail

ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
cd "${ROOT}"

scripts/setup.sh

# Before any build: host/jorv must have the shape of the code generated from aidl/.
scripts/aidl-check.sh

if (($# > 0)); then
    presets=("$@")
else
    presets=(default clang asan tsan fuzz)
fi

jobs="${QAR_TEST_JOBS:-2}"

# Make every sanitizer report fatal so ctest sees it as a failure.
export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1"
if [[ -f "${ROOT}/tests/tsan.supp" ]]; then
    TSAN_OPTIONS+=" suppressions=${ROOT}/tests/tsan.supp"
fi
export TSAN_OPTIONS

# Android.bp is only built on a device tree; here its layout is held to bpfmt's.
if ! bpfmt_diff="$(bpfmt -d Android.bp 2>&1)" || [[ -n "${bpfmt_diff}" ]]; then
    echo "==> Android.bp is not as bpfmt writes it (fix: bpfmt -w Android.bp):" >&2
    echo "${bpfmt_diff}" >&2
    exit 1
fi

for preset in "${presets[@]}"; do
    case "${preset}" in
        clang | fuzz)
            if ! command -v clang++ >/dev/null 2>&1; then
                echo "==> [${preset}] skipped: clang++ not found"
                continue
            fi
            ;;
    esac

    echo "==> [${preset}] configure"
    cmake --preset "${preset}"
    echo "==> [${preset}] build"
    cmake --build --preset "${preset}"
    echo "==> [${preset}] test"
    ctest --preset "${preset}" --parallel "${jobs}"
    if [[ "${preset}" == default ]]; then
        echo "==> [${preset}] ABI gate"
        scripts/abi-check.sh build/default
    fi
done

echo "==> all passed: ${presets[*]}"
