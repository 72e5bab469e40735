#!/usr/bin/env bash
# Checks all states of the model of the reader/writer lock, and then the model with each rule of the lock left out,
# which the checker must notice: model.sh [JOBS]. `model.sh long` checks more rounds instead, which takes a minute or
# two.
set -euo pipefail
cd "$(dirname "$0")/../.."
model=$PWD/docs/model/rwlock.pml
lock=$PWD/Common/srclib/RWLock.cpp

small="-DPROCESSES=2 -DROUNDS=2"
wide="-DPROCESSES=3 -DROUNDS=1"
sound=("$small" "$wide" "-DPROCESSES=3 -DROUNDS=2 -DROWS_GIVEN -DDEATHS=1")
jobs=${1:-$(nproc)}
long=false
if [ "${1:-}" = long ]; then
    sound=("-DPROCESSES=3 -DROUNDS=2 -DROWS_GIVEN" "-DPROCESSES=3 -DROUNDS=2 -DDEATHS=1" "-DPROCESSES=2 -DROUNDS=3")
    jobs=1
    long=true
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# search LEVEL OPTION...: builds the model with the options and prints what the checker finds: "sound", "fault", or why
# it can't tell. LEVEL is the compiler's: a short search isn't worth a long compilation.
search() {
    local level=$1 dir result
    shift
    dir=$(mktemp -d -p "$work")
    cd "$dir"
    if ! { spin "$@" -a "$model" && gcc "$level" -w -DSAFETY -DCOLLAPSE -DMEMLIM=2048 -o pan pan.c; } >made 2>&1; then
        echo "not built: $(tail -1 made)"
        return
    fi
    result=$(timeout 100 ./pan -m100000 2>&1) || result+=$'\nended early'
    rm -f pan
    if grep -q 'errors: [1-9]' <<<"$result"; then
        echo fault
    elif grep -qE 'not completed|too small|ended early|truncated' <<<"$result"; then
        echo "not walked whole: $(grep -m1 -E 'reached|too small|ended early|truncated' <<<"$result")"
    elif grep -q 'errors: 0' <<<"$result"; then
        echo sound
    else
        echo "no result"
    fi
}

# check: one job, "sound OPTION..." or "mistake NAME".
check() {
    local kind=$1 found
    shift
    if [ "$kind" = sound ]; then
        found=$(search -O1 "$@")
        [ "$found" = sound ] || { echo "model: $* is $found"; return 1; }
        return
    fi
    # shellcheck disable=SC2086
    for options in "$small" "$wide"; do
        found=$(search -O0 $options "-D$1")
        [ "$found" = sound ] || break
    done
    [ "$found" = fault ] || { echo "model: the checker doesn't see $1: $found"; return 1; }
}
export -f search check
export model work small wide

# The lock and its model must have the same steps.
steps() { grep -o "$1(\"[a-z.]*\")" "$2" | grep -o '"[^"]*"' | sort -u; }
if ! difference=$(diff <(steps WD_STEP "$lock") <(steps '\bSTEP' "$model")); then
    echo "model: its steps aren't those of the lock:"
    echo "$difference"
    exit 1
fi

{
    printf 'sound %s\n' "${sound[@]}"
    $long || grep -o 'MISTAKE_[A-Z_]*[A-Z]' "$model" | sort -u | sed 's/^/mistake /'
} | xargs -P "$jobs" -I{} bash -c 'check {}'
