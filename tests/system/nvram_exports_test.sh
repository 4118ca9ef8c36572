#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# The development libnvram.so.0 exports what the platform's header declares, and nothing else.
# Takes no arguments; PLEXOR_BUILD names the build to test.
set -u

header=$(dirname "$(realpath "$0")")/../../platform/nvram.h
declared=$(grep -oE '^(int|const char \*) ?\*?[a-z0-9_]+\(' "$header" | grep -oE '[a-z0-9_]+\($' | tr -d '(' | sort)
exported=$(nm -D --defined-only "$PLEXOR_BUILD/lib/libnvram.so.0" | awk '{ print $NF }' | sort)
[[ $declared && $declared == "$exported" ]] && exit
diff <(echo "$declared") <(echo "$exported") >&2
exit 1
