#!/usr/bin/env bash
# Line coverage of the library and the host runtime by the test suites.
#
#   scripts/coverage.sh            # build the coverage preset, run its tests, print the table
#   scripts/coverage.sh --html     # also write build/coverage/html/index.html
#
# Counters are reset before the run, so the figures are those of one full ctest run.
set -euo pipefail

ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
cd "${ROOT}"

scripts/setup.sh

build=build/coverage
cmake --preset coverage >/dev/null
cmake --build --preset coverage
find "${build}" -name '*.gcda' -delete
# A failing test still leaves its counters; the table is printed either way, the status kept.
status=0
ctest --preset coverage --parallel "${QAR_TEST_JOBS:-2}" >"${build}/ctest.log" 2>&1 || status=$?
tail -n 3 "${build}/ctest.log"

folders=(halclient qar wrapper common host/binder/src)
filters=()
for folder in "${folders[@]}"; do
    filters+=(--filter "${folder}/")
done
gcovr_args=(--root . --object-directory "${build}" "${filters[@]}" --exclude-unreachable-branches)
outputs=(--json-summary "${build}/summary.json")
if [[ "${1:-}" == --html ]]; then
    mkdir -p "${build}/html"
    outputs+=(--html-details "${build}/html/index.html")
fi
# One gcov pass for every report. gcov's complaints about files outside the filters (CMake's
# probes) go to a log, not the table.
gcovr "${gcovr_args[@]}" "${outputs[@]}" >/dev/null 2>"${build}/gcovr.log"
[[ "${1:-}" == --html ]] && echo "HTML report: ${build}/html/index.html"

python3 - "${build}/summary.json" "${folders[@]}" <<'PY'
import json, sys
summary = json.load(open(sys.argv[1]))
folders = sys.argv[2:]
totals = {f: [0, 0] for f in folders}
for entry in summary["files"]:
    for folder in folders:
        if entry["filename"].startswith(folder + "/"):
            totals[folder][0] += entry["line_covered"]
            totals[folder][1] += entry["line_total"]
print(f"{'folder':<18}{'lines':>8}{'covered':>9}{'cover':>8}")
for folder, (covered, total) in totals.items():
    if total:
        print(f"{folder:<18}{total:>8}{covered:>9}{100.0 * covered / total:>7.1f}%")
PY
exit "${status}"
