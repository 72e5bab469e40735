#!/usr/bin/env bash
# tests/gates/mutations.sh [--check] [ROOM[:PATTERN]...]
# Plants one small fault at a time in a copy of the checkout, builds what it touches, and runs the tests: those of the
# fault's room first, then all others. Prints which case caught each fault, and fails when one wasn't caught. All faults
# take an hour or more; PATTERN selects those of a room whose names contain it. A fault is a line of mutations/ROOM.txt:
#   its name|source|sed -E script
# A fault whose line is no longer there, or that can't be built, stops the script: the list must be kept current. With
# --check it only looks for the lines.
set -euo pipefail
cd "$(dirname "$0")/../.."

list=$PWD/tests/gates/mutations
jobs=$(nproc)
checks=false
if [ "${1:-}" = --check ]; then
    checks=true
    shift
fi
[ $# -gt 0 ] || set -- $(basename -s .txt "$list"/*.txt)

# The test programs that look for a room's faults first.
programs_of() {
    case "$1" in
        platform) echo platform_ ;;
        common) echo 'common_|charset_|corpus:' ;;
        lib) echo 'lib_|corpus:' ;;
        config | families) echo 'acceptance_|config_' ;;
        process | walk) echo process_ ;;
        tools) echo 'tools_|python:' ;;
        *) echo "no such room: $1" >&2; return 2 ;;
    esac
}

faults=()
for choice in "$@"; do
    room=${choice%%:*}
    pattern=${choice#"$room"}
    programs_of "$room" >/dev/null
    while IFS= read -r line; do
        IFS='|' read -r name source script <<<"$line"
        [[ "$name" == *"${pattern#:}"* ]] || continue
        if sed -E "$script" "$source" | cmp -s - "$source"; then
            echo "$room: \"$name\" changes nothing in $source" >&2
            exit 2
        fi
        faults+=("$room|$line")
    done < <(grep -Ev '^(#|$)' "$list/$room.txt")
done
[ ${#faults[@]} -gt 0 ] || { echo "no fault has such a name" >&2; exit 2; }
if $checks; then
    echo "mutations: ${#faults[@]} faults, the lines of all are there"
    exit 0
fi

copy=$(mktemp -d "${TMPDIR:-/tmp}/wdlt-mutations.XXXXXX")
trap 'rm -rf "$copy"' EXIT
trap 'exit 2' INT TERM
git ls-files -z | tar --null -T - -c | tar -x -C "$copy"
cd "$copy"

build() { cmake --build build -j "$jobs" >build.log 2>&1; }

# look CTEST-ARGUMENT...: prints the first case that fails, if any. Runs in a session of its own, so that a child that
# hangs is killed with it.
look() {
    setsid ctest --test-dir build -j $((jobs * 2)) --stop-on-failure --no-tests=error "$@" >ctest.log 2>&1 &
    local session=$!
    wait "$session" || sed -nE '/\*\*\*(Failed|Timeout|Exception)/{s/^.*Test +#[0-9]+: ([^ ]+) .*$/\1/p;q}' ctest.log
    kill -KILL -- "-$session" 2>/dev/null || true
}

launcher=()
if command -v ccache >/dev/null; then
    export CCACHE_BASEDIR=$copy CCACHE_NOHASHDIR=1 CCACHE_SLOPPINESS=pch_defines,time_macros
    launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)
fi
cmake --preset debug -B build -DWDLT_QUICK_BUILD=ON -DWDLT_EACH_SOURCE=ON -DWDLT_TEST_TIMEOUT=60 "${launcher[@]}" >build.log
build || { tail -5 build.log >&2; exit 2; }
found=$(look)
[ -z "$found" ] || { echo "without a fault, $found fails" >&2; exit 2; }

declare -A planted=() caught=()
missed=0
for fault in "${faults[@]}"; do
    IFS='|' read -r room name source script <<<"$fault"
    cp -p "$source" original
    sed -i -E "$script" "$source"
    first="^($(programs_of "$room"))"
    if build; then
        found=$(look -R "$first")
        [ -n "$found" ] || found=$(look -E "$first")
    elif grep -q 'Error running test executable' build.log; then
        found="a program that can't list its cases"
    else
        tail -5 build.log >&2
        echo "$room: \"$name\" can't be built" >&2
        exit 2
    fi
    planted[$room]=$((${planted[$room]:-0} + 1))
    if [ -n "$found" ]; then
        caught[$room]=$((${caught[$room]:-0} + 1))
    else
        missed=$((missed + 1))
    fi
    printf '%-9s %-70s %s\n' "$room" "$name" "${found:-NOT CAUGHT}"
    cp original "$source"
done

echo
for room in "${!planted[@]}"; do
    printf '%-9s %d of %d caught\n' "$room" "${caught[$room]:-0}" "${planted[$room]}"
done | sort
[ "$missed" -eq 0 ]
