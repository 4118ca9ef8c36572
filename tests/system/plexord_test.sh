#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# plexord as a daemon: how it starts and ends, what it does every second, and what it survives. The clocks are driven.
# Takes no arguments; PLEXOR_BUILD names the build to test.
set -u

# shellcheck source=tests/system/plexorctl_words.sh
. "$(dirname "$(realpath "$0")")/plexorctl_words.sh"
# shellcheck source=tests/system/plexord_words.sh
. "$(dirname "$(realpath "$0")")/plexord_words.sh"

holds() { # WHAT COMMAND...
    local what=$1
    shift
    checks=$((checks + 1))
    "$@" || wrong "$what: $*"
}

plexord_refuses() { # TEXT OPTION...
    local text=$1
    shift
    refused 1 "plexord: $text" plexord "$@"
}

plexord_usage() { # ARGUMENT...
    refused 2 'plexord: usage: plexord ?-v? --boot | ?-v? ?--no-boot? ?--foreground? | *' plexord "$@"
}

# Starts it in the foreground; $served is its process.
serve() { # OPTION...
    plexord --no-boot --foreground "$@" >"$scratch/out" 2>"$scratch/serve" &
    served=$!
    await log_has "plexord: ###Start...:PID=$served"
    awaits .initialised
}

ends_with() { # STATUS
    wait "$served"
    status=$? out=$(<"$scratch/out") err=$(<"$scratch/serve")
    checks=$((checks + 1))
    [[ $status -eq $1 && ! -e $pid_file ]] || wrong "plexord ends with $1 and leaves no pid file"
}

child_of() { # PID
    /usr/bin/ps --ppid "$1" -o pid= | tr -d ' '
}

acts() { [[ $(child_of "$(<"$pid_file")") ]]; }
is_at_rest() { ! acts; }

# Stops the process of a running action, which takes 8 seconds; $action is it.
stop_action() {
    await acts
    action=$(child_of "$(<"$pid_file")")
    kill -s STOP "$action"
    tell_board set clock-rate 20
}

# --- start and end ---

it_boots_and_goes_to_the_background() {
    prints 'plexord: VOLTARA 7302: 8 outlets, latching relays, restored: off off off off off off off off' plexord
    json '.initialised == true and .active == 0' cycles # it was ready
    holds 'it is there' kill -0 "$(<"$pid_file")"
    holds 'it logs its start' log_has "plexord: ###Start...:PID=$(<"$pid_file")"
    stop_plexord
    holds 'the pid file is removed' test ! -e "$pid_file"
    holds 'it logs its end' log_has 'plexord: ended by signal 15'
}

it_stays_in_the_foreground() {
    local signal
    for signal in TERM INT; do
        serve
        holds 'the pid file has its number' test "$(<"$pid_file")" = "$served"
        kill -s "$signal" "$served"
        ends_with 0
        [[ ! $out && ! $err ]] || wrong 'it is silent'
    done
}

it_serves_without_a_boot() {
    prints '*' plexorctl outlet default on
    prints '' plexord --no-boot
    contacts off off off off off off off off
    stop_plexord
    prints '*restored: on on on on on on on on' plexord
    stop_plexord
    prints '*' plexorctl outlet default off
    board_param IO_number 0
    plexord_refuses 'not booted: *' --no-boot
    board_param IO_number 2
}

a_second_one_is_refused() {
    local first
    start_plexord --no-boot
    first=$(<"$pid_file")
    prints '*' plexorctl outlet default on
    prints '*' plexorctl outlet all 0x04
    plexord_refuses "plexord runs already, as process $first"
    plexord_refuses "plexord runs already, as process $first" --foreground
    contacts off off on off off off off off # nothing was booted
    holds 'the pid file is left alone' test "$(<"$pid_file")" = "$first"
    prints '*restored: on *' plexord --boot # that one does as it is told
    prints '*' plexorctl outlet default off
    stop_plexord
}

one_of_many_wins() {
    local i pids=() winners=0
    for i in 1 2 3 4 5 6; do
        plexord --no-boot >/dev/null 2>&1 &
        pids+=($!)
    done
    for i in "${pids[@]}"; do
        wait "$i" && winners=$((winners + 1))
    done
    holds 'one is started' test $winners -eq 1
    stop_plexord
}

the_pid_file_of_a_dead_one_is_no_hindrance() {
    start_plexord --no-boot
    kill -s KILL "$(<"$pid_file")"
    await has_ended "$(<"$pid_file")"
    prints '' plexord --no-boot
    stop_plexord
    echo $$ >"$pid_file" # the number is somebody else's by now
    prints '' plexord --no-boot
    stop_plexord
}

a_start_that_fails_is_told() {
    fault relays-absent on
    plexord_refuses 'the outlets were not set: /dev/spiS0 is missing'
    holds 'no pid file is left' test ! -e "$pid_file"
    fault relays-absent off
    fault i2c-absent on
    plexord_refuses 'the I2C bus cannot be opened: /dev/i2cM0 is missing'
    plexord_refuses 'the I2C bus cannot be opened: /dev/i2cM0 is missing' --foreground
    holds 'no pid file is left' test ! -e "$pid_file"
    fault i2c-absent off
    mkdir "$pid_file"
    plexord_refuses "$pid_file cannot be opened: *" --no-boot
    rmdir "$pid_file"
}

wrong_options_are_told() {
    plexord_usage --boot --foreground
    plexord_usage --boot --no-boot
    plexord_usage --foo
    plexord_usage now
    prints '*plexord ?-v? --boot*--no-boot*--foreground*/var/run/plexord.pid*' plexord --help
    prints 'plexord [0-9]*' plexord --version --foreground
}

what_the_library_prints_is_heard_on_request() {
    serve -v
    kill "$served"
    ends_with 0
    [[ $err == *'## Can not open /var/run/pingmgr.pid'* ]] || wrong 'the library is heard'
}

# --- every second ---

what_it_starts_can_be_ended() {
    local folder=$scratch/programs
    mkdir "$folder"
    # shellcheck disable=SC2016
    printf '%s\n' '#!/bin/bash' 'grep SigBlk /proc/self/status >"${0%/*}/part"' 'mv "${0%/*}/part" "${0%/*}/mask"' \
        >"$folder/pingmgr"
    chmod +x "$folder/pingmgr"
    PATH=$folder:$PATH start_plexord --no-boot
    tell_board set clock-rate 20
    await test -e "$folder/mask"
    tell_board set clock-rate 1
    run cat "$folder/mask"
    [[ $out == SigBlk:*0000000000000000 ]] || wrong 'no signal is blocked for the network monitor'
    stop_plexord
}

# It blocks signals only while it waits for its next tick.
is_stopped_between_ticks() {
    kill -s STOP "$served"
    await grep -q '^State:.T' "/proc/$served/status"
    ! grep -q '^SigBlk:.0*$' "/proc/$served/status" || ! kill -s CONT "$served"
}

it_ends_without_another_tick() {
    serve
    await is_stopped_between_ticks
    set_word initialised 0 # a tick would set it
    kill "$served"
    kill -s CONT "$served"
    ends_with 0
    json '.initialised == false' cycles
}

a_cycle_over_midnight_starts_over() {
    start_plexord
    it_is '2026-11-21 23:00:00'
    prints '*' plexorctl outlet on 1
    prints '*' plexorctl outlet cycle 1 9000
    it_is '2026-11-21 23:50:00'
    awaits '.cycles[0] | .remaining <= 6000 and .remaining > 5000'
    it_is '2026-11-22 00:00:00'
    awaits '.cycles[0] | .remaining == 9000 and .elapsed == 0'
    it_is '2026-11-22 22:00:00'
    awaits '.cycles[0] | .state == "running" and .remaining == 9000'
    contacts off off off off off off off off
    stop_plexord
}

# Outlets that others arm, and values that are none.
off_delays_are_armed_by_a_signal() {
    start_plexord
    board_param OFFDelay_PX '600;600;600'
    board_param wol_sol_trigger 1
    prints '*' plexorctl outlet on 1 2 3
    it_is '2026-11-21 12:00:00'
    for value in 0 9 99 2147483647 2; do
        holds 'the signal is queued' /bin/kill -s RTMIN -q "$value" "$(<"$pid_file")"
    done
    await_log 'SetOFFDelayTime_t2:600'
    it_is '2026-11-21 13:00:00'
    await_contacts on off on off off off off off
    holds 'the signal is sent' kill -s RTMIN "$(<"$pid_file")" # without a value
    holds 'the signal is queued' /bin/kill -s RTMIN -q 3 "$(<"$pid_file")"
    await_log 'SetOFFDelayTime_t3:600' # it is still there
    stop_plexord
}

an_off_delay_without_a_trigger_ends_and_switches_nothing() {
    start_plexord
    board_param wol_sol_trigger 0
    prints '*' plexorctl outlet on 1
    it_is '2026-11-21 12:00:00'
    prints '*' plexorctl off-delay 1
    await_log 'SetOFFDelayTime_t1:600'
    it_is '2026-11-21 13:00:00'
    await_log 'OFFDelay[OFFDelay]:0'
    contacts on off off off off off off off
    stop_plexord
}

a_record_whose_writer_died_is_freed() {
    start_plexord
    prints '*' plexorctl outlet cycle 2 5000
    set_word busy 1
    tell_board set clock-rate 50
    await_log 'plexord: the record of cycles stayed busy for 30 ticks: running cycles are given up'
    tell_board set clock-rate 1
    awaits '.busy == false and .active == 0'
    json '[.cycles[].state] | all(. == "idle")' cycles
    stop_plexord
}

it_takes_a_missing_bus_for_its_end() {
    prints '*' plexord --boot
    serve
    it_is '2026-11-21 12:00:00'
    prints '*' plexorctl outlet cycle 1 600
    fault i2c-absent on
    it_is '2026-11-21 12:30:00'
    ends_with 1
    [[ $err == 'plexord: the I2C bus cannot be opened: /dev/i2cM0 is missing' ]] || wrong 'it says why'
    holds 'it logs its end' log_has 'plexord: ended: a device is missing'
    fault i2c-absent off
}

# --- the dry contact ---

dry_contact_does() { # ACTIONS
    board_param DI1_action "$1"
    board_param cycle_time_PX '600;600;600'
}

the_first_sample_of_a_contact_is_no_change() {
    start_plexord
    dry_contact_does '1;2;3'
    prints '*' plexorctl outlet on 1 3
    tell_board set drycontact closed
    prints '*' plexorctl outlet cycle 8 1 --on-first # ends in a tick that has seen the contact
    awaits '.active == 0'
    contacts on off on off off off off off
}

a_change_of_the_contact_is_acted_on() {
    tell_board set clock-rate 20
    tell_board set drycontact open
    await_contacts off on off off off off off off
    tell_board set clock-rate 1
    holds 'it is logged' log_has 'plexord: ### Dry Contact Alarm DI = OPEN !!!'
    awaits '.cycles[2].state == "running"'
    stop_plexord
}

ticks_go_on_while_the_contact_is_acted_on() {
    start_plexord
    it_is '2026-11-21 12:00:00'
    prints '*' plexorctl outlet cycle 8 600 --on-first
    tell_board set drycontact closed
    prints '*' plexorctl outlet cycle 7 1 --on-first
    awaits '.cycles[6].state == "idle"' # the contact was seen
    dry_contact_does '2;2;2;2;2;2;2;2'
    tell_board set drycontact open
    stop_action
    it_is '2026-11-21 12:30:00'
    awaits '.cycles[7].state == "idle"'
}

# The one before is still stopped.
a_change_meanwhile_is_seen_afterwards() {
    tell_board set drycontact closed
    prints '*' plexorctl outlet cycle 8 1 --on-first
    awaits '.cycles[7].state == "idle"' # ticks have passed
    holds 'one action at a time' test "$(child_of "$(<"$pid_file")")" = "$action"
    dry_contact_does ''
    kill -s CONT "$action"
    await_log '### Dry Contact Alarm DI = Loopback !!!'
    await is_at_rest
    contacts on on on on on on on off
}

it_waits_for_a_running_action() {
    local plexord
    plexord=$(<"$pid_file")
    tell_board set clock-rate 1
    prints '*' plexorctl outlet all off
    dry_contact_does '2;2;2;2;2;2;2;2'
    tell_board set drycontact open
    stop_action
    kill "$plexord" "$action" # as one that ends a whole group of processes
    holds 'it is still there' kill -0 "$plexord"
    kill -s CONT "$action"
    await has_ended "$plexord"
    contacts on on on on on on on on
    out=$(boardctl events | grep -E 'relay outlet 8: closed|ended by signal' | tail -2)
    [[ $out == *'outlet 8: closed'*$'\n'*'ended by signal 15'* ]] || wrong 'the end comes after the action'
}

an_action_that_outlives_plexord_keeps_nobody_away() {
    start_plexord
    dry_contact_does '2;2;2;2;2;2;2;2'
    tell_board set drycontact closed
    prints '*' plexorctl outlet cycle 8 1 --on-first
    awaits '.cycles[7].state == "idle"' # the contact was seen
    tell_board set drycontact open
    stop_action
    kill -s KILL "$(<"$pid_file")"
    await has_ended "$(<"$pid_file")"
    prints '' plexord --no-boot
    kill -s KILL "$action"
    stop_plexord
}

begin "$@"
on_a 00C302 latching it_boots_and_goes_to_the_background it_stays_in_the_foreground it_serves_without_a_boot \
    a_second_one_is_refused one_of_many_wins the_pid_file_of_a_dead_one_is_no_hindrance a_start_that_fails_is_told \
    wrong_options_are_told what_the_library_prints_is_heard_on_request
on_a 00C302 latching it_ends_without_another_tick what_it_starts_can_be_ended \
    a_cycle_over_midnight_starts_over off_delays_are_armed_by_a_signal \
    an_off_delay_without_a_trigger_ends_and_switches_nothing a_record_whose_writer_died_is_freed \
    it_takes_a_missing_bus_for_its_end
on_a 00C302 latching the_first_sample_of_a_contact_is_no_change a_change_of_the_contact_is_acted_on \
    an_action_that_outlives_plexord_keeps_nobody_away
on_a 00C352 latching ticks_go_on_while_the_contact_is_acted_on a_change_meanwhile_is_seen_afterwards \
    it_waits_for_a_running_action
finish
