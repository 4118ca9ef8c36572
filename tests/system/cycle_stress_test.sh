#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Two processes that write the record of the power cycles and six that read it: what becomes of the outlets is always
# something that docs/busy-word.md lists.
set -uo pipefail

if [[ ${PLEXOR_APPLIANCE:-} != board ]]; then
    here=$(dirname "$(realpath "$0")")
    exec "$here/../../board/plexor-run" --model 00C302 --latching -- "$(realpath "$0")"
fi
# shellcheck source=tests/system/cycle_words.sh
source "$(dirname "$0")/cycle_words.sh"

rounds=60
failures=0

fail() { # TEXT
    failures=$((failures + 1))
    printf 'FAILED: %s\n' "$1" >&2
}

echo $$ >/run/pingmgr.pid # the tick looks for it
plexord --boot >/dev/null || exit 1
for meeting in $meetings; do
    seen=$(plexor-cycle-stress "$meeting" $rounds) || fail "$meeting: a process, or the record's repair"
    [[ $(grep -c "^$meeting" <<<"$seen") == "$rounds" ]] || fail "$meeting: not every round was played"
    unlisted=$(comm -23 <(sort -u <<<"$seen") <(rows "$meeting" | sed -E "s/^[a-z]+/$meeting/" | sort -u))
    [[ ! $unlisted ]] || fail "not listed: $unlisted"
    sort <<<"$seen" | uniq -c
done
[[ $failures == 0 ]]
