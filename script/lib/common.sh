# shellcheck shell=bash disable=SC2034
# SPDX-License-Identifier: Apache-2.0
# Sourced by every script: where the tree is, how to speak, which packages each purpose needs, how to build.

root=$(cd -P "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
cd "$root" || exit

if [ -t 1 ] && [ -z "${NO_COLOR:-}" ]; then
    bold=$'\e[1m' dim=$'\e[2m' red=$'\e[31m' green=$'\e[32m' plain=$'\e[0m'
else
    bold='' dim='' red='' green='' plain=''
fi

say() { printf '%s==>%s %s%s%s\n' "$green" "$plain" "$bold" "$*" "$plain"; }

die() {
    printf '%s%s: %s%s\n' "$red" "$(basename "$0")" "$*" "$plain" >&2
    exit 1
}

usage_error() {
    printf '%s: %s (see %s --help)\n' "$(basename "$0")" "$1" "$0" >&2
    exit 2
}

# Debian 12 packages, one line a purpose.
packages_for() {
    local build='g++ cmake ninja-build pkg-config liblmdb-dev nlohmann-json3-dev libcli11-dev
                 libgtest-dev libgmock-dev libbenchmark-dev bubblewrap iproute2'
    local reports='esmtp snmp snmptrapd python3-aiosmtpd' # what an appliance reports with, and to
    local listeners='tshark openssl psmisc' # what hears and checks an appliance on the network
    local test="$build $reports $listeners strace jq spin g++-mipsel-linux-gnu qemu-user"
    local peers='libssl-dev libglib2.0-dev libmd-dev nettle-dev' # encoders and digests to measure beside
    local lint="$build $peers clang-format clang-tidy cppcheck shellcheck pyflakes3"
    case $1 in
    demo) echo "$build $reports" ;;
    test) echo "$test" ;;
    lint) echo "$lint" ;;
    bench) echo "$build $peers strace jq" ;;
    fuzz) echo "$build clang-14 libclang-rt-14-dev" ;;
    coverage) echo "$build lcov" ;;
    all) echo "$test $lint clang-14 libclang-rt-14-dev lcov git" ;;
    *) return 1 ;;
    esac
}

installed() { [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]; }

# The packages of a purpose that are not installed, each once.
missing_packages() {
    local package
    for package in $(packages_for "$1" | tr -s ' \n' '\n' | sort -u); do
        installed "$package" || echo "$package"
    done
}

# Root gets what is missing, anybody else is told how to get it. Without dpkg there is nothing to ask.
need_packages() {
    local missing
    command -v dpkg-query >/dev/null || return 0
    missing=$(missing_packages "$1" | xargs)
    [ -n "$missing" ] || return 0
    [ "$(id -u)" -eq 0 ] || die "missing packages: $missing; first run: sudo script/bootstrap --for $1"
    "$root/script/bootstrap" --for "$1"
}

# build_dir PRESET: build/PRESET, or a folder of the caller's own where the tree belongs to somebody else.
build_dir() {
    if [ -w "$root/build/$1" ] || { [ ! -e "$root/build/$1" ] && mkdir -p "$root/build/$1" 2>/dev/null; }; then
        echo "$root/build/$1"
    else
        echo "${XDG_CACHE_HOME:-$HOME/.cache}/plexor/build/$1"
    fi
}

# build PRESET [TARGET...]: configures and builds; everything when no target is named.
build() {
    local preset=$1 folder
    shift
    folder=$(build_dir "$preset")
    say "Building $preset in ${folder#"$root"/}"
    mkdir -p "$folder"
    cmake --preset "$preset" -B "$folder" >"$folder/configure.log" 2>&1 || {
        cat "$folder/configure.log"
        return 1
    }
    cmake --build "$folder" ${1:+--target "$@"}
}
