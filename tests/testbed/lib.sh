# Shared by the test bed's test scripts (selftest, net-front-test): checks, counting, summary.
# shellcheck shell=bash

TESTBED=${TESTBED:-$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/testbed}
PASSED=0
FAILED=0
CHECK_OUT=$(mktemp /tmp/testbed-check.XXXXXX)
trap 'rm -f "$CHECK_OUT"' EXIT

_result() {
    local ok=$1 name=$2
    if ((ok)); then
        PASSED=$((PASSED + 1))
        printf 'ok      %s\n' "$name"
    else
        FAILED=$((FAILED + 1))
        printf 'FAILED  %s\n' "$name"
        sed 's/^/        | /' "$CHECK_OUT" | head -n 25
    fi
}

# check NAME CMD...: passes when CMD exits 0.
check() {
    local name=$1; shift
    if "$@" >"$CHECK_OUT" 2>&1; then _result 1 "$name"; else _result 0 "$name"; fi
}

# check_fails NAME CMD...: passes when CMD exits non-zero.
check_fails() {
    local name=$1; shift
    if "$@" >"$CHECK_OUT" 2>&1; then _result 0 "$name"; else _result 1 "$name"; fi
}

# check_output NAME REGEX CMD...: passes when CMD exits 0 and its output matches REGEX.
check_output() {
    local name=$1 regex=$2; shift 2
    if "$@" >"$CHECK_OUT" 2>&1 && grep -Eq -- "$regex" "$CHECK_OUT"; then
        _result 1 "$name"
    else
        { echo "(expected /$regex/)"; cat "$CHECK_OUT"; } >"$CHECK_OUT.x"; mv "$CHECK_OUT.x" "$CHECK_OUT"
        _result 0 "$name"
    fi
}

# check_fails_with NAME REGEX CMD...: passes when CMD exits non-zero and its output matches REGEX.
check_fails_with() {
    local name=$1 regex=$2; shift 2
    if ! "$@" >"$CHECK_OUT" 2>&1 && grep -Eq -- "$regex" "$CHECK_OUT"; then
        _result 1 "$name"
    else
        { echo "(expected a failure with /$regex/)"; cat "$CHECK_OUT"; } >"$CHECK_OUT.x"
        mv "$CHECK_OUT.x" "$CHECK_OUT"
        _result 0 "$name"
    fi
}

# check_no_output NAME REGEX CMD...: passes when CMD's output does not match REGEX.
check_no_output() {
    local name=$1 regex=$2; shift 2
    "$@" >"$CHECK_OUT" 2>&1 || true
    if grep -Eq -- "$regex" "$CHECK_OUT"; then _result 0 "$name"; else _result 1 "$name"; fi
}

# tb ARGS...: the test bed of this run.
tb() { "$TESTBED" --id "$RUN_ID" "$@"; }
# in_server CMD...: a command in the server's view.
in_server() { tb exec "$@"; }

now() { date +%s.%N; }
seconds_since() { awk -v a="$1" -v b="$(now)" 'BEGIN { printf "%.1f", b - a }'; }

summary() {
    echo "$PASSED passed, $FAILED failed"
    ((FAILED == 0))
}
