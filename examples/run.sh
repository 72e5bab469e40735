#!/usr/bin/env bash
# Builds the examples against an installed tree, runs each in a new home and checks what it did: run.sh PREFIX
set -euo pipefail

examples=$(cd "$(dirname "$0")" && pwd)
prefix=$(cd "$1" && pwd)
work=$(mktemp -d)
peer=
trap '[ -z "$peer" ] || kill "$peer"; rm -rf "$work"' EXIT

build() { cmake -S "$examples" -B "$work/build" -DCMAKE_PREFIX_PATH="$prefix" && cmake --build "$work/build"; }
build >"$work/log" || { cat "$work/log"; exit 1; }

export WARDLET_HOME=$work/home WARDLET_TIME_SCALE=0.05
PATH=$work/build:$prefix/bin:$PATH
policy() { PYTHONPATH=$prefix/lib/python3/dist-packages python3 -W error -B "$examples/policy.py" "$@"; }

# expect STATUS OUTPUT COMMAND...: OUTPUT is all that it prints.
expect() {
    local expected=$1 output=$2 printed status=0
    shift 2
    printed=$("$@" 2>&1) || status=$?
    [ "$status" = "$expected" ] && [ "$printed" = "$output" ] && return
    printf 'examples: %s\nended with %s, not %s\n%s\nis not\n%s\n' "$*" "$status" "$expected" "$printed" "$output"
    exit 1
}

expect 1 'port not changed: registry failure (WDLT_E_REGISTRY)' port 8080
wdltctl init --install "$work/wardlet" >"$work/log"

expect 0 'port 6999 becomes 8080' port 8080
expect 0 8080 wdltctl get system proxyPort

expect 0 '0 tolerated; the scan of POP3 is off' tolerated
wdltctl add spyware one two >"$work/log"
wdltctl enable pvs >"$work/log"
expect 0 $'one\ntwo\n2 tolerated; the scan of POP3 is on' tolerated

expect 0 '1 on the black list' block '*.example.com/*'
expect 0 '2 on the black list' block '*.example.com/*' '*.example.org/*'
expect 0 $'*.example.com/*\n*.example.org/*' wdltctl list urls black

cat >"$work/policy.json" <<END
{"records": {"pop3": {"limit_size": 1024}}, "features": {"svs": true},
 "blocked": ["*.example.com/*", "*.example.net/*"]}
END
pop3() { echo "Pop3(limit_size=$1, interval_length=10, wait_time=60)"; }
expect 0 "pop3: $(pop3 5120) -> $(pop3 1024)"$'\nblocked: *.example.net/*\nsvs: on' policy "$work/policy.json"
expect 0 '' policy "$work/policy.json"
expect 0 1024 wdltctl get pop3 limit-size
echo '{"records": {"pop3": {"limit_sizes": 1}}}' >"$work/policy.json"
expect 1 'policy.py: pop3 has no limit_sizes, but limit_size, interval_length, wait_time' policy "$work/policy.json"

expect 0 $'the URL filter is on\nDRS is on' drs on
expect 0 'DRS is off' drs off
wardlet-peer --silent drs >"$work/peer" &
peer=$!
until [ -s "$work/peer" ]; do sleep 0.05; done
expect 4 $'the URL filter is on\nDRS is stored as on, but the service didn\'t answer' drs on

echo "examples: built, run and checked with $prefix"
