#!/usr/bin/env bash
# The project's main job: build the default configuration and run it.
# Extra arguments go straight to the program.
set -euo pipefail

ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
cd "${ROOT}"

scripts/setup.sh

cmake --preset default
cmake --build --preset default

bench="build/default/bench/hostbinder_bench"
if [[ ! -x "${bench}" ]]; then
    echo "main: ${bench} was not built (are the bench/hostbinder sources in place?)" >&2
    exit 1
fi

echo "main: running the host binder benchmarks" \
    "(a later version runs the command-line client here instead)" >&2
exec "${bench}" --benchmark_min_time=0.2 "$@"
