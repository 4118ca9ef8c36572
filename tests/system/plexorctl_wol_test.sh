#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# plexorctl wol, with somebody on the network who hears the packet.
# Takes no arguments; PLEXOR_BUILD names the build to test.
set -u

# shellcheck source=tests/system/plexorctl_words.sh
. "$(dirname "$(realpath "$0")")/plexorctl_words.sh"
# shellcheck source=tests/system/plexord_words.sh
. "$(dirname "$(realpath "$0")")/plexord_words.sh"

# Writes what comes to a port of the network's far end, in hexadecimal digits, until it is one packet.
listen() { # PORT FILE
    /usr/bin/python3 - "$@" <<'END' &
import os
import socket
import sys

port, path = sys.argv[1:]
heard = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
heard.setsockopt(socket.SOL_SOCKET, socket.SO_BROADCAST, 1)
heard.bind(("255.255.255.255", int(port)))
open(path + ".ready", "w").close()
packet = heard.recv(2000)
with open(path + ".part", "w") as file:
    file.write(packet.hex() + "\n")
os.rename(path + ".part", path)
END
    await test -e "$2.ready"
}

the_packet_wakes_the_address_of_the_outlet() {
    local packet
    board_param WakeOnLan_PX '001122334455;a0B1c2D3e4F5'
    listen 4471 "$scratch/packet"
    prints 'Outlet 2  packet sent to wake a0B1c2D3e4F5; whether it arrives is not known here' plexorctl wol 2
    await test -e "$scratch/packet"
    packet=$(<"$scratch/packet")
    checks=$((checks + 1))
    [[ $packet == ffffffffffff$(printf 'a0b1c2d3e4f5%.0s' {1..16}) ]] || wrong "the packet is $packet"
    json '. == {outlet: 1, address: "001122334455"}' wol 1
}

fields_that_are_empty_do_not_count() {
    board_param WakeOnLan_PX '112233445566;;665544332211;;'
    json '.address == "665544332211"' wol 2
    fails 'outlet 3 has no address to wake: the parameter WakeOnLan_PX has no field for it, and fields that are empty do not count' wol 3
    board_param WakeOnLan_PX ''
    fails 'outlet 1 has no address to wake: *' wol 1
}

an_address_that_is_none_is_told() {
    local word
    for word in 11223344556 1122334455667 11:22:33:44:55:66 11223344556g 112233P45566 ' 12233445566'; do
        board_param WakeOnLan_PX "$word"
        fails "'$word' is no address to wake; accepted in the parameter WakeOnLan_PX: 12 hexadecimal digits for each outlet" wol 1
    done
    board_param WakeOnLan_PX $'\e[2J\n'
    fails "'?\[2J?' is no address to wake; *" wol 1
    board_param WakeOnLan_PX "$(printf '112233445566;%.0s' {1..9})1122334455667788"
    json '.address == "112233445566"' wol 8
}

wrong_words_are_told_in_one_line() {
    usage "'9' is no outlet; accepted: 1 to 8" wol 9
    usage "'' is no outlet; accepted: 1 to 8" wol ''
    usage '0 arguments given; accepted: plexorctl wol N' wol
}

a_packet_that_goes_nowhere_is_told() {
    board_param WakeOnLan_PX 112233445566
    fails 'no packet was sent: Network is unreachable' wol 1
    usage "'5' is no outlet; accepted: 1 to 4" wol 5
    fault ethernet-address on
    fails 'the Ethernet address *' wol 1
}

begin "$@"
on_a 00C302 ordinary+network the_packet_wakes_the_address_of_the_outlet fields_that_are_empty_do_not_count \
    an_address_that_is_none_is_told wrong_words_are_told_in_one_line
on_a 00C335 ordinary a_packet_that_goes_nowhere_is_told
finish
