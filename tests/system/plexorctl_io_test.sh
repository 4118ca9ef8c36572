#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# plexorctl's digital inputs and outputs, on models with and without terminals for them.
# Takes no arguments; PLEXOR_BUILD names the build to test.
set -u

# shellcheck source=tests/system/plexorctl_words.sh
. "$(dirname "$(realpath "$0")")/plexorctl_words.sh"

unmarked='*(this model has no terminal for it)*'

gives() { # SIGNAL OUTPUT
    prints "$1" boardctl get "do.$2"
}

recorded() { # LIST KEY
    prints "$1" plexorctl param get "$2"
}

inputs_are_shown() {
    json '[.inputs[].active] == [false,false,false,false]' io show
    tell_board set di.2 active
    tell_board set di.4 active
    json '.inputs == [range(1; 5) | {input: ., active: (. == 2 or . == 4), terminal: true}]' io show
    prints $'Input 1      idle\nInput 2      active\nInput 3      idle\nInput 4      active\nDry contact  *' plexorctl io show
    tell_board set di.2 idle
    json '[.inputs[].active] == [false,false,false,true]' io show
}

the_dry_contact_is_called_as_in_the_journal() {
    json '.dry_contact == "open"' io show
    board_param sIICDi 3
    json '.dry_contact == "loopback"' io show
    prints $'*\nDry contact  loopback\n*' plexorctl io show
    board_param sIICDi 2
    json '.dry_contact == "open"' io show
    tell_board set drycontact closed
    json '.dry_contact == "loopback"' io show
}

outputs_are_set_in_every_mode() {
    prints 'Output 1  level 0' plexorctl io set 1 level 0
    gives 'level 0' 1
    prints 'Output 1  level 1' plexorctl io set 1 level 1
    gives 'level 1' 1
    prints 'Output 1  pulse 5' plexorctl io set 1 pulse 5
    gives 'pulse train 5' 1
    prints 'Output 2  frequency 4660' plexorctl io set 2 frequency 0x1234
    gives '4660 Hz' 2
    prints 'Output 1  pwm 10 255' plexorctl io set 1 pwm 10 255
    gives 'PWM 10/255' 1
    prints 'Output 2  mode 12' plexorctl io set 2 mode 12
    gives 'mode 12' 2
    recorded '4;12;0;0' sDOMode_PX
    recorded '5;0;0;0' Pulse_PX
    recorded '0;4660;0;0' FREQ_PX
    recorded '10;0;0;0' PFREQ_PX
    recorded '255;0;0;0' PWidth_PX
}

settings_are_told_as_json() {
    json '. == {output: 2, mode: 2, name: "pulse", values: [999999], terminal: true}' io set 2 pulse 999999
    json '. == {output: 1, mode: 4, name: "pwm", values: [0, 50], terminal: true}' io set 1 pwm 0 50
    json '. == {output: 2, mode: 1, name: "level 1", values: [], terminal: true}' io set 2 level 1
    json '. == {output: 3, mode: 14, name: "mode 14", values: [], terminal: false}' io set 3 mode 14
}

both_modes_of_an_output_are_shown() {
    prints '*' plexorctl io set 1 pwm 5 50
    prints '*' plexorctl io set 2 pulse 7
    tell_board set param.sDOMode_PX '3;2;1;77'
    json '[.outputs[].recorded] == [{mode: 3, name: "frequency"}, {mode: 2, name: "pulse"},
        {mode: 1, name: "level 1"}, {mode: 77, name: "mode 77"}]' io show
    json '[.outputs[:2][].controller] == [{mode: 4, name: "pwm"}, {mode: 2, name: "pulse"}]' io show
    json '[.outputs[].terminal] == [true, true, false, false]' io show
    prints $'*\nOutput 1     recorded frequency, controller pwm\nOutput 2 *, controller pulse\n*0xFF 0xFF' plexorctl io show
}

what_the_controller_says_is_shown_byte_by_byte() {
    tell_board set iocontroller.21 0xA1
    tell_board set iocontroller.67 0xC8
    tell_board set iocontroller.30 7
    tell_board set iocontroller.1 0x12
    tell_board set iocontroller.2 0x34
    json '.controller | (.bytes | length) == 32 and .output1_frequency_registers == [18, 52]' io show
    json '.controller.bytes | [.[0], .[15], .[29], .[30], .[31]] == [161, 200, 7, 18, 52]' io show
    prints $'*\nFrequency registers of output 1  0x12 0x34' plexorctl io show
}

a_level_can_be_set_past_the_mode() {
    prints '*' plexorctl io set 2 frequency 50
    prints 'Output 2  level 1' plexorctl --direct io set 2 level 1
    gives 'level 1' 2
    prints 'Output 2  level 0' plexorctl io set 2 level 0 --direct
    gives 'level 0' 2
    json '.outputs[1] | .recorded.mode == 0 and .controller.mode == 3' io show
    usage '--direct sets levels only; accepted: *' io set 1 pulse 5 --direct
    usage '--direct does not go with this command; accepted with: io set' io show --direct
}

wrong_settings_are_told_in_one_line() {
    local word
    for word in 0 5 x ''; do
        usage "'$word' is no output; accepted: 1 to 4" io set "$word" level 1
    done
    usage "'dim' is no way to set an output; accepted: level, pulse, frequency, pwm, mode" io set 1 dim 1
    usage "'2' is no value for level; accepted: level 0 or 1" io set 1 level 2
    usage "'1000000' is no value for pulse; accepted: pulse COUNT, 0 to 999999" io set 1 pulse 1000000
    usage "'x' is no value for frequency; accepted: frequency HZ, 0 to 65535" io set 2 frequency x
    usage "'65536' is no value for frequency; accepted: frequency HZ, 0 to 65535" io set 4 frequency 65536
    usage "'11' is no value for pwm; accepted: pwm FREQUENCY WIDTH, 0 to 10 and 0 to 255" io set 1 pwm 11 5
    usage "'256' is no value for pwm; *" io set 1 pwm 5 256
    for word in 2 4; do
        usage "output $word has no pwm; accepted: output 1" io set "$word" pwm 5 5
    done
    for word in 0 4 11 15; do
        usage "'$word' is no value for mode; accepted: mode 10, 12, 13 or 14" io set 1 mode "$word"
    done
}

a_wrong_number_of_values_is_told() {
    usage '1 value given for pwm; accepted: pwm FREQUENCY WIDTH, 0 to 10 and 0 to 255' io set 1 pwm 5
    usage '2 values given for level; accepted: level 0 or 1' io set 1 level 1 1
    usage '2 arguments given; accepted: plexorctl io set N MODE VALUE...' io set 1 level
}

the_highest_frequency_is_told_for_the_output_asked_for() {
    usage '2 values given for frequency; accepted: frequency HZ, 0 to 65534 on output 1' io set 1 frequency 65534 9
    usage "'65535' is no value for frequency; accepted: frequency HZ, 0 to 65534 on output 1" io set 1 frequency 65535
    usage '2 values given for frequency; accepted: frequency HZ, 0 to 65535' io set 2 frequency 65535 9
}

no_value_is_negative() {
    usage "'-1' is no option, and no value is negative; put -- before *" io set 1 level -1
    usage "'-1' is no value for level; accepted: level 0 or 1" io set 1 level -- -1
}

an_output_at_its_limits_is_set() {
    prints 'Output 1  frequency 65534' plexorctl io set 1 frequency 65534
    gives '65534 Hz' 1
    prints 'Output 2  frequency 65535' plexorctl io set 2 frequency 65535
    gives '65535 Hz' 2
    prints 'Output 2  pulse 0' plexorctl io set 2 pulse 0
}

a_controller_that_does_not_follow_is_told() {
    prints '*' plexorctl io set 1 level 1
    fault i2c-corrupt on
    fails 'output 1 did not follow: it was set to pulse and is at mode 253' io set 1 pulse 3
    fails 'output 1 did not follow: its level registers do not hold 1' io set 1 level 1 --direct
    fault i2c-corrupt off
}

a_silent_controller_is_told_before_anything_is_recorded() {
    prints '*' plexorctl io set 1 level 1
    fault io-controller-absent on
    fails 'output 1 was not set: no I/O controller answers at 0x32' io set 1 pulse 3
    fails 'output 1 was not set: *' io set 1 level 0 --direct
    json '.controller == null and [.outputs[] | .controller] == [null,null,null,null]' io show
    json '.outputs[0].recorded.mode == 1' io show
    prints $'*\nOutput 1     recorded level 1, controller silent\n*' plexorctl io show
    fault io-controller-absent off
}

a_missing_device_is_told() {
    fault i2c-absent on
    fails 'the I2C bus cannot be opened: /dev/i2cM0 is missing' io show
    fails 'the I2C bus cannot be opened: /dev/i2cM0 is missing' io set 1 level 1
    fault i2c-absent off
    fault gpio-absent on
    fails 'the GPIO lines cannot be read: *' io show
    fault gpio-absent off
    fault ethernet-address on
    fails 'the Ethernet address *' io set 1 level 1
    fault ethernet-address off
}

a_model_without_terminals_is_set_and_marked() {
    json '[.inputs[], .outputs[] | .terminal] | length == 8 and all(. == false)' io show
    prints "$unmarked" plexorctl io show
    prints 'Output 1  pulse 5  (this model has no terminal for it)' plexorctl io set 1 pulse 5
    json '.terminal == false' io set 4 level 0
    prints '01' plexorctl i2c read 0x32 0x53 1
    recorded '2;0;0;0' sDOMode_PX
}

terminals_beyond_the_model_are_marked() {
    prints $'*\nOutput 3 *no terminal for it)\nOutput 4 *no terminal for it)\n*' plexorctl io show
    prints 'Output 3  level 1  (this model has no terminal for it)' plexorctl io set 3 level 1
}

begin "$@"
on_a 00C318 ordinary inputs_are_shown the_dry_contact_is_called_as_in_the_journal outputs_are_set_in_every_mode \
    settings_are_told_as_json both_modes_of_an_output_are_shown what_the_controller_says_is_shown_byte_by_byte \
    a_level_can_be_set_past_the_mode wrong_settings_are_told_in_one_line a_wrong_number_of_values_is_told \
    the_highest_frequency_is_told_for_the_output_asked_for no_value_is_negative an_output_at_its_limits_is_set \
    a_controller_that_does_not_follow_is_told a_silent_controller_is_told_before_anything_is_recorded \
    a_missing_device_is_told terminals_beyond_the_model_are_marked
on_a 00C302 latching a_model_without_terminals_is_set_and_marked
finish
