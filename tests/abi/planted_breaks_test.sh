#!/usr/bin/env bash
# The ABI gate (scripts/abi-check.sh) against the committed baseline, on library builds of a copy of
# the tree made in a temporary directory:
#   1. unchanged: the gate passes (also shows that the checkout path does not matter);
#   2. a field added to QarClient::Resource: the gate fails and names the field;
#   3. IClientCallback's virtual functions reordered (onCallback before the destructor), which moves
#      onCallback to another vtable slot: the gate fails and reports the slot change.
# The tree itself is not touched. Only the library and what it links are built, incrementally
# between the steps.
#
#   planted_breaks_test.sh SOURCE_DIR CMAKE GENERATOR C_COMPILER CXX_COMPILER
set -euo pipefail

if (($# != 5)); then
    echo "usage: $0 SOURCE_DIR CMAKE GENERATOR C_COMPILER CXX_COMPILER" >&2
    exit 2
fi
source_dir="$1"
cmake="$2"
generator="$3"
c_compiler="$4"
cxx_compiler="$5"
gate="${source_dir}/scripts/abi-check.sh"

work="$(mktemp -d)"
trap 'rm -rf "${work}"' EXIT
copy="${work}/src"
build="${work}/build"

fail() {
    echo "FAIL: $*" >&2
    exit 1
}

# What the library's build needs, and the tools it configures; tests, benchmarks and fuzzers are
# left out.
mkdir -p "${copy}"
for entry in CMakeLists.txt cmake host include common halclient qar wrapper tools libvemra-qar-client.map.txt; do
    cp -R "${source_dir}/${entry}" "${copy}/"
done
cp "${copy}/include/QarResource.h" "${work}/QarResource.h"

"${cmake}" -S "${copy}" -B "${build}" -G "${generator}" \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCMAKE_C_COMPILER="${c_compiler}" -DCMAKE_CXX_COMPILER="${cxx_compiler}" \
    -DQAR_BUILD_TESTS=OFF -DQAR_BUILD_BENCH=OFF -DQAR_BUILD_FUZZERS=OFF >/dev/null

build_library() {
    "${cmake}" --build "${build}" --target vemra-qar-client -j2 >"${work}/build.log" 2>&1 ||
        { cat "${work}/build.log" >&2; fail "the library did not build ($1)"; }
}

# Runs the gate on the copy's build; expects exit status $1 and, when failing, $2 in the report.
expect_gate() {
    local expected="$1" pattern="${2:-}" status=0
    "${gate}" "${build}" >"${work}/gate.txt" 2>&1 || status=$?
    cat "${work}/gate.txt"
    ((status == expected)) || fail "the gate exited with ${status}, expected ${expected}"
    if [[ -n "${pattern}" ]] && ! grep -q -- "${pattern}" "${work}/gate.txt"; then
        fail "the gate's report does not mention '${pattern}'"
    fi
}

# Applies a sed script to a file of the copy and checks that it changed it.
plant() {
    local file="$1" script="$2" probe="$3"
    sed -i "${script}" "${copy}/${file}"
    grep -q -- "${probe}" "${copy}/${file}" || fail "could not plant '${probe}' in ${file}"
}

echo "== unchanged library"
build_library unchanged
expect_gate 0

echo "== a field added to QarClient::Resource"
plant include/QarResource.h \
    's/^\(    std::optional<std::string> value;\)$/\1\n    int32_t abiGateProbe = 0;/' \
    abiGateProbe
build_library "field added"
expect_gate 1 "'int32_t abiGateProbe', at offset"

echo "== IClientCallback's virtual functions reordered"
cp "${work}/QarResource.h" "${copy}/include/QarResource.h"
sed -i -e '/^    virtual ~IClientCallback() = default;$/{h;d}' \
    -e '/^    virtual void onCallback(std::list<QarClient::Resource> resources) = 0;$/G' \
    "${copy}/include/JorvClientCallback.h"
grep -A1 'virtual void onCallback(std::list' "${copy}/include/JorvClientCallback.h" |
    grep -q '~IClientCallback' || fail "could not reorder IClientCallback's virtual functions"
build_library "virtual functions reordered"
expect_gate 1 "IClientCallback::onCallback(.*) changed from 2 to 0"

echo "PASS: the gate passes the unchanged library and fails both planted breaks"
