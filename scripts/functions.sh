# shellcheck shell=bash
# What the commands in this folder share. Sourced, never run; works with the bash 3.2 of macOS.

set -euo pipefail

project=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

say() { printf '==> %s\n' "$*" >&2; }

die() {
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}

on_macos() { [ "$(uname -s)" = Darwin ]; }

# The program that a preset built.
built_program() {
    if on_macos; then
        printf '%s\n' "$project/build/$1/bin/Kestrel.app/Contents/MacOS/Kestrel"
    else
        printf '%s\n' "$project/build/$1/bin/kestrel"
    fi
}

# Configures once; from then on the build looks after itself.
build_preset() {
    cd "$project"
    [ -e "build/$1/build.ninja" ] || cmake --preset "$1"
    cmake --build --preset "$1"
}

core_count() {
    if on_macos; then sysctl -n hw.ncpu; else nproc; fi
}

# Our C++ sources, each path ended by a NUL.
cpp_sources() {
    (cd "$project" && find macos-app tests campaigns bench fuzz -name '*.cpp' -print0 -o -name '*.h' -print0)
}

# Builds the program and runs one of the campaigns against it. Small disks and a false ffmpeg are mounted where nobody
# else sees them.
run_campaign() {
    local name=$1 own_mounts=(unshare --mount)
    shift
    "$project/scripts/install-dependencies" test
    cd "$project"
    [ -e build/dev/build.ninja ] || cmake --preset dev
    cmake --build --preset dev --target kestrel kestrelinspector drag_source
    [ "$(id -u)" = 0 ] || own_mounts+=(--map-root-user)
    PYTHONPATH=tests/end_to_end exec "${own_mounts[@]}" python3 "campaigns/$name.py" build/dev "$@"
}
