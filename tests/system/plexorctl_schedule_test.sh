#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# plexorctl's schedules, their copies in the board controller, and the factory reset.
# Takes no arguments; PLEXOR_BUILD names the build to test.
set -u

# shellcheck source=tests/system/plexorctl_words.sh
. "$(dirname "$(realpath "$0")")/plexorctl_words.sh"

rest=abcdefghijklmnopqrstuvwxyz0123456
empty_companion='000;000;000;000;000;000;000;000'
companion='101;202;303;404;505;606;707;808'

# The text of a page of the board controller, as its memory holds it.
page() { # EXPECTED REGISTER LENGTH
    local bytes
    run plexorctl i2c read 0xA0 "$2" "$3"
    bytes=${out//[ $'\n']/}
    out=$(/usr/bin/python3 -c 'import sys; print(bytes.fromhex(sys.argv[1]).decode("latin-1"))' "$bytes")
    [[ $out == "$1" ]] || wrong "register $2 holds '$1'"
}

# The store as a reset leaves it.
reset_parameters() {
    local number
    board_param reflash ''
    for number in 0 1 2 3 4; do
        board_param "schedule$number" ''
        board_param "schedule${number}t" ''
    done
}

no_schedule_is_listed_on_a_new_board() {
    prints '' plexorctl schedule list
    json '. == {schedules: []}' schedule list
}

a_schedule_is_stored_with_its_copy() {
    prints "Schedule 0   01$rest  $empty_companion  copy agrees" plexorctl schedule write 0 $rest
    prints "Schedule 4   05$rest  $companion  copy agrees" plexorctl schedule write 4 05$rest "$companion"
    prints "01$rest" plexorctl param get schedule0
    prints "$companion" plexorctl param get schedule4t
    prints 9 plexorctl param get reflash
    page "01$rest" 272 35
    page "$empty_companion" 608 31
    page "05$rest" 464 35
    page "$companion" 736 31
    page $'\t' 4 1
}

later_schedules_have_no_copy() {
    prints "Schedule 5   06$rest  $empty_companion" plexorctl schedule write 5 $rest
    json ". == {schedule: 29, record: \"30$rest\", companion: \"$companion\", copy: null}" \
        schedule write 29 30$rest "$companion"
}

schedules_are_listed() {
    prints "Schedule 0 *copy agrees
Schedule 4 *copy agrees
Schedule 5   06$rest  $empty_companion
Schedule 29  30$rest  $companion" plexorctl schedule list
    json '[.schedules[].schedule] == [0, 4, 5, 29]' schedule list
    json '[.schedules[].copy] == ["agrees", "agrees", null, null]' schedule list
}

what_was_written_outlives_a_power_loss() {
    run boardctl power-loss
    run boardctl power-up
    prints '*' plexord --boot
    json '[.schedules[].schedule] == [0, 4, 5, 29]' schedule list
    prints 9 plexorctl param get reflash
}

a_copy_that_differs_is_told() {
    board_param schedule0 "01${rest^^}"
    board_param schedule4 ''
    json '.schedules[:2] | [.[].copy] == ["differs", "differs"] and .[1].record == null' schedule list
    prints $'Schedule 0 *copy differs\nSchedule 4   empty  copy differs\n*' plexorctl schedule list
    board_param schedule0 "01$rest"
    board_param schedule0t 'short'
    json '.schedules[0].copy == "agrees"' schedule list # of another length counts as empty
    board_param schedule0t "$companion"
    json '.schedules[0].copy == "differs"' schedule list
    board_param schedule0t "$empty_companion"
    board_param schedule4 "05$rest"
}

a_deleted_schedule_makes_room() {
    prints '' plexorctl schedule delete 0
    json '[.schedules[].schedule] == [3, 4, 28]' schedule list
    json '.schedules | .[0].record == "04'$rest'" and .[1].record == "05'$rest'"' schedule list
    json '[.schedules[].copy] == ["agrees", "agrees", null]' schedule list
    page "$(printf '0%.0s' {1..35})" 272 35
    page "04$rest" 416 35
    page "$companion" 704 31
    json '[.schedules[].schedule] == [3, 27]' schedule delete 4
    json '[.schedules[].schedule] == [3, 27]' schedule delete 29
}

there_is_nothing_to_restore() {
    prints 'Nothing to restore: the parameters are in step' plexorctl schedule restore
    json '. == {result: "the parameters are in step", schedules: 0}' schedule restore
}

nothing_is_overwritten_that_can_be_restored() {
    prints '*' plexorctl schedule write 0 $rest
    prints '*' plexorctl schedule write 1 $rest "$companion"
    reset_parameters
    fails '*the parameters were reset, and the board controller has copies; run plexorctl schedule restore first' schedule write 2 $rest
    fails '*run plexorctl schedule restore first' schedule delete 7
    page "01$rest" 272 35
}

schedules_are_restored_after_a_reset() {
    prints 'Restored 3 schedules, and the administrator where there was a copy' plexorctl schedule restore
    json '[.schedules[] | select(.schedule < 5) | .schedule] == [0, 1, 3]' schedule list
    prints "02$rest" plexorctl param get schedule1
    prints "$companion" plexorctl param get schedule1t
    prints 9 plexorctl param get reflash
    reset_parameters
    json '. == {result: "restored", schedules: 3}' schedule restore
}

a_factory_reset_asks_first() {
    prints '*' plexorctl outlet on 1 5
    usage 'there is no terminal to ask on; accepted: plexorctl factory-reset --yes' factory-reset </dev/null
    run bash -c 'echo no | script -qec "plexorctl factory-reset" /dev/null'
    [[ $status -eq 1 && $out == *'name and password stay. Type yes to go on: '*'plexorctl: nothing was done'* ]] || wrong 'no is no'
    contacts on off off off on off off off
    run bash -c 'echo yes | script -qec "plexorctl factory-reset" /dev/null'
    [[ $status -eq 0 && $out == *'Every outlet is off, and the board controller'*" emptied; its copies of the administrator's name and password, "* ]] || wrong 'yes is yes'
    contacts off off off off off off off off
}

a_factory_reset_empties_the_board_controller() {
    json '[.schedules[] | select(.schedule < 5) | .copy] == ["differs", "differs", "differs"]' schedule list
    tell_board set login admin
    json '. == {reset: true}' factory-reset --yes
    page admin 544 5 # it stays
    reset_parameters
    prints 'Nothing to restore: the board controller has no copies' plexorctl schedule restore
    prints '*copy agrees' plexorctl schedule write 0 $rest
    page $'\t' 4 1
}

# The library's reads of the bus are up to 250 ms old.
what_the_cache_remembers_does_not_count() {
    prints '*' plexorctl schedule write 0 $rest # the board controller had no copies
    board_param reflash ''
    board_param schedule0 ''
    prints 'Restored 1 schedule, and *' plexorctl schedule restore # it has
    prints "01$rest" plexorctl param get schedule0
    prints '*' plexorctl schedule write 0 $rest
    prints '*' plexorctl factory-reset --yes # of a board with few outlets takes less than the cache remembers
    prints '*' plexorctl schedule write 0 $rest
    page $'\t' 4 1
}

wrong_schedules_are_told_in_one_line() {
    local word
    for word in 30 -- x ''; do
        [[ $word == -- ]] || usage "'$word' is no schedule; accepted: 0 to 29" schedule write "$word" $rest
    done
    usage "'30' is no schedule; accepted: 0 to 29" schedule delete 30
    for word in "01$rest" "${rest}x" "${rest:1} " "${rest:1}"$'\xff' "03${rest}x" ''; do
        usage "* is no record; accepted: 33 characters without blanks, or 35 that start with 03" schedule write 2 "$word"
    done
    for word in "$companion;" "${companion:1}" "${companion/;/-}" "${companion/1/;}" "${companion/1/ }" ''; do
        usage "* is no companion; accepted: 8 fields of 3 characters *" schedule write 2 $rest "$word"
    done
    prints '' plexorctl param get schedule2
}

what_stands_in_the_store_does_no_harm() {
    board_param schedule3 $'\e[2J'
    board_param schedule6 "$(printf 'x%.0s' {1..500})"
    run plexorctl schedule list
    [[ $status -eq 0 && $out == *'Schedule 3   ?[2J  '*'Schedule 6   xxxx'* ]] || wrong 'wild records are shown'
    json '[.schedules[] | select(.schedule == 3)] | .[0].copy == "differs"' schedule list
    prints '' plexorctl schedule delete 6
    page "$(printf '0%.0s' {1..35})" 416 35
    prints '' plexorctl schedule delete 3
}

a_board_controller_that_fails_is_told() {
    fault i2c-fails on
    fails 'nothing was done: the board controller does not answer at 0xA0' schedule write 1 $rest
    fails 'nothing was done: *' schedule delete 1
    fails 'nothing was done: *' factory-reset --yes
    prints '*the board controller does not answer*' plexorctl schedule list
    board_param reflash ''
    fails 'nothing was done: *' schedule restore
    board_param reflash 9
    fault i2c-fails off
    fault i2c-corrupt on
    fails 'the board controller did not keep schedule 1' schedule write 1 $rest
    fault i2c-corrupt off
}

a_missing_device_is_told() {
    fault i2c-absent on
    fails 'the I2C bus cannot be opened: /dev/i2cM0 is missing' schedule list
    fails 'the I2C bus cannot be opened: /dev/i2cM0 is missing' --json schedule list
    fails 'the I2C bus cannot be opened: /dev/i2cM0 is missing' schedule write 1 $rest
    fault i2c-absent off
    fault relays-absent on
    fails 'the outlets were not switched: /dev/spiS0 is missing' factory-reset --yes
    fault relays-absent off
    board_param IO_number 0
    fails 'not booted: *' factory-reset --yes
}

a_factory_reset_of_gpio_relays_switches_all_eight_off() {
    prints '*' plexord --boot
    prints '*' plexorctl outlet all on
    prints 'Every outlet is off, *' plexorctl factory-reset --yes
    contacts off off off off off off off off
}

begin "$@"
on_a 00C302 latching no_schedule_is_listed_on_a_new_board a_schedule_is_stored_with_its_copy \
    later_schedules_have_no_copy schedules_are_listed what_was_written_outlives_a_power_loss \
    a_copy_that_differs_is_told a_deleted_schedule_makes_room there_is_nothing_to_restore \
    nothing_is_overwritten_that_can_be_restored schedules_are_restored_after_a_reset a_factory_reset_asks_first \
    a_factory_reset_empties_the_board_controller wrong_schedules_are_told_in_one_line \
    what_stands_in_the_store_does_no_harm a_board_controller_that_fails_is_told a_missing_device_is_told
on_a 00C318 ordinary what_the_cache_remembers_does_not_count
on_a 00C347 ordinary a_factory_reset_of_gpio_relays_switches_all_eight_off
finish
