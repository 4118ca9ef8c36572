# shellcheck shell=bash
# SPDX-License-Identifier: Apache-2.0
# Sourced beside plexorctl_words.sh by the tests that need plexord: how it is started, and how to wait for what it
# does.

pid_file=/var/run/plexord.pid

# shellcheck disable=SC2120 # mostly without options
start_plexord() { # OPTION...
    prints '*' plexord "$@"
}

has_ended() { # PID
    ! kill -0 "$1"
}

stop_plexord() {
    local pid
    pid=$(<"$pid_file")
    checks=$((checks + 1))
    kill "$pid" || wrong 'plexord has died before'
    await has_ended "$pid"
}

it_is() { tell_board set clock "$1"; } # "2026-11-21 23:59:50"

cycles_are() { # FILTER
    plexorctl --json cycles | jq -e "$1"
}

awaits() { await cycles_are "$1"; } # FILTER for cycles --json

contacts_are() { # WORD...
    [[ $(boardctl get contacts) == "$*" ]]
}

await_contacts() { await contacts_are "$@"; } # WORD...

# What programs logged, and what the library said to the platform's debug print.
log_has() { # TEXT
    boardctl events | grep -qF -- "$1" || grep -qF -- "$1" "$PLEXOR_DEBUG_LOG"
}

await_log() { await log_has "$1"; } # TEXT

# Writes into the record of cycles as its writers do.
poke() { # OFFSET text|word VALUE
    checks=$((checks + 1))
    /usr/bin/python3 - "$@" <<'END' || wrong "cannot write to the record of cycles"
import ctypes
import os
import sys

offset, kind, value = sys.argv[1:]
c = ctypes.CDLL(None)
c.shmat.restype = ctypes.c_void_p
c.shmat.argtypes = [ctypes.c_int, ctypes.c_void_p, ctypes.c_int]
record = c.shmat(c.shmget(0x4C104F10, 0, 0), None, 0)
data = int(value).to_bytes(4, sys.byteorder) if kind == "word" else os.fsencode(value)[:255] + b"\0"
ctypes.memmove(record + int(offset), data, len(data))
END
}

set_word() { # initialised|busy|active|notify VALUE
    local -A offsets=([initialised]=0 [busy]=4 [active]=8 [notify]=12)
    poke "${offsets[$1]}" word "$2"
}

set_list() { # table|durations|started|elapsed TEXT
    local -A offsets=([table]=48 [durations]=304 [started]=560 [elapsed]=816)
    poke "${offsets[$1]}" text "$2"
}
