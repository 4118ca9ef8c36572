#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Four processes switch outlets of one board at once. Nothing locks the recorded off mask, so records can be lost;
# what must hold all the same: nobody fails, every relay stands as the last pulse left it, outlets that nobody
# switched stay as they were in every record, and one more switch of each outlet brings all records together.
set -u

if [[ ${PLEXOR_APPLIANCE:-} != board ]]; then
    here=$(dirname "$(realpath "$0")")
    exec "$here/../../board/plexor-run" --model 00C302 --latching -- "$(realpath "$0")"
fi

rounds=400
failures=0

expect() { # WHAT WANTED GOT
    [[ $2 == "$3" ]] && return
    failures=$((failures + 1))
    printf 'FAILED: %s\n  wanted %s\n  got    %s\n' "$1" "$2" "$3" >&2
}

# Starts one process for each list of outlets and waits; their reports are in $scratch/N.
switch_at_once() { # OUTLETS...
    local pids=() number=0 pid outlets
    for outlets in "$@"; do
        number=$((number + 1))
        # shellcheck disable=SC2086 # a list of outlets
        plexor-switcher $rounds $((seed + number)) $outlets >"$scratch/$number" &
        pids+=($!)
    done
    for pid in "${pids[@]}"; do
        wait "$pid"
        expect "exit status of process $pid" 0 $?
    done
    seed=$((seed + 10))
}

contact() { # OUTLET
    boardctl get contacts | cut -d' ' -f"$1"
}

# What the last pulse on an outlet's coils makes of its contact.
last_pulse() { # OUTLET
    boardctl events | grep -E "relay outlet $1: (set|reset) coil" | tail -1 |
        sed 's/.*: set coil/on/; s/.*: reset coil/off/'
}

off_mask_bit() { # OUTLET
    echo $((0x$(boardctl get offmask) >> ($1 - 1) & 1))
}

scratch=$(mktemp -d)
seed=1
plexord --boot >/dev/null || exit 1
plexorctl outlet all on >/dev/null || exit 1
plexorctl outlet off 7 >/dev/null || exit 1

# Each process has outlets of its own: its last switch of each is what the contact does.
switch_at_once "1" "2" "3 4" "5 6"
while read -r outlet state; do
    expect "contact of outlet $outlet" "$state" "$(contact "$outlet")"
done < <(cat "$scratch"/[1-4])

# All switch the same outlets: some order of the pulses is the right one, and the board tells which.
switch_at_once "1 2 3" "1 2 3" "1 2 3" "1 2 3"
for outlet in 1 2 3 4 5 6 7 8; do
    expect "contact of outlet $outlet after the last pulse" "$(last_pulse "$outlet")" "$(contact "$outlet")"
done

expect "record of outlet 7, off and not switched" 1 "$(off_mask_bit 7)"
expect "record of outlet 8, on and not switched" 0 "$(off_mask_bit 8)"
expect "contacts of outlets 7 and 8" "off on" "$(contact 7) $(contact 8)"
expect "violations" 0 "$(boardctl events | grep -c violation)"

sleep 0.3 # the board controller's cached record ages
for outlet in 1 2 3 4 5 6 7 8; do
    plexorctl outlet on "$outlet" >/dev/null || expect "switching outlet $outlet alone" 0 1
done
expect "contacts in the end" "on on on on on on on on" "$(boardctl get contacts)"
expect "record in the store" 0 "$(boardctl get offmask)"
expect "record in the board controller" 0 "$(boardctl get controller.1)"

echo "four processes, $((8 * rounds)) switches, $failures failures"
[[ $failures == 0 ]]
