#!/bin/sh
# Tests the script that runs programs with virtual cameras.
# Usage: nubrix-virtual-test.sh SCRIPT FOLDER, where FOLDER is the driver's.
set -u
unset NUBRIX_VIRTUAL_SCENARIO LD_LIBRARY_PATH
script=$1
folder=$(cd "$2" && pwd -P)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0

# check WHAT EXPECTED ACTUAL
check() {
    [ "$2" = "$3" ] && return
    echo "FAILED: $1: expected <$2>, got <$3>"
    failed=1
}

# check_text WHAT PART TEXT
check_text() {
    case $3 in
    *"$2"*) ;;
    *)
        echo "FAILED: $1: <$2> is not in <$3>"
        failed=1
        ;;
    esac
}

# refused WHAT PART ARGUMENT...: wrong use, reported on stderr
refused() {
    what=$1
    part=$2
    shift 2
    text=$("$script" "$@" 2>&1 >/dev/null)
    check "$what: status" 2 $?
    check_text "$what: message" "nubrix-virtual: $part" "$text"
    check_text "$what: usage" "Usage:" "$text"
}

text=$("$script" --help)
check "help: status" 0 $?
check_text "help: text" "--scenario FILE" "$text"

refused "no command" "there is no command to run"
refused "no command after a scenario" "there is no command to run" --scenario "$0"
refused "unknown option" "unknown option --colour" --colour true
refused "scenario without a file" "--scenario needs a file" --scenario
refused "scenario with an empty file" "--scenario needs a file" --scenario "" true
refused "missing scenario" "there is no scenario file $work/none" --scenario "$work/none" true

show='printf "%s|%s" "$LD_LIBRARY_PATH" "${NUBRIX_VIRTUAL_SCENARIO-none}"'
check "environment" "$folder|none" "$("$script" sh -c "$show")"
check "library path is kept" "$folder:/a:/b|none" \
    "$(LD_LIBRARY_PATH=/a:/b "$script" sh -c "$show")"
check "variable is kept" "$folder|/x" "$(NUBRIX_VIRTUAL_SCENARIO=/x "$script" sh -c "$show")"

echo '{}' >"$work/a b.json"
check "absolute scenario" "$folder|$work/a b.json" \
    "$("$script" --scenario "$work/a b.json" sh -c "$show")"
check "scenario with =" "$folder|$work/a b.json" \
    "$("$script" --scenario="$work/a b.json" -- sh -c "$show")"
check "relative scenario" "$folder|$work/a b.json" \
    "$(cd "$work" && "$script" --scenario "a b.json" sh -c "$show")"

ln -s "$script" "$work/link"
check "through a link" "$folder|none" "$(cd / && "$work/link" sh -c "$show")"

"$script" sh -c 'exit 7'
check "status of the command" 7 $?
check "arguments are not split" "a b|-c" "$("$script" printf '%s|%s' "a b" -c)"

exit $failed
