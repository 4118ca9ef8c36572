#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# plexorctl and plexord on virtual boards: every command, what it says, what the board does, and how it fails.
# Takes no arguments; PLEXOR_BUILD names the build to test.
set -u

# shellcheck source=tests/system/plexorctl_words.sh
. "$(dirname "$(realpath "$0")")/plexorctl_words.sh"

# --- what holds on every board ---

help_at_each_level() {
    local path
    prints '*plexorctl*outlet list*param commit*--json*Exit status*' plexorctl --help
    prints '*outlet on N*outlet default*--source LABEL*' plexorctl outlet --help
    run plexorctl io --help
    [[ $out == *--direct* && $out != *--source* ]] || wrong 'help shows the options that a group takes'
    json '.commands[] | select(.name == "on") | .options == "s"' --help
    json '.options[] | select(.name == "source") | .value == "LABEL" and .general == false' --help
    for path in info 'outlet all' 'led wifi' beep 'gpio dir' 'i2c write' sensor 'io set' 'mail test' 'trap test' 'journal show' 'param list'; do
        # shellcheck disable=SC2086 # words of the command
        prints "usage: plexorctl ?options? $path*" plexorctl $path --help
    done
    prints 'plexorctl [0-9]*.[0-9]*.[0-9]*' plexorctl --version
    json '.version | test("^[0-9.]+$")' --version
    json '(.commands | length) == 39 and ([.options[].name] | index("json") != null)' --help
    prints 'plexord [0-9]*.[0-9]*.[0-9]*' plexord --version
    prints '*plexord*--boot*' plexord --help
    usage "unknown command 'foo'; accepted: info, outlet, *" foo --help
}

help_tells_once_which_commands_take_an_option() {
    prints '*--watch *interrupted (cycles, sensor)*--source *journal (outlet on, outlet off)*--body *mail (mail test)*' \
        plexorctl --help
    run plexorctl --help mail test
    [[ $out == *'recipients, not the stored ones'* && $out != *'(mail test'* ]] || wrong 'the help of a command is short'
}

help_tells_how_outlets_and_numbers_are_written_where_there_are_any() {
    local path numbers=$'\n\nNumbers are decimal, or hexadecimal after 0x.\n\noptions:'
    local outlets=$'\n\nOutlets are numbered 1 to 8. Numbers are decimal, or hexadecimal after 0x.\n\noptions:'
    for path in 'outlet on' 'outlet all' 'led outlet'; do
        # shellcheck disable=SC2086 # words of the command
        prints "*$outlets*" plexorctl $path --help
    done
    for path in beep 'gpio dir' 'i2c read' 'io set'; do
        # shellcheck disable=SC2086
        prints "*$numbers*" plexorctl $path --help
    done
    for path in info 'led wifi' 'mail test' 'trap test' 'param set'; do
        # shellcheck disable=SC2086
        run plexorctl $path --help
        [[ $out != *numbered* && $out != *Numbers* && $out == *$'.\n\noptions:'* ]] || wrong "$path has no numbers"
    done
}

wrong_words_are_told_in_one_line() {
    usage 'a command is missing; accepted: info, outlet, cycles, *, net, led, *, journal, param; see plexorctl --help'
    usage "unknown command 'help'; accepted: info, outlet, *, param; see plexorctl --help" help
    usage "unknown command 'foo'; accepted: info, *" foo
    usage 'outlet needs another word; accepted: list, on, off, all, set, default, cycle' outlet
    usage "unknown command 'outlet foo'; accepted after outlet: list, *" outlet foo
    usage '0 arguments given; accepted: plexorctl outlet on N...' outlet on
    usage '9 arguments given; accepted: plexorctl outlet on N...' outlet on 1 2 3 4 5 6 7 8 9
    usage 'outlet 2 is named twice' outlet off 2 1 0x2
    usage "'--source' needs a value" outlet on 1 --source
    usage "'-s' needs a value" outlet on 1 -s
    usage "'' is no source; accepted: 1 to 64 bytes without control characters" outlet on 1 --source=
    usage "'a?b' is no source; accepted: *" outlet on 1 --source $'a\nb'
    usage "'$(printf 'x%.0s' {1..65})' is no source; accepted: *" outlet on 1 --source "$(printf 'x%.0s' {1..65})"
    usage '1 argument given; accepted: plexorctl info' info now
    usage "'--foo' is no option; accepted: --json, *" --foo
    usage "'-x' is no option; accepted: --json, *" outlet list -jx
    usage '--watch does not go with this command; accepted with: cycles, sensor' --watch info
    usage '--source does not go with this command; accepted with: outlet on, outlet off' outlet all on -s web
    usage '--to does not go with this command; accepted with: mail test' trap test --to a@b
    usage "'--json=1' is no option; accepted: --json, *" --json=1 info
    usage "'-5' is no option, and no value is negative; put -- before *" param set Login -5
    usage "'1?2' is no outlet; accepted: 1 to 8" outlet on $'1\n2'
    refused 2 'plexord: usage: *' plexord --boot --foreground
    refused 2 'plexord: usage: *' plexord --foo
    refused 2 'plexord: usage: *' plexord --boot now
}

wrong_values_are_told_in_one_line() {
    local word
    for word in 0 9 x 1x ' 1' '' 0x 0x9 4294967297; do
        usage "'$word' is no outlet; accepted: 1 to 8" outlet on "$word"
    done
    usage "'-1' is no outlet; accepted: 1 to 8" outlet off -- -1
    usage "'256' is no mask; accepted: 0 to 0xFF, on, off" outlet all 256
    for word in '' 1 '1=on,' ',1=on' '1=on,1=off' 9=on 1=ON 1==on; do
        usage "'$word' is no list of outlets; accepted: 1=on,2=off*" outlet set "$word"
    done
    usage "'maybe' is no start-up state; accepted: off, on, last" outlet default maybe
    usage "'9' is no outlet; accepted: 1 to 8" led outlet 9 on
    usage "'dim' is no LED state; accepted: on, off" led outlet 1 dim
    usage "'0x100' is no mask; accepted: 0 to 0xFF" led all 0x100
    usage "'1' is no LED state; accepted: on, off" led wifi 1
    usage "'1' is no LED state; accepted: on, off" led usb 1
    usage "'5' is no beep pattern; accepted: 0 to 4" beep 5
    usage "'3' is no GPIO group; accepted: 0, 1, 2" gpio read 3
    usage "'0x100000000' is no bank word; accepted: *" gpio write 0 0x100000000
    usage "'96' is no GPIO line; accepted: 0 to 95" gpio dir 96 in
    usage "'up' is no direction; accepted: in, out" gpio dir 5 up
    usage "'0xA1' is no I2C device; accepted: *" i2c read 0xA1 1 1
    usage "'65536' is no register; accepted: *" i2c read 0xA0 65536 1
    usage "'65' is no length; accepted: 1 to 64" i2c read 0xA0 1 65
    usage "'256' is no byte; accepted: 0 to 0xFF" i2c write 0xA0 1 1 256
    usage "'a b' is no key; accepted: *" param get 'a b'
    usage "'' is no key; accepted: *" param set '' 1
    usage 'the value of Login is refused; accepted: *' param set Login $'a\nb'
    usage 'the value of Login is refused; accepted: *' param set Login "$(printf 'x%.0s' {1..512})"
}

results_that_cannot_be_written_are_a_failure() {
    run bash -c 'plexorctl outlet list >/dev/full'
    [[ $status -eq 1 && $err == 'plexorctl: the results cannot be written: '* ]] || wrong 'a full device is told'
    run timeout 10 bash -c 'plexorctl --watch sensor >/dev/full'
    [[ $status -eq 1 && $err == 'plexorctl: the results cannot be written: '* ]] || wrong 'a full device ends a watch'
}

the_library_is_heard_on_request_only() {
    prints 'Outlet 1  on' env PLEXOR_DEBUG_LOG=/dev/stderr plexorctl outlet on 1
    run env PLEXOR_DEBUG_LOG=/dev/stderr plexorctl --verbose outlet on 1
    [[ $status -eq 0 && $out == 'Outlet 1  on' && $err == *'index:0 value:1 '* ]] || wrong 'the debug print is heard'
    fault gpio-absent on
    run plexorctl -v gpio read 0
    [[ $status -eq 1 && ! $out && $err == $'/dev/gpio: '*$'\nplexorctl: /dev/gpio is missing'* ]] ||
        wrong 'what the library says of a failure is heard'
    fault gpio-absent off
}

parameters_are_kept() {
    prints '' plexorctl param get Login
    prints '' plexorctl param set Login 'a b;c'
    prints 'a b;c' plexorctl param get Login
    prints '*Login=a b;c*' plexorctl param list
    json '.key == "Login" and .value == "a b;c"' param get Login
    json '.parameters | any(.key == "Login" and .value == "a b;c" and (.meaning | length) > 0)' param list
    prints '' plexorctl param set schedule29t '000;000'
    prints '' plexorctl param set CDC_type_8 8870
    json '[.parameters[].key] | index("schedule29t") != null and index("CDC_type_8") != null' param list
    prints '' plexorctl param set Key_of_nobody 1
    json '[.parameters[].key] | index("Key_of_nobody") == null' param list
    json '.value == "-5"' param set -- Login -5
    prints '' plexorctl param commit
    json '.committed == true' param commit
}

json_escapes_what_a_parameter_holds() {
    json '.value == "q\" b\\ s/ ü € 😀"' param set Login 'q" b\ s/ ü € 😀'
    json '.value == "�x��"' param set Login $'\xffx\xc3\xed'
    json '.value == "��"' param set Login $'\xc0\xaf' # an overlong form
    prints '' plexorctl param set Login ''
}

# --- one board each ---

eight_latching_outlets() {
    prints '' plexorctl param set IO_number 0
    fails 'not booted: the parameter IO_number is 0 and the board is model 2; run plexord --boot' outlet on 1
    prints '' plexorctl param set default_status_PX '1;0;1;0;0;0;0;1'
    prints 'plexord: VOLTARA 7302: 8 outlets, latching relays, restored: on off on off off off off on' plexord --boot
    contacts on off on off off off off on
    prints 2 plexorctl param get IO_number
    json '.model == "VOLTARA 7302" and .index == 2 and .outlets == 8 and .relays == "latching"' info
    json '.io == {"first":1,"inputs":0,"outputs":0} and .io_number == 2 and .tick_ms > 0' info
    json '.time | test("sec")' info
    prints '*VOLTARA 7302 (index 2)*8*latching*' plexorctl info
    switching_eight
    start_up_states_of_eight
    indicators_of_eight
    sensors_of_eight
    readings_are_watched
    buses
    failures_of_eight
}

switching_eight() {
    prints 'Outlet 2  on' plexorctl outlet on 2
    contacts on on on off off off off on
    prints 'Outlet 8  off' plexorctl outlet off 8
    contacts on on on off off off off off
    leds on on on off off off off off
    json '.outlets == [{"outlet":3,"state":"off"}]' outlet off 3
    prints $'Outlet 1  off\nOutlet 2  off' plexorctl outlet off 2 1
    contacts off off off off off off off off
    prints $'Outlet 1  on\nOutlet 2  on' plexorctl outlet on 1 2
    prints "$(outlets on on off off off off off off)" plexorctl outlet list
    json '[.outlets[].state] == ["on","on","off","off","off","off","off","off"]' outlet list
    prints "$(outlets on off on off off off off on)" plexorctl outlet all 0x85
    contacts on off on off off off off on
    prints "$(outlets off off off off off off off off)" plexorctl outlet all off
    contacts off off off off off off off off
    json '.outlets | length == 8 and all(.state == "on")' outlet all on
    contacts on on on on on on on on
    prints $'Outlet 1  off\nOutlet 8  off' plexorctl outlet set 8=off,1=off
    contacts off on on on on on on off
    prints 'Outlet 5  off' plexorctl outlet set 5=off
    prints "$(outlets off on on on off on on off)" plexorctl outlet list
    contacts off on on on off on on off
    leds off on on on off on on off
}

start_up_states_of_eight() {
    prints "$(outlets on off on off off off off on)" plexorctl outlet default
    prints "$(outlets last last last last last last last last)" plexorctl outlet default last
    prints '2;2;2;2;2;2;2;2' plexorctl param get default_status_PX
    json '[.outlets[].state] == ["on","off","last","on","off","last","on","off"]' \
        outlet default on off last on off last on off
    usage '2 start-up states given; accepted: one for all, or 8' outlet default on off
    prints "$(outlets last last last last last last last last)" plexorctl outlet default last
    prints "$(outlets off on off on off on off on)" plexorctl outlet all 0xAA
    run boardctl power-loss
    run boardctl power-up
    prints 'plexord: VOLTARA 7302: *restored: off on off on off on off on' plexord --boot
    contacts off on off on off on off on
}

indicators_of_eight() {
    prints 'led1 on' plexorctl led outlet 1 on
    leds on on off on off on off on
    json '. == {"led8":"off"}' led outlet 8 off
    leds on on off on off on off off
    prints 'lit 0x81' plexorctl led all 0x81
    leds on off off off off off off on
    prints 'wifi on' plexorctl led wifi on
    on_board true .wifi_led
    prints 'wifi off' plexorctl led wifi off
    on_board false .wifi_led
    json '. == {"usb":"on"}' led usb on
    on_board true .usb_led
    prints '' plexorctl beep 1
    json '. == {"pattern":0}' beep 0
    on_board false .beeper
}

sensors_of_eight() {
    json '.outlets == [range(1; 9) | {outlet: ., amperes: 0}] and .volts == 0' sensor
    board_param sIICAmp_PX '87;88;0;255;256;1;2;3'
    board_param correction_ampL_Px '0.1;0;0;0;0;0;0;-0.05'
    board_param sIICTemp 128
    board_param sIICVolt 150
    json '[.outlets[] | [.outlet, .amperes]] == [[1,4.93],[2,4.85],[3,0],[4,14.05],[5,0],[6,0.06],[7,0.11],[8,0.12]]' \
        sensor
    json 'del(.outlets) == {all_outlets_amperes: null, celsius: 25, volts: 222, humidity_percent: null}' sensor
    prints $'Outlet 1     4.93 A\n*Outlet 8     0.12 A\nTemperature  25.0 C\nVoltage      222 V' plexorctl sensor
}

readings_are_watched() {
    tell_board set clock-rate 20
    run timeout 60 bash -c 'plexorctl --json --watch sensor | head -3'
    [[ ! $err && $(jq -r .volts <<<"$out") == $'222\n222\n222' ]] || wrong 'readings are shown every second'
    tell_board set clock-rate 1
    a_watch_ends_by INT '*Voltage      222 V' sensor
    a_watch_ends_by TERM '*Voltage      222 V' sensor
}

buses() {
    prints 'group 0: 0x????????' plexorctl gpio read 0
    prints 'line 70: out' plexorctl gpio dir 70 out
    json '. == {"line":71,"direction":"out"}' gpio dir 71 out
    prints 'group 2: 0x00000040' plexorctl gpio write 2 0x40
    json '.group == 2 and (.levels / 64 | floor) % 4 == 1' gpio read 2
    on_board true '(.gpio[2].levels / 64 | floor) % 4 == 1 and .gpio[2].outputs == 192'
    prints 'line 70: in' plexorctl gpio dir 70 in
    on_board 128 '.gpio[2].outputs'
    prints '01 AB FF' plexorctl i2c write 0xA0 320 1 0xab 255
    prints '01 AB FF 00' plexorctl i2c read 160 0x140 4
    json '. == {"device":160,"register":321,"bytes":[171,255]}' i2c read 0xA0 321 2
    on_board '[[320,1],[321,171],[322,255]]' '[.controller[] | select(.[0] >= 320)]'
    run boardctl set scan 4E
    prints 'LCD adapter at 0x4E' plexorctl i2c scan
    json '. == {"lcd_adapter":true,"answer":78}' i2c scan
    run boardctl set scan A0
    prints 'no LCD adapter; last answer 0xA0' plexorctl i2c scan
}

failures_of_eight() {
    prints '*' plexorctl outlet all on
    fault relays-absent on
    board_param email_alarm_PX '1;0;0;0;0;0;0;0'
    fails 'the outlets were not switched: /dev/spiS0 is missing' outlet off 1
    prints "$(outlets on on on on on on on on)" plexorctl outlet list
    prints '' plexorctl journal show
    fails 'the outlets were not switched: /dev/spiS0 is missing' outlet all off
    fails 'the outlets were not switched: /dev/spiS0 is missing' outlet set 1=off
    refused 1 'plexord: the outlets were not set: /dev/spiS0 is missing' plexord --boot
    contacts on on on on on on on on
    fault relays-absent off
    prints '*' plexorctl outlet all on
    fault i2c-absent on
    fails 'the I2C bus cannot be opened: /dev/i2cM0 is missing' i2c read 0xA0 1 1
    fails 'the I2C bus cannot be opened: /dev/i2cM0 is missing' i2c scan
    fails 'the I2C bus cannot be opened: /dev/i2cM0 is missing' led outlet 1 on
    refused 1 'plexord: the I2C bus cannot be opened: /dev/i2cM0 is missing' plexord --boot
    fault i2c-absent off
    fault i2c-fails on
    fails 'no device at 0xA0 answered' i2c read 0xA0 320 1
    prints '05' plexorctl i2c write 0xA0 322 5
    fault i2c-fails off
    local name
    for name in gpio-absent gpio-fails; do
        fault "$name" on
        fails '/dev/gpio is missing or refused the request' gpio read 0
        fails '/dev/gpio is missing or refused the request' gpio write 2 0
        fails '/dev/gpio is missing or refused the request' gpio dir 70 in
        fails "the beeper's line cannot be driven: *" beep 1
        fails 'the GPIO lines cannot be read: *' led wifi on
        fails 'the GPIO lines cannot be read: *' info
        refused 1 'plexord: the GPIO lines cannot be read: *' plexord --boot
        fault "$name" off
    done
    fault ethernet-address on
    fails 'the Ethernet address that names the board cannot be read from flash' info
    refused 1 'plexord: the Ethernet address *' plexord --boot
    fault ethernet-address off
}

four_ordinary_outlets() {
    prints 'plexord: VOLTARA 7335: 4 outlets, ordinary relays, restored: off off off off' plexord --boot
    json '.relays == "ordinary" and .outlets == 4' info
    prints 'Outlet 4  on' plexorctl outlet on 4
    contacts off off off on
    outlets_beyond_the_board
    contacts off off off on
    prints "$(outlets on on on on)" plexorctl outlet all on
    contacts on on on on
    prints 'Outlet 2  off' plexorctl outlet set 2=off
    contacts on off on on
    prints "$(outlets on off on on)" plexorctl outlet list
    prints 'lit 0x06' plexorctl led all 6
    leds off on on off
    prints 'led1 on' plexorctl led outlet 1 on
    leds on on on off
    fails 'this board has no Wi-Fi LED' led wifi on
    fails 'this board has no USB LED' led usb on
    prints "$(outlets on on on on)" plexorctl outlet default on
    prints '1;1;1;1;0;0;0;0' plexorctl param get default_status_PX
    board_param sIICTemp 128
    board_param sTEmp_PX '55;5;31;2'
    json '(.outlets | length) == 4 and .celsius == null and .humidity_percent == null' sensor
    prints $'Outlet 1     0.00 A\n*Outlet 4     0.00 A\nVoltage      0 V' plexorctl sensor
}

outlets_beyond_the_board() { # of four outlets
    local number
    for number in 5 9; do
        usage "'$number' is no outlet; accepted: 1 to 4" outlet on 1 "$number"
        usage "'$number' is no outlet; accepted: 1 to 4" led outlet "$number" on
        usage "'1=on,$number=on' is no list of outlets; accepted: *, each of the outlets 1 to 4 once" \
            outlet set "1=on,$number=on"
    done
    for number in 0x10 0x100; do
        usage "'$number' is no mask; accepted: 0 to 0x0F, on, off" outlet all "$number"
        usage "'$number' is no mask; accepted: 0 to 0x0F" led all "$number"
    done
}

two_outlets() {
    prints 'plexord: VOLTARA 7309: 2 outlets, latching relays, restored: off off' plexord --boot
    prints $'Outlet 1  on\nOutlet 2  on' plexorctl outlet all 3
    contacts on on
    prints 'Outlet 1  off' plexorctl outlet off 1
    contacts off on
    usage "'3' is no outlet; accepted: 1 to 2" outlet on 3
    prints 'led2 off' plexorctl led outlet 2 off
    leds on off
    board_param sAmp_PX '7;3;0;0'
    board_param sTEmp_PX '55;5;31;2'
    board_param sIICVolt 150
    json '[.[]] == [null,7.3,31.2,222,55.5] and has("all_outlets_amperes") and has("humidity_percent")' sensor
    prints $'All outlets  7.3 A\nTemperature  31.2 C\nVoltage      222 V\nHumidity     55.5 %' plexorctl sensor
}

gpio_driven_outlets() {
    prints '' plexorctl param set default_status_PX1 '1;0;1;0;1;0;1;0'
    prints 'plexord: VOLTARA 7347: 8 outlets, GPIO-driven relays, restored: on off on off on off on off' plexord --boot
    contacts on off on off on off on off
    prints 'Outlet 8  on' plexorctl outlet on 8
    contacts on off on off on off on on
    prints "$(outlets off off off off off on on on)" plexorctl outlet all 0xE0
    contacts off off off off off on on on
    prints $'Outlet 1  on\nOutlet 7  off' plexorctl outlet set 1=on,7=off
    contacts on off off off off on off on
    prints "$(outlets on off off off off on off on)" plexorctl outlet list
    usage "'last' is no start-up state of this board; accepted: off, on" outlet default last
    prints "$(outlets off on off on off on off on)" plexorctl outlet default off on off on off on off on
    prints '0;1;0;1;0;1;0;1' plexorctl param get default_status_PX1
    fails 'this board has no outlet LEDs of its own: *' led outlet 1 on
    fails 'this board has no outlet LEDs of its own: *' led all 1
    contacts on off off off off on off on
    fault gpio-absent on
    fails 'the GPIO lines cannot be read: *' outlet on 2
    fails 'the GPIO lines cannot be read: *' outlet list
    fault gpio-absent off
    contacts on off off off off on off on
}

unknown_board() {
    prints '' plexorctl param set IO_number 7
    fails 'unknown board: no model has this Ethernet address' info
    fails 'unknown board: no model has this Ethernet address' outlet list
    fails 'unknown board: no model has this Ethernet address' sensor
    refused 1 'plexord: unknown board: no model has this Ethernet address' plexord --boot
    prints 7 plexorctl param get IO_number
}

# --- outside ---

needs_the_c_library_alone() {
    local tool
    for tool in plexorctl plexord; do
        if readelf -d "$PLEXOR_BUILD/bin/$tool" | grep 'NEEDED.*libstdc++'; then
            echo "FAILED: $tool needs the C++ library" >&2
            failures=$((failures + 1))
        fi
    done
}

begin "$@"
needs_the_c_library_alone
on_a 00C302 latching eight_latching_outlets help_at_each_level \
    help_tells_once_which_commands_take_an_option \
    help_tells_how_outlets_and_numbers_are_written_where_there_are_any wrong_words_are_told_in_one_line \
    wrong_values_are_told_in_one_line results_that_cannot_be_written_are_a_failure \
    the_library_is_heard_on_request_only parameters_are_kept \
    json_escapes_what_a_parameter_holds
on_a 00C335 ordinary four_ordinary_outlets
on_a 00C309 latching two_outlets
on_a 00C347 ordinary gpio_driven_outlets
on_a 000000 ordinary unknown_board
finish
