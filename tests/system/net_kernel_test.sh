#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# The network functions on a kernel of their own; what they do and tell is compared with what iproute2 says.
# Takes no arguments; PLEXOR_BUILD names the build to test.
set -u

here=$(dirname "$(realpath "$0")")
# shellcheck source=tests/system/users.sh
. "$here/users.sh"
as_each_user "$(realpath "$here/../../board/plexor-run")" --network -- \
    /usr/bin/python3 -B -m unittest discover --start-directory "$here" --pattern 'net_kernel*.py'
