#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# plexorctl net on a kernel of its own: what it shows and sets, in the kernel's own words.
# Takes no arguments; PLEXOR_BUILD names the build to test.
set -u

# shellcheck source=tests/system/plexorctl_words.sh
. "$(dirname "$(realpath "$0")")/plexorctl_words.sh"

# What the kernel says, by iproute2.
kernel() { # EXPECTED FILTER OBJECT ARGUMENT...
    local expected=$1 filter=$2
    shift 2
    run ip -json "$@"
    out=$(jq -rc "$filter" <<<"$out" 2>&1)
    [[ $out == "$expected" ]] || wrong "the kernel has '$expected' for: ip $*"
}

address_is() { kernel "$1" '[.[0].addr_info[] | select(.family == "inet") | "\(.local)/\(.prefixlen)"] | join(" ")' address show br0; }
routes_are() { kernel "$1" '[.[] | select(.gateway) | .gateway] | join(" ")' route show dev br0; }
state_is() { kernel "$1" '.[0].flags | index("UP") != null' link show br0; }

resolver_has() { # TEXT
    run cat /etc/resolv.conf
    [[ $out == "$1" ]] || wrong "/etc/resolv.conf has '$1'"
}

an_interface_is_shown() {
    prints 'Interface   br0
Address     10.23.0.1
Netmask     255.255.255.0
Hardware    00:C3:02:01:02:03
Flags       0x1043 up running broadcast multicast
Gateway     10.23.0.254
DNS         none' plexorctl net show
    json '.interface == "br0" and .address == "10.23.0.1" and .netmask == "255.255.255.0"' net show br0
    json '.hardware == "00:C3:02:01:02:03" and .gateway == "10.23.0.254" and .dns == null' net show
    json '.flags == 4163 and .flag_names == ["up", "running", "broadcast", "multicast"]' net show
    prints $'Interface   lo\nAddress     127.0.0.1\nNetmask     255.0.0.0\n*loopback\nGateway     none\n*' plexorctl net show lo
    json '.address == null and .netmask == null and .gateway == null' net show eth2
}

everything_is_set_at_once() {
    prints $'*Address     172.16.5.6\nNetmask     255.255.255.128\n*Gateway     172.16.5.1\nDNS         9.9.9.9' \
        plexorctl net set --address 172.16.5.6 --netmask 255.255.255.128 --gateway 172.16.5.1 --dns 9.9.9.9
    address_is 172.16.5.6/25
    routes_are 172.16.5.1
    resolver_has 'nameserver 9.9.9.9'
}

each_is_set_alone() {
    json '.gateway == "172.16.5.2"' net set br0 --gateway 172.16.5.2
    routes_are 172.16.5.2
    json '.dns == "1.2.3.4"' net set --dns 1.2.3.4
    resolver_has 'nameserver 1.2.3.4'
    json '.netmask == "255.255.0.0"' net set --netmask 255.255.0.0
    address_is 172.16.5.6/16
    json '.address == "192.168.7.7" and .netmask == "255.255.255.0" and .gateway == null' net set --address 192.168.7.7
    address_is 192.168.7.7/24
}

an_interface_goes_down_and_up() {
    json '.flag_names | index("up") == null' net set --down
    state_is false
    fails 'nothing was set: br0 is down and takes no gateway; accepted together with --up' net set --gateway 192.168.7.1
    json '.gateway == "192.168.7.1"' net set --up --gateway 192.168.7.1
    state_is true
    routes_are 192.168.7.1
}

nothing_is_changed_when_one_value_is_wrong() {
    local good=(--address 10.1.1.1 --dns 8.8.8.8 --down)
    usage "'255.0.255.0' is no netmask; accepted: A.B.C.D with ones before zeros" net set "${good[@]}" --netmask 255.0.255.0
    usage "'x' is no address; accepted: A.B.C.D with A from 1 to 223" net set --dns 8.8.8.8 --address x
    usage "'1.2.3' is no name server; accepted: *" net set --address 10.1.1.1 --dns 1.2.3
    usage "'224.0.0.1' is no gateway; accepted: *" net set --address 10.1.1.1 --gateway 224.0.0.1
    fails 'nothing was set: the gateway 10.2.1.1 lies outside the network of 10.1.1.1, netmask 255.255.255.0' \
        net set --address 10.1.1.1 --netmask 255.255.255.0 --gateway 10.2.1.1
    fails 'nothing was set: the gateway 11.1.1.1 lies outside the network of 10.1.1.1, netmask 255.0.0.0' \
        net set --address 10.1.1.1 --gateway 11.1.1.1
    fails 'nothing was set: the gateway 192.168.8.1 lies outside *' net set --gateway 192.168.8.1 --dns 8.8.8.8
    address_is 192.168.7.7/24
    resolver_has 'nameserver 1.2.3.4'
    routes_are 192.168.7.1
    state_is true
}

wrong_words_are_told_in_one_line() {
    local word
    usage 'there is nothing to set; accepted: --address, --netmask, --gateway, --dns, --up, --down' net set
    usage '--up and --down are both given; accepted: one of them' net set --up --down
    usage 'an interface that is down has no gateway; accepted: *' net set --down --gateway 192.168.7.1
    for word in 0.0.0.0 127.0.0.0.1 256.1.1.1 ' 1.1.1.1' 1.1.1.1/24 255.255.255.255 ''; do
        usage "'$word' is no address; accepted: *" net set --address "$word"
    done
    usage "'0.0.0.0' is no netmask; accepted: *" net set --netmask 0.0.0.0
    for word in '' 'a b' 'a/b' abcdefghijklmnop; do
        usage "'$word' is no interface; accepted: 1 to 15 characters without blanks and '/'" net show "$word"
    done
    fails 'there is no interface br7' net show br7
    fails 'there is no interface br7' net set br7 --up
    fails 'nothing was set: eth2 has no address; accepted together with --address' net set eth2 --netmask 255.0.0.0
    usage "'--address' needs a value" net set --address
}

what_the_kernel_refuses_is_told() {
    local powerless=(setpriv --bounding-set=-net_admin --inh-caps=-net_admin plexorctl net set)
    refused 1 'plexorctl: the address of br0 was not set: the kernel refused; --verbose shows why' \
        "${powerless[@]}" --address 10.1.1.1
    refused 1 'plexorctl: the netmask of br0 was not set: *' "${powerless[@]}" --netmask 255.255.0.0
    refused 1 'plexorctl: the gateway of br0 was not set: *' "${powerless[@]}" --gateway 192.168.7.9
    refused 1 'plexorctl: the state of br0 was not set: *' "${powerless[@]}" --down
    run "${powerless[@]}" -v --address 10.1.1.1
    [[ $status -eq 1 && $err == *'SIOCSIFADDR: Operation not permitted'* ]] || wrong 'the reason is shown'
    address_is 192.168.7.7/24
}

an_appliance_without_a_network_is_told() {
    fails 'there is no interface br0' net show
    fails 'there is no interface br0' net set --dns 1.2.3.4
    json '.interface == "lo" and .gateway == null and .dns == null' net show lo
}

begin "$@"
on_a 00C302 ordinary+network an_interface_is_shown everything_is_set_at_once each_is_set_alone \
    an_interface_goes_down_and_up nothing_is_changed_when_one_value_is_wrong wrong_words_are_told_in_one_line \
    what_the_kernel_refuses_is_told
on_a 00C335 ordinary an_appliance_without_a_network_is_told
finish
