#!/usr/bin/env bash
# Checks that the host interface library (host/jorv) has the shape the AIDL compiler generates from
# aidl/: descriptors, transaction codes and flags, methods and their arguments, parcelable fields.
# Exits 0 when they match; otherwise prints a diff of the two signature tables and exits non-zero.
# The comparison itself is scripts/aidl_check.py, which says what it reads and what it allows for.
#
#   scripts/aidl-check.sh
#   AIDL_DIR=/tmp/aidl JORV_DIR=/tmp/jorv scripts/aidl-check.sh   # check other copies
set -euo pipefail

exec python3 "$(dirname "${BASH_SOURCE[0]}")/aidl_check.py"
