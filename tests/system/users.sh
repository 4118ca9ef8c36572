# shellcheck shell=bash
# SPDX-License-Identifier: Apache-2.0
# Sourced by tests that are made by the caller and, where that is root, by an ordinary user, too.

# Runs COMMAND as each; fails when it fails for one of them.
as_each_user() { # COMMAND...
    local status=0
    cd / || return
    "$@" || status=1
    if [[ $(id -u) == 0 ]] && runuser -u nobody -- test -x "${PLEXOR_BUILD:?names the build to test}/bin/plexor-board"; then
        runuser -u nobody -- env HOME=/nonexistent TMPDIR=/tmp "$@" || status=1
    fi
    return "$status"
}
