#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# plexorctl's mail, trap and journal commands, and who switched an outlet. Stand-ins for the mail client and the trap
# tool write down what they were given.
# Takes no arguments; PLEXOR_BUILD names the build to test.
set -u

# shellcheck source=tests/system/plexorctl_words.sh
. "$(dirname "$(realpath "$0")")/plexorctl_words.sh"

journal=/tmp/iomail.txt

stand_in() { # NAME COMMAND...
    local name=$1
    shift
    mkdir -p "$scratch/bin"
    printf '#!/bin/sh\n%s\n' "$*" >"$scratch/bin/$name"
    chmod +x "$scratch/bin/$name"
    PATH=$scratch/bin:${PATH#"$scratch/bin:"}
}

holds() { # TEXT FILE
    # shellcheck disable=SC2053 # a pattern is wanted
    [[ $(<"$2") == $1 ]] || wrong "$2 holds '$1' and not '$(<"$2")'"
}

# --- mail ---

mail_client() {
    stand_in esmtp "echo \"\$@\" >$scratch/arguments; cat >$scratch/mail"
}

mail_settings() {
    board_param email_smtp mail.example
    board_param email_port 25
    board_param email_from switch@example
    board_param email_to 'a@example'
    board_param email_to_PX 'b@example'
}

mail_needs_its_settings() {
    mail_client
    fails 'no mail server: the parameter email_smtp is not set' mail test
    board_param email_smtp mail.example
    fails 'no sender: the parameter email_from is not set' mail test
    board_param email_from switch@example
    fails 'no recipients: the parameters email_to and email_to_PX are not set' mail test
    [[ ! -e $scratch/mail ]] || wrong 'no mail is sent without settings'
}

the_stored_settings_are_tested() {
    mail_settings
    prints 'Handed to the mail client for a@example;b@example; *not known here' plexorctl mail test
    holds 'a@example b@example -f switch@example -v' "$scratch/arguments"
    holds "*Subject: =?UTF-8?B?$(printf 'plexorctl mail test' | base64)?=*" "$scratch/mail"
    json '. == {to: "a@example;b@example", subject: "hello", handed_to: "client", picture: false}' \
        mail test --subject hello --body words
    holds "*Subject: =?UTF-8?B?$(printf hello | base64)?=*$(printf words | base64)*" "$scratch/mail"
}

stored_recipients() { # BYTES BYTES of email_to and email_to_PX
    board_param email_to "$(printf "%$1s" '' | tr ' ' x)"
    board_param email_to_PX "$(printf "%$2s" '' | tr ' ' y)"
}

more_recipients_than_a_mail_takes_are_told() {
    local lengths
    stored_recipients 63 63
    prints 'Handed to the mail client for *' plexorctl mail test
    holds "$(printf 'x%.0s' {1..63}) $(printf 'y%.0s' {1..63}) -f *" "$scratch/arguments"
    rm "$scratch/arguments"
    for lengths in '64 63' '128 0' '0 127'; do
        # shellcheck disable=SC2086 # two numbers
        stored_recipients $lengths
        fails 'too many recipients: * email_to and email_to_PX make a list of 128 bytes, and a mail takes 127' mail test
        fails 'too many recipients: *' mail test --snapshot
    done
    [[ ! -e $scratch/arguments ]] || wrong 'no mail goes to some of the recipients'
    prints 'Handed to the mail client for c@example; *' plexorctl mail test --to c@example
    mail_settings
}

recipients_can_be_given() {
    prints 'Handed to the mail client for c@example; *' plexorctl mail test --to c@example
    holds 'c@example -f switch@example -v' "$scratch/arguments"
    holds '*Subject: *' "$scratch/mail"
    board_param email_to ''
    board_param email_to_PX ''
    json '.to == "d@example" and .handed_to == "client"' mail test -t d@example
    mail_settings
}

the_latest_picture_can_be_attached() {
    rm -f /tmp/uvcmail.jpg
    prints '* for a@example;b@example, without a picture; *' plexorctl mail test --snapshot
    holds '*Tm9QaWN0dXJl*' "$scratch/mail"
    printf 'a picture' >/tmp/uvcmail.jpg
    json '.picture == true' mail test --snapshot
    holds "*$(printf 'a picture' | base64)*" "$scratch/mail"
    rm -f /tmp/uvcmail.jpg
}

a_mail_that_cannot_be_handed_over_is_told() {
    mkdir /tmp/.esmtprc.kept
    mv /tmp/.esmtprc /tmp/.esmtprc.kept
    mkdir -p /tmp/.esmtprc
    fails 'the mail was not handed over: *' mail test
    rmdir /tmp/.esmtprc
    rm "$scratch/bin/esmtp"
    run env PATH="$PLEXOR_BUILD/bin:$scratch/bin" "$(command -v plexorctl)" mail test
    [[ $status -eq 1 && $err == 'plexorctl: the mail client is missing: there is no program esmtp' ]] ||
        wrong 'a missing mail client is told'
    mail_client
}

the_camera_mails_where_the_settings_ask_for_a_picture() {
    board_param email_pic 1
    stand_in uvc_stream "echo \"\$@\" >$scratch/camera"
    json '.handed_to == "camera" and .picture == true' mail test
    holds '*-mail 1' "$scratch/camera"
    prints 'Handed to the mail client for c@example; *' plexorctl mail test --to c@example
    stand_in uvc_stream 'exit 3'
    fails "the camera's process could not be started; --verbose shows why" mail test
    board_param email_pic 0
}

wrong_words_of_a_mail_are_told() {
    usage "'' is no list of recipients; accepted: 1 to 127 bytes *" mail test --to ''
    usage "'a?b' is no subject; accepted: 1 to 98 bytes *" mail test --subject $'a\nb'
    usage "'x*' is no subject; *" mail test --subject "$(printf 'x%.0s' {1..99})"
    usage 'a text of 6915 bytes is refused; accepted: 1 to 6914' mail test --body "$(printf 'x%.0s' {1..6915})"
    usage 'a text of 0 bytes is refused; *' mail test --body ''
    usage '1 argument given; accepted: plexorctl mail test' mail test now
}

# --- trap ---

# The tool's path is fixed: its place is taken.
trap_tool() { # COMMAND...
    stand_in snmptrap "$@"
    umount /bin/snmptrap 2>/dev/null
    mount --bind "$scratch/bin/snmptrap" /bin/snmptrap || wrong 'the stand-in takes the place of /bin/snmptrap'
}

traps_that_are_off_are_told() {
    fails 'traps are off: the parameter snmp_enable is not 1' trap test
    board_param snmp_enable 1
    fails 'no trap was sent: the parameter snmp_trap_dest_host is not set' trap test
    board_param snmp_trap_dest_host manager.example
    board_param snmp_trap_dest_type 9
    fails 'no trap was sent: the parameter snmp_trap_dest_type is 9, which is for none' trap test
    board_param snmp_trap_dest_type 2
}

a_trap_is_sent() {
    trap_tool "printf '<%s>' \"\$@\" >$scratch/trap"
    board_param snmp_trap_dest_community public
    prints 'Trap sent to manager.example: plexorctl trap test' plexorctl trap test
    holds '<-v><2c><-c><public><manager.example>*<s><plexorctl trap test>' "$scratch/trap"
    # shellcheck disable=SC2016 # the trap tool is to get it as it is
    json '. == {host: "manager.example", message: "$(id) \"x\""}' trap test '$(id) "x"'
    # shellcheck disable=SC2016
    holds '*<s><$(id) "x">' "$scratch/trap"
    usage "'' is no message; accepted: 1 to 255 bytes *" trap test ''
}

a_trap_tool_that_fails_is_told() {
    trap_tool 'echo no route >&2; exit 3'
    fails 'no trap was sent: /bin/snmptrap ended with status 3; --verbose shows what it said' trap test
    run plexorctl --verbose trap test
    [[ $status -eq 1 && $err == *'no route'* ]] || wrong 'the trap tool is heard on request'
    trap_tool 'exit 127'
    fails 'no trap was sent: /bin/snmptrap is missing' trap test
    board_param snmp_trap_dest_host "$(printf 'x%.0s' {1..63})"
    fails 'no trap was sent: with these settings its command is too long*' trap test "$(printf '$%.0s' {1..200})"
}

# --- journal ---

an_empty_journal_is_no_failure() {
    rm -f "$journal"
    prints '' plexorctl journal show
    json '. == {latest: null, entries: []}' journal show
    : >"$journal"
    json '. == {latest: null, entries: []}' journal show
    rm "$journal"
}

switching_is_entered_with_its_source() {
    board_param email_alarm_PX '1;0;1;0;0;0;0;0'
    prints $'Outlet 1  on\nOutlet 2  on' plexorctl outlet on 1 2 --source 'web page'
    prints 'Outlet 3  on' plexorctl outlet on 3
    json '[.entries[] | [.source, .description, .raw]] == [["web page", "Outlet1 off to on", null],
        ["plexorctl", "Outlet3 off to on", null]]' journal show
    json '.latest > 1700000000 and (.entries | all(.time | test("^[0-9]{4}-[0-9-]{5} [0-9:]{8}$")))' journal show
    board_param email_alarm_PX '0;0;0;0;0;0;0;0'
}

entries_tell_of_the_board() {
    rm -f "$journal"
    board_param sIICAmp_PX '87;88;0;0;0;0;0;3'
    board_param sIICTemp 128
    board_param sIICVolt 150
    board_param sIICDi 1
    board_param email_alarm_PX '1;0;0;0;0;0;0;0'
    prints '*' plexorctl outlet off 1
    json '.entries[0].outlets[1:3] == [{outlet: 2, state: "on", amperes: 4.85}, {outlet: 3, state: "on", amperes: 0}]' \
        journal show
    json '.entries[0] | .celsius == 25 and .volts == 222 and .input == "Loopback" and .all_outlets_amperes == null' \
        journal show
    prints $'Latest entry  ????-??-?? ??:??:??\n????-??-?? ??:??:??  plexorctl: Outlet1 on to off
  1 off 4.83 A, 2 on 4.85 A, 3 on 0.00 A, *\n  25.0 C, 222.?? V, input Loopback' plexorctl journal show
}

what_is_not_understood_is_shown_as_it_is() {
    printf '\1\0\0\0SOURCE:web 2026-01-02 03:0SOURCE:b\33c 2026-01-02 03:04:05\ndoor [2]\r\n\t[Power1=ON ;]\n\nrest\0"' >"$journal"
    prints $'Latest entry  *\nnot understood: SOURCE:web 2026-01-02 03:0
2026-01-02 03:04:05  b?c: door [[]2]\n  1 on\nnot understood: rest?"' plexorctl journal show
    json '[.latest, .entries[].raw] == [1, "SOURCE:web 2026-01-02 03:0", null, "rest\u0000\""]' journal show
    json '.entries[1] | [.source, .time, .description] == ["b\u001bc", "2026-01-02 03:04:05", "door [2]"]' journal show
}

a_journal_that_is_no_file_is_told() {
    rm -f "$journal"
    ln -s /etc/passwd "$journal"
    fails "the journal $journal cannot be read: it is a symbolic link" journal show
    rm "$journal"
    mkfifo "$journal"
    fails "the journal $journal cannot be read: it is no file" journal show
    rm "$journal"
}

boards_without_sensors_have_entries_without_them() {
    prints '*' plexord --boot
    board_param email_alarm_PX '1;1;1;1;1;1;1;1'
    prints '*' plexorctl outlet on 8
    json '.entries[0] | (.outlets | length) == 8 and .celsius == null and .volts == null and .input == null' journal show
    prints $'*: Outlet8 off to on\n  1 off, *, 8 on' plexorctl journal show
}

boards_with_a_meter_have_its_current() {
    prints '*' plexord --boot
    board_param email_alarm_PX '1;1;1;1;1;1;1;1'
    board_param sAmp_PX '7;3;0;0'
    board_param sTEmp_PX '55;5;31;2'
    prints '*' plexorctl outlet on 2
    json '.entries[0] | .all_outlets_amperes == 7.3 and .celsius == 31.2 and .raw == null' journal show
    prints $'*: Outlet2 off to on\n*\n  31.2 C, 7.3 A in all' plexorctl journal show
}

booted() {
    prints '*' plexord --boot
}

begin "$@"
on_a 00C302 latching booted mail_needs_its_settings the_stored_settings_are_tested \
    more_recipients_than_a_mail_takes_are_told recipients_can_be_given \
    the_latest_picture_can_be_attached a_mail_that_cannot_be_handed_over_is_told \
    the_camera_mails_where_the_settings_ask_for_a_picture wrong_words_of_a_mail_are_told \
    an_empty_journal_is_no_failure switching_is_entered_with_its_source entries_tell_of_the_board \
    what_is_not_understood_is_shown_as_it_is a_journal_that_is_no_file_is_told \
    traps_that_are_off_are_told a_trap_is_sent a_trap_tool_that_fails_is_told
on_a 00C347 ordinary boards_without_sensors_have_entries_without_them
on_a 00C309 latching boards_with_a_meter_have_its_current
finish
