# shellcheck shell=bash
# SPDX-License-Identifier: Apache-2.0
# Sourced by the scenes of the demo, which run inside an appliance of their own (board/plexor-run): how they tell what
# they do.

# shellcheck source=script/lib/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

run() {
    printf '%s$ %s%s\n' "$dim" "$*" "$plain"
    "$@"
}

step() { printf '\n%s%s%s\n' "$bold" "$*" "$plain"; }
