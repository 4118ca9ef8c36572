#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# plexorctl's power cycles and off delays, with plexord to count them. The calendar is driven: no cycle is waited for
# in its own time.
# Takes no arguments; PLEXOR_BUILD names the build to test.
set -u

# shellcheck source=tests/system/plexorctl_words.sh
. "$(dirname "$(realpath "$0")")/plexorctl_words.sh"
# shellcheck source=tests/system/plexord_words.sh
. "$(dirname "$(realpath "$0")")/plexord_words.sh"

idle() { # OUTLETS, which are all idle
    local number
    for ((number = 1; number <= $1; ++number)); do
        printf 'Outlet %d  idle\n' "$number"
    done
}

a_cycle_needs_somebody_to_end_it() {
    prints 'No cycle was ever asked for' plexorctl cycles
    json '. == {cycles: null}' cycles
    board_param IO_number 0
    fails 'not booted: *' outlet cycle 1 5
    fails 'not booted: *' off-delay 1
    prints '*' plexord --boot
    fails 'outlet 1 was not cycled: nobody would switch it back; run plexord' outlet cycle 1 5
    contacts off off off off off off off off
    prints 'No cycle was ever asked for' plexorctl cycles
}

an_outlet_is_cycled() {
    start_plexord
    it_is '2026-11-21 12:00:00'
    prints 'Outlet 3  on' plexorctl outlet on 3
    prints 'Outlet 3  off for 9000 s, then on' plexorctl outlet cycle 3 9000
    contacts off off off off off off off off
    awaits '.cycles[2].elapsed > 0'
    prints $'Outlet 1  idle\nOutlet 2  idle\nOutlet 3  8[0-9]* s left, [0-9]* s elapsed, started 12:0*, off first\n*' plexorctl cycles
    it_is '2026-11-21 14:00:00'
    awaits '.cycles[2].elapsed > 7000'
    contacts off off off off off off off off
    it_is '2026-11-21 15:00:00'
    awaits '.cycles[2].state == "idle"'
    contacts off off on off off off off off
    prints "$(idle 8)" plexorctl cycles
}

an_outlet_is_cycled_the_other_way_round() {
    it_is '2026-11-21 12:00:00'
    json '. == {outlet: 8, seconds: 9999, first: "on", then: "off", plexord_runs: true}' \
        outlet cycle 8 9999 --on-first
    contacts off off on off off off off on
    json '.cycles[7] | .seconds == 9999 and .first == "on" and (.started | startswith("12:0"))' cycles
    json '.active == 128 and .notify == 0 and .busy == false and .initialised == true' cycles
    it_is '2026-11-21 15:00:00'
    awaits '.cycles[7].state == "idle"'
    contacts off off on off off off off off
}

a_running_cycle_is_not_asked_for_again() {
    it_is '2026-11-21 12:00:00'
    prints '*' plexorctl outlet cycle 1 9000
    prints '*' plexorctl outlet cycle 2 9000
    fails 'outlet 1 was not cycled: it is cycling, with [89]* s left, and another request would abandon every running cycle' outlet cycle 1 5
    json '[.cycles[].state] | .[0] == "running" and .[1] == "running" and .[2] == "idle"' cycles
    it_is '2026-11-21 15:00:00'
    awaits '.active == 0'
    contacts on on on off off off off off
}

looking_takes_no_notification_away() {
    set_word notify 2
    json '.notify == 2' cycles
    prints '*' plexorctl cycles
    json '.notify == 2' cycles
    set_word notify 0
}

a_cycle_that_ended_a_moment_ago_is_idle() {
    stop_plexord
    set_list table '0;7;0;0;0;0;0;0;0;2;0;0;0;0;0;0'
    set_list elapsed '0;7;0;0;0;0;0;0;0;2;0;0;0;0;0;0'
    json '.cycles[0].state == "idle" and (.cycles[1] | .state == "running" and .remaining == 7)' cycles
    json '.cycles[1] | .elapsed == .seconds - 7' cycles
    set_list table '0;0;0;0;0;0;0;0;0;0;0;0;0;0;0;0'
}

a_dropped_request_is_told() {
    set_word busy 1
    prints $'*idle\nThe record is being written' plexorctl cycles
    json '.busy == true' cycles
    fails 'outlet 5 was not cycled: the record of cycles was busy, and the request is dropped' outlet cycle 5 9
    contacts on on on off off off off off
    set_word busy 0
}

a_cycle_that_nobody_counts_is_told() {
    prints 'Outlet 5  on for 9 s, then off once plexord runs' plexorctl outlet cycle 5 9 --on-first
    json '.cycles[4] | .remaining == 9 and .elapsed == 0' cycles
    contacts on on on off on off off off
    set_list table '0;0;0;0;0;0;0;0;0;0;0;0;0;0;0;0'
    fails 'outlet 5 was not cycled: it is cycling, *' outlet cycle 5 9
    set_word active 0
}

what_stands_in_the_record_does_no_harm() {
    set_list table ';;x;9999999999999;-5;;%s%n'
    set_list durations "$(printf '9%.0s' {1..255})"
    set_list started $'\e[2J;:::;99:99:99;'
    run plexorctl cycles
    [[ $status -eq 0 && $out != *$'\e'* ]] || wrong 'a wild record is shown'
    json '.cycles | length == 8' cycles
    set_word initialised 0
    fails 'outlet 1 was not cycled: nobody would switch it back; run plexord' outlet cycle 1 5
}

wrong_cycles_are_told_in_one_line() {
    local word
    for word in 0 10000 -- 5s ''; do
        [[ $word == -- ]] || usage "'$word' is no length of a cycle; accepted: 1 to 9999 seconds" outlet cycle 1 "$word"
    done
    usage "'9' is no outlet; accepted: 1 to 8" outlet cycle 9 5
    usage '1 argument given; accepted: plexorctl outlet cycle N SECONDS' outlet cycle 1
    usage '--on-first does not go with this command; accepted with: outlet cycle' outlet on 1 --on-first
}

# As many rounds as there are lines for outlet 1.
rounds() { # FILE
    grep -c '^Outlet 1 ' "$1"
}

cycles_are_watched_in_place_on_a_terminal() {
    local keyboard
    mkfifo "$scratch/keyboard"
    exec {keyboard}<>"$scratch/keyboard"
    script -qfec 'plexorctl cycles --watch' /dev/null <"$scratch/keyboard" >"$scratch/screen" &
    await grep -qF $'\e[8A\e[J' "$scratch/screen"
    printf '\003' >"$scratch/keyboard" # Ctrl-C
    wait $!
    status=$? out=$(<"$scratch/screen")
    checks=$((checks + 1))
    [[ $status -eq 0 && $out != *$'\n\r\n'* ]] || wrong 'a watch ends by Ctrl-C'
    exec {keyboard}>&-
}

cycles_are_watched() {
    tell_board set clock-rate 20
    run timeout -s TERM 10 bash -c 'plexorctl cycles --watch | head -19'
    [[ $(rounds <(echo "$out")) -ge 2 && $out == *$'idle\n\nOutlet 1  idle'* ]] || wrong 'rounds are appended'
    run timeout 10 bash -c 'plexorctl --json cycles --watch | head -3'
    [[ $(grep -c '^{"cycles":.*}$' <<<"$out") -eq 3 ]] || wrong 'rounds are lines of JSON'
    run timeout 10 bash -c 'plexorctl cycles --watch >/dev/full'
    [[ $status -eq 1 && $err == 'plexorctl: the results cannot be written: '* ]] || wrong 'a full device ends a watch'
    tell_board set clock-rate 1
    a_watch_ends_by INT '*Outlet 8  idle' cycles
    a_watch_ends_by TERM '*Outlet 8  idle' cycles
}

cycles_of_fewer_outlets() {
    start_plexord
    prints "$(idle 2)" plexorctl cycles
    usage "'3' is no outlet; accepted: 1 to 2" outlet cycle 3 5
    prints 'Outlet 2  off for 5 s, then on' plexorctl outlet cycle 2 5
    json '[.cycles[].state] == ["idle", "running"]' cycles
}

relays_that_fail_are_told() {
    start_plexord
    fault relays-absent on
    fails 'the outlets were not switched: /dev/spiS0 is missing' outlet cycle 1 5
    fault relays-absent off
    json '.active == 0' cycles
}

gpio_relays_that_do_not_follow_are_told() {
    start_plexord
    prints 'Outlet 6  on for 9 s, then off' plexorctl outlet cycle 6 9 --on-first
    contacts off off off off off on off off
    fault gpio-absent on
    fails 'the GPIO lines cannot be read: *' outlet cycle 1 5
    fault gpio-absent off
}

an_off_delay_needs_seconds_and_plexord() {
    start_plexord
    board_param OFFDelay_PX ';;90;0;x'
    fails 'outlet 2 has no off delay: *, and fields that are empty do not count' off-delay 2
    fails 'outlet 3 has no off delay: *' off-delay 3
    fails 'outlet 4 has no off delay: *' off-delay 4
    prints 'Outlet 1  plexord is asked to switch it off after 90 s, but will not: the parameter wol_sol_trigger is not 1' plexorctl off-delay 1
    usage "'0' is no outlet; accepted: 1 to 8" off-delay 0
    stop_plexord
    fails 'plexord, which counts off delays down, does not run' off-delay 1
    sleep 1000 &
    echo $! >/var/run/plexord.pid # the number of a plexord that died may be another's
    fails 'plexord, which counts off delays down, does not run' off-delay 1
    checks=$((checks + 1))
    kill $! || wrong 'a process that is no plexord is left alone'
    rm /var/run/plexord.pid
}

an_off_delay_switches_off() {
    start_plexord
    it_is '2026-11-21 12:00:00'
    board_param OFFDelay_PX '600;3600'
    board_param wol_sol_trigger 1
    prints '*' plexorctl outlet on 1 2 3
    json '. == {outlet: 1, seconds: 600, switches: true}' off-delay 1
    prints 'Outlet 2  plexord is asked to switch it off after 3600 s' plexorctl off-delay 2
    await_log 'SetOFFDelayTime_t2:3600'
    contacts on on on off off off off off
    it_is '2026-11-21 12:30:00'
    await_contacts off on on off off off off off
    it_is '2026-11-21 13:30:00'
    await_contacts off off on off off off off off
}

an_off_delay_is_not_prolonged() {
    it_is '2026-11-21 12:00:00'
    board_param OFFDelay_PX '1200'
    prints '*' plexorctl outlet on 1
    prints '*' plexorctl off-delay 1
    await_log 'SetOFFDelayTime_t1:1200'
    board_param OFFDelay_PX '9000;9000;5000'
    prints '*' plexorctl off-delay 1
    prints '*' plexorctl off-delay 3
    await_log 'SetOFFDelayTime_t3:5000' # the one before was heard, too
    it_is '2026-11-21 12:30:00'
    await_contacts off off on off off off off off
}

begin "$@"
on_a 00C302 latching a_cycle_needs_somebody_to_end_it an_outlet_is_cycled an_outlet_is_cycled_the_other_way_round \
    a_running_cycle_is_not_asked_for_again looking_takes_no_notification_away \
    a_cycle_that_ended_a_moment_ago_is_idle a_dropped_request_is_told a_cycle_that_nobody_counts_is_told \
    what_stands_in_the_record_does_no_harm wrong_cycles_are_told_in_one_line
on_a 00C335 ordinary relays_that_fail_are_told
on_a 00C317 ordinary start_plexord cycles_are_watched cycles_are_watched_in_place_on_a_terminal
on_a 00C309 ordinary cycles_of_fewer_outlets
on_a 00C347 ordinary gpio_relays_that_do_not_follow_are_told
on_a 00C302 latching an_off_delay_needs_seconds_and_plexord an_off_delay_switches_off an_off_delay_is_not_prolonged
finish
