#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# docs/busy_word.pml has every way in which two processes can meet in the record of the power cycles: what it promises
# holds, and what it finds possible is what docs/busy-word.md lists, no less and no more.
set -uo pipefail

# shellcheck source=tests/system/cycle_words.sh
source "$(dirname "$0")/cycle_words.sh"

failures=0

# Every state is visited; -n keeps unreached lines of the model to itself. What it prints for a state, and the verdict.
explore() { # DEFINE...
    local folder
    folder=$(mktemp -d)
    (
        cd "$folder" || exit
        spin "${@/#/-D}" -a "$docs/busy_word.pml" && ${CC:-cc} -w -O1 -DSAFETY -DNOREDUCE -o pan pan.c && ./pan -n
    )
    rm -r "$folder"
}

promises_hold() { # WHAT EXPLORED
    grep -q 'errors: 0' <<<"$2" && ! grep -q 'max search depth too small' <<<"$2" && return
    failures=$((failures + 1))
    printf 'FAILED: what the model promises of %s\n%s\n' "$1" "$2" >&2
}

outcomes() { # EXPLORED
    grep -E '^(apart|overlap) \||^a cycle has|^while a process' <<<"$1" | sort -u
}

listed() { # MEETING
    { rows "$1" && remarks "$1"; } | sort -u
}

for meeting in $meetings; do
    explored=$(explore "$meeting")
    promises_hold "$meeting" "$explored"
    diff -u --label model --label docs/busy-word.md <(outcomes "$explored") <(listed "$meeting") >&2 ||
        failures=$((failures + 1))
    promises_hold "$meeting with a death" "$(explore "$meeting" KILLED)"
done

[[ $failures == 0 ]]
