#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# The datagrams that one appliance sends, as another one and a packet analyser on the wire get them.
# Takes no arguments; PLEXOR_BUILD names the build to test.
set -u

here=$(dirname "$(realpath "$0")")
# shellcheck source=tests/system/users.sh
. "$here/users.sh"
as_each_user "$(realpath "$here/../../board/plexor-lan")" --model 00C302 --model 00C309 \
    /usr/bin/python3 -B "$here/lan_datagram.py"
