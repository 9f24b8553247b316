#!/usr/bin/env bash
# check_installation.sh CMAKE BUILD_DIRECTORY MAKE_SAMPLE_VIDEO
#
# Installs the build under a prefix of its own and does the main job there: from another folder, without a display, on
# the sample video, whose transitions are known.

set -euo pipefail

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
prefix=$scratch/prefix
"$1" --install "$2" --prefix "$prefix" >/dev/null
"$3" "$scratch/样片 1.mp4"

cd "$scratch"
export XDG_CACHE_HOME=$scratch/cache
unset DISPLAY WAYLAND_DISPLAY QT_QPA_PLATFORM
kestrel=$prefix/bin/kestrel
[ -x "$kestrel" ] || kestrel=$prefix/Kestrel.app/Contents/MacOS/Kestrel

expect() {
    [ "$2" = "$3" ] || {
        printf '%s:\nexpected:\n%s\nactual:\n%s\n' "$1" "$2" "$3"
        exit 1
    }
}

"$kestrel" --self-test
if [ -d "$prefix/bin" ]; then
    expect "the detector in use" "script=$prefix/share/kestrel/detect_scene_changes.py" \
        "$("$kestrel" --self-test | grep ^script=)"
    ls "$prefix"/share/kestrel/kestrel_detector/__pycache__/main.*.pyc >/dev/null
fi
batch=$(dirname "$kestrel")/kestrel-batch
expect "the clips of the sample" 5 "$("$batch" cut -q '样片 1.mp4' -o clips | grep -c '"state":"completed"')"
expect "the transitions of the sample" $'events=4\nkeep_segments=5' "$("$kestrel" --detect-summary '样片 1.mp4')"
