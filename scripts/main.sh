#!/usr/bin/env bash
# The project's main job: build the command-line client (qarctl) and the reference service
# (jorv-sim), then run a scripted session that shows, side by side, what the library sends and
# what the service receives. See scripts/session.sh.
set -euo pipefail

ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
cd "${ROOT}"

scripts/setup.sh

cmake --preset default >/dev/null
cmake --build --preset default --target qarctl jorv-sim

exec scripts/session.sh "${ROOT}/build/default"
