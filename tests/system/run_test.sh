#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# plexor-run and boardctl from a person's side: what passes through, what stays private, how each fails.
# Takes no arguments; PLEXOR_BUILD names the build to test.
# shellcheck disable=SC2016 # scripts for the appliance are quoted whole
set -u

here=$(dirname "$(realpath "$0")")
run_program=$(realpath "$here/../../board/plexor-run")
scratch=$(mktemp -d "${TMPDIR:-/tmp}/plexor-test.XXXXXX")
trap 'rm -rf "$scratch"' EXIT
export TMPDIR=$scratch # the board folders go here, too, so that left ones are seen
checks=0
failures=0

# Runs COMMAND and expects its exit status, its output (a pattern), and its standard error (a pattern).
expect() { # STATUS OUT ERR COMMAND...
    local want_status=$1 want_out=$2 want_err=$3 out err status
    shift 3
    checks=$((checks + 1))
    out=$("$@" 2>"$scratch/error")
    status=$?
    err=$(<"$scratch/error")
    # shellcheck disable=SC2053 # patterns are wanted
    [[ $status == "$want_status" && $out == $want_out && $err == $want_err ]] && return
    failures=$((failures + 1))
    printf 'FAILED: %s\n  wanted %s | %s | %s\n  got    %s | %s | %s\n' "$*" \
        "$want_status" "$want_out" "$want_err" "$status" "$out" "$err" >&2
}

run() {
    "$run_program" "$@"
}

in_appliance() { # SCRIPT: on one board, default model, latching relays
    run --latching bash -c "$1"
}

# --- what passes through ---
expect 0 "" "" run true
expect 7 "" "" run sh -c 'exit 7'
expect 143 "" "" run sh -c 'kill -TERM $$'
expect 127 "" "*no-such-command: not found" run no-such-command
expect 0 "input" "" bash -c "echo input | '$run_program' cat"
expect 0 "out" "err" run sh -c 'echo out; echo err >&2'
expect 0 "-a|b c|" "" run printf '%s|' -a 'b c'
expect 0 "--model|" "" run -- printf '%s|' --model
expect 5 "0 bare" "" run --bare sh -c 'echo $(id -u) $PLEXOR_APPLIANCE; exit 5'

# --- what stays private ---
mark=plexor-test-$$
ipcs_before=$(ipcs)
etc_before=$(ls -la /etc)
expect 0 "" "" in_appliance "ipcmk -M 64 >/dev/null; touch /tmp/$mark /run/$mark.pid /etc/resolv.conf \\
    /etc/udhcpd.conf /etc/dnsmasq.conf && rm /etc/resolv.conf"
expect 0 "$ipcs_before" "" ipcs
expect 0 "$etc_before" "" ls -la /etc
expect 1 "" "" test -e "/tmp/$mark" -o -e "/run/$mark.pid"
expect 1 "" "*Read-only file system" run touch /usr/x
expect 1 "" "touch: cannot touch */etc/passwd*" run touch /etc/passwd
expect 0 "plexor lo 2" "" run --bare bash -c 'echo "$(hostname)" $(ls /proc/sys/net/ipv4/conf | grep -v -e all -e default) $$'
expect 0 "/run" "" run --bare realpath /var/run
expect 1 "" "" run --bare test -e /dev/gpio

# --- the current folder and the checkout can be written, wherever they are ---
mkdir "$scratch/below tmp"
cd "$scratch/below tmp" || exit 1
expect 0 "$scratch/below tmp" "" run bash -c 'pwd; echo kept >file'
expect 0 "kept" "" cat "$scratch/below tmp/file"
[[ ! -w $here ]] || expect 0 "" "" run test -w "$here"
cd / || exit 1
expect 0 "/" "" run pwd
expect 1 "" "*Read-only file system" run touch /x

# --- wrong options and places ---
expect 0 "Usage: plexor-run*" "" run --help
expect 2 "" "plexor-run: unknown option --frob;*" run --frob
expect 2 "" "plexor-run: --model needs an argument;*" run --model
expect 2 "" "plexor-board: no model 00C3; there are 00C341 * 000000" run --model 00C3 true
expect 2 "" "plexor-run: --bare has no board:*" run --bare --latching true
expect 2 "" "plexor-run: --bare has no board:*" run --bare --station 2 true
expect 2 "" "plexor-run: --join goes with no other option" run --join "$scratch" --latching true
expect 2 "" "plexor-run: a COMMAND is needed*" run </dev/null
expect 1 "" "plexor-run: there is no folder /none;*" run --build /none true
expect 1 "" "plexor-run: /usr has no bin/plexor-board;*" run --build /usr true
mkdir "$scratch/few"
for program in bash dirname realpath; do ln -s "$(command -v $program)" "$scratch/few/$program"; done
expect 1 "" "plexor-run: bubblewrap is missing*" env PATH="$scratch/few" "$run_program" true
printf '#!/bin/sh\necho "bwrap: No permissions to create new namespace" >&2\nexit 1\n' >"$scratch/few/bwrap"
chmod +x "$scratch/few/bwrap"
expect 1 "" "plexor-run: this machine does not permit *No permissions*run as root, or *" \
    env PATH="$scratch/few" "$run_program" true

# --- the board of the appliance ---
expect 0 "00C302" "" run boardctl get model
expect 0 "00C347" "" run --model 00c347 boardctl get model
expect 0 "*ordinary relays*" "" run boardctl show
expect 0 "*latching relays*" "" run --latching boardctl show
expect 0 "high" "" in_appliance 'boardctl set line.20 high && boardctl get line.20'
expect 0 "17" "" in_appliance 'boardctl set controller.300 17 && boardctl get controller.300'
expect 0 "" "" in_appliance 'boardctl set scan 40,4E'
expect 0 "-5" "" in_appliance 'boardctl set param.key -- -5 && boardctl get param.key'
expect 0 "a b" "" in_appliance "boardctl set param.key 'a b' && boardctl get param.key"
expect 0 "on" "" in_appliance 'boardctl power-loss && boardctl power-up && boardctl get power'
expect 0 "off" "" in_appliance 'boardctl power-loss && boardctl get power'
expect 0 "*i2c-stuck on*" "" in_appliance 'boardctl fault i2c-stuck on && boardctl fault'
expect 0 '*"i2c-stuck":false*' "" run boardctl fault --json
expect 0 "*fault i2c-stuck: on" "" in_appliance 'boardctl fault i2c-stuck on && boardctl events'
expect 0 '{"sequence":2,*"detail":"off"}' "" in_appliance \
    'boardctl fault i2c-stuck on && boardctl fault i2c-stuck off && boardctl events --json --since 1'
expect 0 "2" "" in_appliance 'boardctl fault i2c-stuck on
    (timeout 5 boardctl events --follow | head -n 2 | wc -l) & sleep 0.3; boardctl fault i2c-stuck off; wait'
expect 0 '*"code": "00C302"*' "" run boardctl show --json
expect 0 "0" "" in_appliance "boardctl show | grep -c \$'\\x1b' || true"

# --- boardctl's errors: one line, 2 for a wrong command, 1 for a failure ---
expect 2 "" "boardctl: the first argument is one of show, events, *" run boardctl
expect 2 "" "boardctl: the first argument is one of show, events, *" run boardctl frob
expect 2 "" "boardctl: *--wat*" run boardctl show --wat
expect 2 "" "boardctl: KEY is required*" run boardctl get
expect 2 "" "boardctl: no key \"foo\" to get; there are line.N, *" run boardctl get foo
expect 2 "" "boardctl: no key \"contacts\" to set; there are line.N, *" run boardctl set contacts on
expect 2 "" "boardctl: line.N takes high or low" run boardctl set line.3 up
expect 2 "" "boardctl: no fault \"nope\"; there are gpio-absent, *" run boardctl fault nope on
expect 2 "" "boardctl: NAME requires STATE*" run boardctl fault i2c-stuck
expect 2 "" "boardctl: STATE: maybe not in {on,off}*" run boardctl fault i2c-stuck maybe
expect 1 "" "boardctl: no board answers at /none/control.sock (No such file or directory): run this inside *" \
    env PLEXOR_BOARD_DIR=/none "$PLEXOR_BUILD/bin/boardctl" show
expect 1 "" "boardctl: no board answers at /none *" "$PLEXOR_BUILD/bin/boardctl" show --socket /none
expect 1 "" "boardctl: the board has gone" in_appliance \
    'timeout 5 boardctl events --follow & sleep 0.3; kill -9 "$(pidof plexor-board)"; wait $!'

# --- the appliance's clocks ---
expect 0 $'2026-11-22\n00' "" in_appliance 'boardctl set clock "2026-11-21 23:59:50"; boardctl set clock-rate 100
    sleep 10; date +%F; date +%H'
expect 0 "60" "" in_appliance 'boardctl set clock-rate 60; boardctl get clock-rate'
expect 0 "*clock *, runs 60 times as fast*" "" in_appliance 'boardctl set clock-rate 60; boardctl show'
expect 2 "" "boardctl: clock-rate takes 1 to 1000" run boardctl set clock-rate 1001
expect 2 "" "boardctl: clock takes a local date *" run boardctl set clock tomorrow

# --- the appliance's network ---
links=$(ip -br link)
layout='ip -br -4 address; ip route get 255.255.255.255; ip -br link show eth2'
expect 0 $'lo *127.0.0.1/8*br0 *UP *10.23.0.7/24*apcli0*10.24.0.7/24*dev br0*00:c3:47:01:02:09 *' "" \
    run --model 00C347 --network --station 7 bash -c "$layout"
expect 0 "*00:c3:02:01:02:03*" "" run --network ip -br link show br0
expect 0 "$links" "" ip -br link
expect 2 "" "plexor-run: --station takes 1 to 250" run --station 251 true

# --- the way in while it runs ---
run --folder "$scratch/named" bash -c 'until [[ -e /run/plexor/left ]]; do sleep 0.02; done
    boardctl get param.key' >"$scratch/joined" &
appliance=$!
for ((i = 0; i < 500; i++)); do
    [[ -S $scratch/named/control.sock ]] && break
    sleep 0.02
done
expect 0 "" "" run --join "$scratch/named" boardctl set param.key joined
expect 0 "$PWD" "" run --join "$scratch/named" pwd
expect 1 "" "mkdir: *File exists" run --folder "$scratch/named" true
expect 6 "" "" run --join "$scratch/named" sh -c 'exit 6'
touch "$scratch/named/left"
wait "$appliance"
expect 0 "" "" test $? -eq 0
expect 0 "joined" "" cat "$scratch/joined"
expect 1 "" "plexor-run: no appliance runs in $scratch/named" run --join "$scratch/named" true

# --- power loss ---
expect 0 $'1;2\nempty' "" in_appliance 'boardctl set param.SPI_buf_1 f; plexorctl param set default_status_PX "1;2"
    plexorctl param commit; boardctl set param.SPI_buf_1 3; touch /var/run/cnt3.pid; boardctl power-loss
    boardctl get param.default_status_PX; [ -e /var/run/cnt3.pid ] || echo empty'

expect 0 $'off 1 0\n01 00\nmains: lost' "" in_appliance 'boardctl set param.reflash 9; boardctl set power-loss-at-write 2
    plexorctl i2c write 0xA0 272 1 >/dev/null 2>&1; plexorctl i2c write 0xA0 4 9 >/dev/null 2>&1
    echo $(boardctl get power; boardctl get controller.272; boardctl get controller.4; boardctl get param.reflash)
    plexorctl i2c read 0xA0 272 2 2>&1 | grep -q missing && boardctl power-up && plexorctl i2c read 0xA0 272 2
    boardctl events | grep -o "mains: lost"'
expect 0 "05$(printf %033d 7)" "" in_appliance 'boardctl set schedule.4 05$(printf %033d 7) && boardctl get schedule.4'
expect 0 '*"login": "admin"*' "" in_appliance 'boardctl set login admin && boardctl show --json'

# --- the programs of the appliance, and the way in from another terminal ---
expect 0 "on off off off off off off off" "" in_appliance 'plexorctl outlet on 1 >/dev/null && boardctl get contacts'
expect 0 "*index:0 value:1*" "" in_appliance 'plexorctl outlet on 1 >/dev/null && cat /run/plexor/debug.log'
expect 0 "*" "*index:0 value:1*" run --debug --latching plexorctl outlet on 1
"$run_program" --model 00C352 sleep 60 &
appliance=$!
for ((i = 0; i < 100; i++)); do
    sockets=("$scratch"/plexor-run.*/control.sock)
    [[ -S ${sockets[0]} ]] && break
    sleep 0.05
done
expect 0 "00C352" "" "$PLEXOR_BUILD/bin/boardctl" --socket "${sockets[0]}" get model
kill -TERM "$appliance"
wait "$appliance" 2>/dev/null
expect 1 "" "*" test -e "${sockets[0]}"

# --- several appliances at once do not meet, and none leaves anything behind ---
for i in 1 2 3; do
    in_appliance "boardctl set param.key $i; sleep 0.3; boardctl get param.key" >"$scratch/appliance$i" &
done
wait
expect 0 $'1\n2\n3' "" cat "$scratch/appliance1" "$scratch/appliance2" "$scratch/appliance3"
expect 0 "" "" find "$scratch" -maxdepth 1 -name 'plexor-run.*'

echo "$checks checks, $failures failed"
((failures == 0))
