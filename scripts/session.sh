#!/usr/bin/env bash
# A scripted session on this workstation: the reference service (jorv-sim) in the background and
# the command-line client (qarctl) driving the library through it. Both sides are printed in the
# order things happen:
#
#   [client]    qarctl's commands and the library's results
#   [client log] the library's ERROR lines (connection loss and the like)
#   [service]   one line per transaction the service received, and its callbacks
#   [listener]  a second client process that listens to a resource
#
# Usage: scripts/session.sh [BUILD_DIR]   (default build/default; built by scripts/main.sh)
set -euo pipefail

ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
BUILD="${1:-${ROOT}/build/default}"
SIM="${BUILD}/tools/jorv-sim"
CTL="${BUILD}/tools/qarctl"
for program in "${SIM}" "${CTL}"; do
    [[ -x "${program}" ]] || { echo "session: ${program} is not built" >&2; exit 1; }
done

WORK="$(mktemp -d /tmp/qar-session-XXXXXX)"
export HOSTBINDER_DIR="${WORK}"
SERVICE_OUT="${WORK}/service.out"
LISTENER_OUT="${WORK}/listener.out"
CLIENT_LOG="${WORK}/client.log"
# The session's timeline, kept after it: each service run streams its own --trace file as things
# happen (so the run killed with SIGKILL leaves one too), and the files are merged into one at the
# end.
TRACE="${BUILD}/session-trace.json"
MERGE="${ROOT}/tools/jorv-sim/merge-traces.py"
TRACE_PARTS=()
service_pid=""
listener_pid=""
service_seen=0
listener_seen=0
client_log_seen=0

cleanup() {
    [[ -n "${listener_pid}" ]] && kill "${listener_pid}" 2>/dev/null || true
    [[ -n "${service_pid}" ]] && kill "${service_pid}" 2>/dev/null || true
    if [[ -n "${CLIENT_PID:-}" ]]; then
        exec {CLIENT[1]}>&- 2>/dev/null || true
        wait "${CLIENT_PID}" 2>/dev/null || true
    fi
    rm -rf "${WORK}"
}
trap cleanup EXIT

step() { printf '\n== %s\n' "$*"; }

# Prints the lines a file gained since the last call, with a prefix. $1 file, $2 prefix, $3 the
# name of the variable that remembers how many lines were shown.
show_news() {
    local file="$1" prefix="$2" seen_var="$3"
    [[ -f "${file}" ]] || return 0
    local total
    total=$(wc -l <"${file}")
    if ((total > ${!seen_var})); then
        tail -n "+$((${!seen_var} + 1))" "${file}" | head -n "$((total - ${!seen_var}))" |
            sed "s/^/${prefix} /"
        printf -v "${seen_var}" '%d' "${total}"
    fi
}

show_all_news() {
    show_news "${SERVICE_OUT}" "  [service]   " service_seen
    show_news "${LISTENER_OUT}" "  [listener]  " listener_seen
    show_news "${CLIENT_LOG}" "  [client log]" client_log_seen
}

# Waits (up to 15 s) until `grep -q PATTERN FILE` succeeds.
wait_for() {
    local pattern="$1" file="$2"
    for _ in $(seq 300); do
        grep -q -- "${pattern}" "${file}" 2>/dev/null && return 0
        sleep 0.05
    done
    echo "session: gave up waiting for \"${pattern}\" in ${file##*/}" >&2
    return 1
}

start_service() {
    TRACE_PARTS+=("${WORK}/trace.${#TRACE_PARTS[@]}.json")
    "${SIM}" --die-with-parent --trace "${TRACE_PARTS[-1]}" >>"${SERVICE_OUT}" 2>/dev/null &
    service_pid=$!
    wait_for "^ready .* pid=${service_pid} " "${SERVICE_OUT}"
    show_all_news
}

# Runs one command in the long-lived client and prints what it printed. The service line of the
# call is written before its reply is sent, so it is shown first.
LAST_RESULT=""
client() {
    printf '  [client]    qarctl> %s\n' "$*"
    printf '%s\n' "$*" >&"${CLIENT[1]}"
    local line
    while IFS= read -r line <&"${CLIENT[0]}"; do
        [[ "${line}" == "done status="* ]] && break
        [[ "${line}" == *" -> "* ]] && LAST_RESULT="${line#* -> }" && LAST_RESULT="${LAST_RESULT%% *}"
        CLIENT_LINES+=("${line}")
    done
    show_news "${SERVICE_OUT}" "  [service]   " service_seen
    for line in "${CLIENT_LINES[@]}"; do printf '  [client]    %s\n' "${line}"; done
    CLIENT_LINES=()
    show_news "${CLIENT_LOG}" "  [client log]" client_log_seen
}
CLIENT_LINES=()

step "start the reference service (HOSTBINDER_DIR=${WORK})"
: >"${SERVICE_OUT}"
rm -f "${TRACE}"
start_service

step "a second process listens to resource 0x40800000 (jorvResListeningRegister)"
"${CTL}" --quiet listen 0x40800000 --count 1 --timeout-ms 20000 >"${LISTENER_OUT}" 2>&1 &
listener_pid=$!
wait_for "listeningRegister" "${SERVICE_OUT}"
wait_for "jorvResListeningRegister" "${LISTENER_OUT}"
show_all_news

step "one client process runs the commands below, so its connections carry over"
# Library log lines go to a file; only ERROR lines (" E ") are shown.
coproc CLIENT { exec "${CTL}" shell 2> >(grep --line-buffered ' E ' >"${CLIENT_LOG}"); }

step "acquire an action by name (QarEventAcquireWrapper)"
client acquire TRIVEX_ACTION_TOUCH_BOOST --scene com.example.app --identity demo --timeout 5000
action_handle="${LAST_RESULT}"

step "query the resource's state (jorvResStateRequest): nothing set yet"
client res-state 0x40800000

step "request a value for it (jorvResCtlRequest): the listener is called back"
client request 0x40800000=1500 --param1 10000
wait_for "callback" "${LISTENER_OUT}"
wait_for "exit\|jorvResListeningUnRegister" "${LISTENER_OUT}" || true
show_all_news
client res-state 0x40800000

step "a notification becomes a rule switch (QarNotifyWapper, source 9000)"
client notify 9000 1 0 "1,2"

step "release the action (QarReleaseWapper)"
client release "${action_handle}"

step "the service is killed (SIGKILL)"
kill -9 "${service_pid}"
wait "${service_pid}" 2>/dev/null || true
service_pid=""
sleep 0.2  # let the death notice reach the client's log before it is shown
show_all_news
client qar-init

step "the service comes back; the next calls reconnect"
start_service
client request 0x40800000=1200 --param1 10000
client acquire TRIVEX_ACTION_LAUNCH --scene com.example.app --identity demo

step "stop the service (SIGTERM)"
kill -TERM "${service_pid}"
wait "${service_pid}" 2>/dev/null || true
service_pid=""
show_all_news
echo
echo "session: done. Every line marked [service] is a transaction the library sent."
if python3 "${MERGE}" "${TRACE}" "${TRACE_PARTS[@]}" && [[ -s "${TRACE}" ]]; then
    echo "session: the timeline of both service runs (killed, then stopped) is in ${TRACE}"
    echo "  open it in ui.perfetto.dev (Open trace file) or chrome://tracing (Load)"
else
    echo "session: the services' timelines could not be merged into ${TRACE}" >&2
    exit 1
fi
