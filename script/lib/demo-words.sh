# shellcheck shell=bash
# SPDX-License-Identifier: Apache-2.0
# Sourced by the scenes of the demo, which run inside an appliance of their own (board/plexor-run): how they tell what
# they do.

# shellcheck source=script/lib/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

tell() { printf '%s$ %s%s\n' "$dim" "$*" "$plain"; }

run() {
    tell "$@"
    "$@"
}

step() { printf '\n%s%s%s\n' "$bold" "$*" "$plain"; }

await() { # COMMAND...: until it succeeds
    for ((i = 0; i < 1000; ++i)); do
        ! "$@" || return 0
        sleep 0.01
    done
    die "in vain: $*"
}
