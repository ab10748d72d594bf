#!/usr/bin/env bash
# Installs the Debian packages the host build needs. Safe to run repeatedly:
# it only touches apt when something is actually missing, and says nothing
# when everything is already there.
set -euo pipefail

packages=(
    cmake
    ninja-build
    blueprint-tools        # bpfmt, to check the format of Android.bp
    g++
    clang
    libclang-rt-14-dev     # sanitizer and libFuzzer runtimes for clang
    libgtest-dev
    libgmock-dev
    libbenchmark-dev
    android-liblog-dev     # host build of liblog, used by the binder runtime
    android-libcutils-dev  # host build of libcutils, used by the client library
    android-libbase-dev    # unique_fd, full reads and writes and lock annotations for host-only code
    binutils               # nm, for checking exported symbols
    abigail-tools          # abidw, abidiff: the ABI gate (scripts/abi-check.sh)
    aidl                   # AIDL compiler, for scripts/aidl-check.sh
    python3                # the two gates' comparison and baseline scripts
    gcovr                  # line coverage (scripts/coverage.sh)
)

missing=()
for pkg in "${packages[@]}"; do
    status="$(dpkg-query -W -f='${Status}' "${pkg}" 2>/dev/null || true)"
    if [[ "${status}" != "install ok installed" ]]; then
        missing+=("${pkg}")
    fi
done

if ((${#missing[@]} == 0)); then
    exit 0
fi

as_root=()
if ((EUID != 0)); then
    if ! command -v sudo >/dev/null 2>&1; then
        echo "setup: missing packages (${missing[*]}) and no sudo to install them; run as root." >&2
        exit 1
    fi
    as_root=(sudo)
fi

echo "setup: installing ${missing[*]}"
"${as_root[@]}" apt-get update
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y --no-install-recommends "${missing[@]}"
