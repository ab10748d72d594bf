#!/usr/bin/env bash
# ABI gate of libvemra-qar-client: compares the library of a build against the committed baseline
# abi/libvemra-qar-client.abi and fails on any change that callers built against the baseline
# could notice.
#
#   scripts/abi-check.sh BUILD_DIR            # compare BUILD_DIR/libvemra-qar-client.so
#   scripts/abi-check.sh --update BUILD_DIR   # rewrite the baseline from it (intended change)
#
# The baseline is taken from the `default` preset (GCC, RelWithDebInfo); other presets describe
# the same ABI with different debug info (clang's in particular), so compare builds of that preset
# only.
#
# Exit status: 0 when the ABI is unchanged or only gained functions or variables, 1 on any other
# change (the report is printed), 2 when the check itself could not run.
#
# What passes: new exported functions and variables. Callers built against the baseline never
# refer to them, and everything they do refer to is unchanged. Everything else fails, whatever
# abidiff guesses about its compatibility: a removed function or variable, a changed signature or
# variable type, a changed size or layout of a type the public headers define, a virtual function
# added, removed or moved in a vtable. abidiff flags only a few of these as certainly incompatible
# (bit 8 of its status); the rest it reports as changes to be reviewed (bit 4), and the gate treats
# those as failures too. An intended change is accepted by rewriting the baseline with --update
# and committing it.
#
# Both sides are serialised by abidw with the same options and then compared as ABI XML, so the
# header restriction is the same for the baseline and the build.
set -euo pipefail

ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
BASELINE="${ROOT}/abi/libvemra-qar-client.abi"
LIBRARY_NAME="libvemra-qar-client.so"

usage() {
    echo "usage: $0 [--update] BUILD_DIR" >&2
    exit 2
}

update=0
if (($# > 0)) && [[ "$1" == "--update" ]]; then
    update=1
    shift
fi
(($# == 1)) || usage
build_dir="$1"
library="${build_dir}/${LIBRARY_NAME}"

for tool in abidw abidiff readelf; do
    if ! command -v "${tool}" >/dev/null 2>&1; then
        echo "abi-check: ${tool} not found; run scripts/setup.sh" >&2
        exit 2
    fi
done
if [[ ! -f "${library}" ]]; then
    echo "abi-check: ${library} not found; build the default preset first" >&2
    exit 2
fi
# Without debug info abidw sees symbols only, and every type change would pass unnoticed.
if ! readelf -S --wide "${library}" | grep -q '\.debug_info'; then
    echo "abi-check: ${library} has no debug info; use a build with -g (the default preset)" >&2
    exit 2
fi

# The public headers are those of the tree the build was configured from, which need not be this
# one (a copy built elsewhere is compared against this tree's baseline).
source_dir="${ROOT}"
if [[ -f "${build_dir}/CMakeCache.txt" ]]; then
    configured="$(sed -n 's/^CMAKE_HOME_DIRECTORY:INTERNAL=//p' "${build_dir}/CMakeCache.txt")"
    if [[ -n "${configured}" ]]; then
        source_dir="${configured}"
    fi
fi
headers="${source_dir}/include"
if [[ ! -d "${headers}" ]]; then
    echo "abi-check: public headers ${headers} not found" >&2
    exit 2
fi

# abidw options, the same for the baseline and for the build under test:
#   --headers-dir, --drop-private-types  types defined elsewhere than in the public headers (the
#       library's internals, the binder runtime's and the interface library's) are left as bare
#       declarations, so their layout may change freely. The standard library's types stay.
#   --exported-interfaces-only  only what is reachable from the exported symbols.
#   --no-corpus-path, --no-comp-dir-path, --no-show-locs, --short-locs  no directories, no
#       declaration files or lines, translation units by file name: the XML does not depend on
#       where the tree is checked out, and editing a comment in a header leaves it as it is.
#   --no-elf-needed  the libraries this one links against are not part of its interface.
#   --type-id-style hash  type ids derived from the types, so that an update of the baseline
#       changes only the lines of what changed.
abidw_options=(
    --headers-dir "${headers}"
    --drop-private-types
    --exported-interfaces-only
    --no-corpus-path
    --no-comp-dir-path
    --no-show-locs
    --short-locs
    --no-elf-needed
    --type-id-style hash
)

workdir="$(mktemp -d)"
trap 'rm -rf "${workdir}"' EXIT

current="${workdir}/current.abi"
if ! abidw "${abidw_options[@]}" --out-file "${current}" "${library}"; then
    echo "abi-check: abidw failed on ${library}" >&2
    exit 2
fi

# abidw orders the declarations of a translation unit by the full path of the file declaring them,
# so the XML of a tree checked out under /tmp lists them in another order than that of a tree under
# /home (the system headers are under /usr). Sorting the members of every translation unit and
# namespace, whose order carries no meaning, makes the baseline the same wherever it is written.
# Members of classes, parameters and enumerators keep their order. abidw writes one element per
# line, nested by indentation, and a closing tag on a line of its own.
canonicalise() {
    python3 - "$1" "$2" <<'PYTHON'
import sys

SORTED_SCOPES = ("<abi-instr ", "<namespace-decl ")

def parse(lines):
    root = ["", [], ""]
    stack = [root]
    for line in lines:
        text = line.strip()
        if text.startswith("</"):
            stack.pop()[2] = line
        elif text.endswith("/>"):
            stack[-1][1].append([line, [], ""])
        else:
            node = [line, [], ""]
            stack[-1][1].append(node)
            stack.append(node)
    if len(stack) != 1:
        sys.exit("abi-check: unbalanced ABI XML")
    return root

def render(node):
    children = [render(child) for child in node[1]]
    if node[0].strip().startswith(SORTED_SCOPES):
        children.sort()
    return node[0] + "".join(children) + node[2]

with open(sys.argv[1]) as source:
    tree = parse(source.readlines())
with open(sys.argv[2], "w") as target:
    target.write(render(tree))
PYTHON
}

if ((update)); then
    canonical="${workdir}/canonical.abi"
    canonicalise "${current}" "${canonical}"
    # The reordering must leave the ABI as abidw described it.
    if ! abidiff --no-default-suppression "${canonical}" "${current}" >"${workdir}/self.txt" 2>&1; then
        cat "${workdir}/self.txt" >&2
        echo "abi-check: the reordered XML differs from abidw's; baseline left unchanged" >&2
        exit 2
    fi
    mkdir -p "$(dirname "${BASELINE}")"
    cp "${canonical}" "${BASELINE}"
    echo "abi-check: baseline ${BASELINE#"${ROOT}/"} rewritten from ${library}"
    exit 0
fi

if [[ ! -f "${BASELINE}" ]]; then
    echo "abi-check: no baseline at ${BASELINE}; create it with $0 --update ${build_dir}" >&2
    exit 2
fi

# abidiff options:
#   --no-default-suppression  a suppression file in the caller's home directory must not change
#       the verdict.
#   --no-added-syms  new functions and variables are not reported (and do not count, see above).
#   --exported-interfaces-only  as for abidw.
report="${workdir}/report.txt"
status=0
abidiff --no-default-suppression --no-added-syms --exported-interfaces-only \
    "${BASELINE}" "${current}" >"${report}" 2>&1 || status=$?

# abidiff's status is a bit set: 1 error, 2 usage error, 4 ABI change, 8 incompatible change.
if ((status & 3)); then
    cat "${report}" >&2
    echo "abi-check: abidiff failed (status ${status})" >&2
    exit 2
fi
if ((status & 12)); then
    cat "${report}"
    echo "abi-check: FAILED: the ABI of ${library} differs from ${BASELINE#"${ROOT}/"}."
    echo "abi-check: if the change is intended, run $0 --update ${build_dir} and commit the baseline."
    exit 1
fi
echo "abi-check: ${library}: ABI matches ${BASELINE#"${ROOT}/"}"
