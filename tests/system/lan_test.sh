#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Appliances on one wire: they have their addresses, hear each other and the wire, and nothing of it is on the
# machine's own network. As the caller and, where that is root, as an ordinary user, too.
# shellcheck disable=SC2016,SC2317 # scripts for the wire are quoted whole; expect calls the functions
set -u

here=$(dirname "$(realpath "$0")")
lan_program=$(realpath "$here/../../board/plexor-lan")
checks=0
failures=0

# Runs COMMAND and expects its exit status and a pattern for what it prints, errors included.
expect() { # STATUS TEXT COMMAND...
    local want_status=$1 want_text=$2 text status
    shift 2
    checks=$((checks + 1))
    text=$("$@" 2>&1)
    status=$?
    # shellcheck disable=SC2053 # a pattern is wanted
    [[ $status == "$want_status" && $text == $want_text ]] && return
    failures=$((failures + 1))
    printf 'FAILED: %s\n  wanted %s | %s\n  got    %s | %s\n' "$*" \
        "$want_status" "$want_text" "$status" "$text" >&2
}

finish() {
    echo "$checks checks, $failures failed"
    ((failures == 0))
    exit
}

# --- on the wire ---

peer() { # [on APPLIANCE] DIRECTION ARGUMENT...
    local where=()
    [[ $1 != on ]] || { where=(on "$2") && shift 2; }
    timeout 20 "${where[@]}" /usr/bin/python3 "$here/lan_peer.py" "$@"
}

# What RECEIVER hears on a port while SENDER sends a text to HOST.
hears() { # RECEIVER SENDER HOST TEXT
    local receiver=() sender=() line
    [[ $1 == wire ]] || receiver=(on "$1")
    [[ $2 == wire ]] || sender=(on "$2")
    exec {ears}< <(peer "${receiver[@]}" receive 9258)
    read -r line <&"$ears" && [[ $line == ready ]] || return
    peer "${sender[@]}" send "$3" 9258 "$4"
    read -r line <&"$ears"
    exec {ears}<&-
    echo "$line"
}

on_the_wire() {
    expect 0 "*inet 10.23.0.1/24 *" on a ip -4 address show br0
    expect 0 "*inet 10.23.0.2/24 *" on b ip -4 address show br0
    expect 0 "*inet 10.24.0.2/24 *" on b ip -4 address show apcli0
    expect 0 "*link/ether 00:c3:02:01:02:03 *" on a ip link show eth2
    expect 0 "*link/ether 00:c3:18:01:02:04 *" on b ip link show eth2
    expect 0 "*link/ether 02:c3:18:01:02:04 *" on b ip link show apcli0
    expect 0 "default via 10.23.0.254 dev br0*" on a ip route
    expect 0 "00C318" on b boardctl get model
    expect 0 "10.23.0.1: hello" hears b a 10.23.0.2 hello
    expect 0 "10.23.0.2: hello" hears a b 10.23.0.1 hello
    expect 0 "10.23.0.1: all" hears b a 255.255.255.255 all
    expect 0 "10.23.0.2: all" hears a b 255.255.255.255 all
    expect 0 "10.23.0.2: all" hears wire b 255.255.255.255 all
    expect 0 "10.23.0.254: all" hears a wire 255.255.255.255 all
    expect 0 "mine" on b bash -c 'boardctl set param.key mine; boardctl get param.key'
    expect 0 "" on a boardctl get param.key
    expect 7 "" on a sh -c 'exit 7'
    expect 1 "plexor-run: no appliance runs in */c" on c true
    expect 2 "Usage, inside plexor-lan: on *" on a
    finish
}

[[ ${1:-} != --on-the-wire ]] || on_the_wire

# --- on the machine ---

lan() {
    "${user[@]}" env PLEXOR_BUILD="$PLEXOR_BUILD" TMPDIR="$scratch" "$lan_program" "$@"
}

# The scratch folder is the user's own; nothing may be left in it.
as_user() { # COMMAND TO BECOME THE USER...
    user=("$@")
    scratch=$("${user[@]}" mktemp -d "${TMPDIR:-/tmp}/plexor-test.XXXXXX")
    expect 0 "*, 0 failed" lan --model 00C302 --model 00C318 "$here/lan_test.sh" --on-the-wire
    expect 5 "" lan sh -c 'exit 5'
    expect 0 "$scratch/plexor-lan.*" lan --count 3 sh -c 'on c plexorctl info >/dev/null && echo $PLEXOR_LAN'
    expect 0 "*wire-a*wire-b*wire-c*" lan --count 3 ip -br link
    expect 1 "*no model 00C3;*plexor-lan: appliance b did not start" lan --model 00C302 --model 00C3 true
    expect 0 "" find "$scratch" -mindepth 1
    rmdir "$scratch"
}

cd / || exit 1
links=$(ip -br link)
expect 0 "Usage: plexor-lan*" "$lan_program" --help
expect 2 "plexor-lan: a COMMAND is needed;*" "$lan_program"
expect 2 "plexor-lan: unknown option --frob;*" "$lan_program" --frob
expect 2 "plexor-lan: --model needs an argument;*" "$lan_program" --model
expect 2 "plexor-lan: --count takes 1 to 9" "$lan_program" --count 10 true
expect 2 "plexor-lan: --count 1 is less*" "$lan_program" --count 1 --model 00C302 --model 00C302 true
as_user env
if [[ $(id -u) == 0 ]] && runuser -u nobody -- test -x "$PLEXOR_BUILD/bin/plexor-board"; then
    as_user runuser -u nobody --
fi
expect 0 "$links" ip -br link
finish
