# shellcheck shell=bash
# SPDX-License-Identifier: Apache-2.0
# Sourced by the tests of plexorctl: the words that they are written in, and how a scenario gets a board. A test
# defines its scenarios, then says begin "$@", on_a for each board, and finish.

words=$(dirname "$(realpath "${BASH_SOURCE[0]}")")
checks=0
failures=0
out=
err=
status=0

wrong() { # WHAT...
    failures=$((failures + 1))
    printf 'FAILED: %s\n  status %s\n  output: %s\n  error:  %s\n' "$*" "$status" "$out" "$err" >&2
}

run() { # COMMAND...
    checks=$((checks + 1))
    out=$("$@" 2>"$scratch/error")
    status=$?
    err=$(<"$scratch/error")
}

lines_in() { # FILE
    wc -l <"$1"
}

# Succeeds, prints just this text (a pattern) and nothing on standard error.
prints() { # TEXT COMMAND...
    local text=$1
    shift
    run "$@"
    # shellcheck disable=SC2053 # a pattern is wanted
    [[ $status -eq 0 && $out == $text && ! $err ]] || wrong "prints '$text': $*"
}

# Prints one line of JSON for which the filter is true.
json() { # FILTER ARGUMENT...
    local filter=$1
    shift
    run plexorctl --json "$@"
    if [[ $status -ne 0 || $err || $out == *$'\n'* ]] || ! jq -e "$filter" >/dev/null <<<"$out"; then
        wrong "--json with $filter: $*"
    fi
}

# Ends with this status, no result, and one line on standard error that has this text (a pattern).
refused() { # STATUS TEXT COMMAND...
    local wanted=$1 text=$2
    shift 2
    run "$@"
    # shellcheck disable=SC2053
    [[ $status -eq $wanted && ! $out && $err == $text && $(lines_in "$scratch/error") -eq 1 ]] ||
        wrong "ends with $wanted and '$text': $*"
}

# What the board's contacts, LEDs or lines really do, as the outside world sees them.
on_board() { # EXPECTED FILTER
    run boardctl show --json
    local seen
    seen=$(jq -rc "$2" <<<"$out" 2>&1)
    [[ $status -eq 0 && $seen == "$1" ]] || wrong "board shows '$seen' and not '$1' for $2"
}

contacts() { # WORD... on or off for each outlet
    on_board "$*" '[.outlets[].closed | if . then "on" else "off" end] | join(" ")'
}

leds() { # WORD...
    on_board "$*" '[.outlets[].led | if . then "on" else "off" end] | join(" ")'
}

usage() { # TEXT ARGUMENT...
    local text=$1
    shift
    refused 2 "plexorctl: $text" plexorctl "$@"
}

fails() { # TEXT ARGUMENT...
    local text=$1
    shift
    refused 1 "plexorctl: $text" plexorctl "$@"
}

# Until a command succeeds; the time that it may take is far beyond what any machine needs.
await() { # COMMAND...
    local i
    checks=$((checks + 1))
    for ((i = 0; i < 3000; ++i)); do
        ! "$@" >/dev/null 2>&1 || return 0
        /bin/sleep 0.02
    done
    wrong "in vain: $*"
}

# Shows something that ends so (a pattern), and ends without a failure.
a_watch_ends_by() { # SIGNAL TEXT ARGUMENT...
    local signal=$1 text=$2 watch
    shift 2
    rm -f "$scratch/watch"
    plexorctl "$@" --watch >"$scratch/watch" 2>"$scratch/error" &
    watch=$!
    await test -s "$scratch/watch"
    kill -s "$signal" "$watch"
    wait "$watch"
    status=$? out=$(<"$scratch/watch") err=$(<"$scratch/error")
    checks=$((checks + 1))
    # shellcheck disable=SC2053
    [[ $status -eq 0 && ! $err && $out == $text ]] || wrong "a watch ends by $signal: $*"
}

tell_board() { # WORD... of boardctl
    run boardctl "$@"
    [[ $status -eq 0 ]] || wrong "boardctl $*"
}

fault() { tell_board fault "$@"; } # NAME on|off
board_param() { tell_board set "param.$1" "$2"; } # KEY VALUE

outlets() { # WORD... as plexorctl prints them
    local number=0 word
    for word in "$@"; do
        number=$((number + 1))
        printf 'Outlet %d  %s\n' "$number" "$word"
    done
}

inside() { # SCENARIO...
    [[ ${PLEXOR_APPLIANCE:-} == board ]] || {
        echo "${0##*/}: --inside is for plexor-run" >&2
        exit 2
    }
    scratch=$(mktemp -d)
    local scenario
    for scenario in "$@"; do
        "$scenario"
    done
    rm -rf "$scratch"
    echo "$*: $checks checks, $failures failed"
    [[ $checks -gt 0 && $failures -eq 0 ]]
}

on_a() { # MODEL RELAYS[+network] SCENARIO...
    local options=(--model "$1")
    [[ $2 == latching* ]] && options+=(--latching)
    [[ $2 == *+network ]] && options+=(--network)
    shift 2
    "$words/../../board/plexor-run" "${options[@]}" -- bash "$(realpath "$0")" --inside "$@" ||
        failures=$((failures + 1))
}

# In the appliance, runs the scenarios that on_a asks for and ends there.
begin() { # the script's arguments
    if [[ ${1:-} == --inside ]]; then
        shift
        inside "$@"
        exit
    fi
    [[ -x ${PLEXOR_BUILD:?names the build to test}/bin/plexorctl ]] || {
        echo "${0##*/}: $PLEXOR_BUILD has no bin/plexorctl" >&2
        exit 1
    }
}

finish() {
    [[ $failures -eq 0 ]]
}
