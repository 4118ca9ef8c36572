# shellcheck shell=bash disable=SC2016
# SPDX-License-Identifier: Apache-2.0
# What docs/busy-word.md says can come of a meeting of two processes.

docs=$(realpath "$(dirname "${BASH_SOURCE[0]}")/../../docs")
# shellcheck disable=SC2034 # for those who source this
meetings='TWO_REQUESTS REQUEST_AND_TICK REQUEST_AND_END REQUEST_AND_FIRST'

# The section of a meeting.
section() { # MEETING
    awk -v heading="## \`$1\`" '/^## / { inside = index($0, heading) == 1 } inside' "$docs/busy-word.md"
}

# The rows of its table, without their last column: "overlap | off mask | on".
rows() { # MEETING
    section "$1" | sed -nE 's/^\| (apart|overlap) \| `([^`]*)` \| `([^`]*)` \|.*/\1 | \2 | \3/p'
}

# What it lists besides.
remarks() { # MEETING
    section "$1" | sed -nE 's/^- `([^`]*)`.*/\1/p'
}
