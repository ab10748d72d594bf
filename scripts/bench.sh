#!/usr/bin/env bash
# Builds the default configuration and runs every benchmark (bench/). Extra arguments go to each
# benchmark program (for example --benchmark_filter=Lookup).
set -euo pipefail

ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
cd "${ROOT}"

scripts/setup.sh

cmake --preset default >/dev/null
cmake --build --preset default

for bench in build/default/bench/*_bench; do
    [[ -x "${bench}" ]] || continue
    echo "==> ${bench##*/}"
    "${bench}" --benchmark_min_time=0.2 "$@"
done
