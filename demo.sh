#!/usr/bin/env bash
# Builds the library and shows what it does, in a private home that is removed at the end. Every step is checked: the
# status of the demo is 0 only when all went as told.
set -euo pipefail
cd "$(dirname "$0")"

./setup.sh

home=$(mktemp -d "${TMPDIR:-/tmp}/wardlet-demo.XXXXXX")
trap 'rm -rf "$home"' EXIT
export WARDLET_HOME=$home
unset WARDLET_ACP WARDLET_DURABILITY WARDLET_TIME_SCALE

quietly() { "$@" >"$home/build.log" 2>&1 || { cat "$home/build.log" >&2; exit 1; }; }
echo "Building (release) ..."
quietly cmake --preset release
quietly cmake --build --preset release --target wdltctl wdltreg WdltCfg WdDbg64
PATH=$PWD/build/release/bin:$PATH

step() { printf '\n== %s\n' "$*"; }
fail() { echo "demo.sh: $*" >&2; exit 1; }

# A command as one would type it again.
show() {
    local word line='$'
    for word in "$@"; do
        [[ $word =~ ^[A-Za-z0-9_./=:-]+$ ]] || word="'$word'"
        line+=" $word"
    done
    printf '%s\n' "$line"
}

output=
# run TEXT COMMAND...: the command succeeds and prints TEXT.
run() {
    local text=$1
    shift
    show "$@"
    output=$("$@") || fail "failed: $*"
    [ -z "$output" ] || printf '%s\n' "$output"
    [[ $output == *"$text"* ]] || fail "expected \"$text\" from: $*"
}

# refused TEXT COMMAND...: the command ends with status 1, TEXT on its standard error, and nothing on its output.
refused() {
    local text=$1 status=0
    shift
    show "$@"
    output=$("$@" 2>"$home/refusal") || status=$?
    cat "$home/refusal"
    [ "$status" -eq 1 ] || fail "status $status, not 1, from: $*"
    [ -z "$output" ] || fail "output from a refused command: $*"
    grep -qF -- "$text" "$home/refusal" || fail "expected \"$text\" from: $*"
}

base='HKLM\SOFTWARE\Halvermoor\PLK\Wardlet'

step "A fresh installation's settings"
run 'laid down' wdltctl init --install 'D:\Wardlet'
refused 'there already' wdltctl init
run '[SMTP]' wdltreg query "$base\\ProtocolHandler"
run 'ReceiveTimeout = REG_DWORD 0' wdltreg tree "$base\\ProtocolHandler\\HTTP"

step "The record of the service, read through the library"
run 'D:\Wardlet\Temp\' wdltctl get system
run '"tcpAutoTuningLevel": 2' wdltctl get system --json

step "A new port, set through the library and found in the registry"
run 'REG_DWORD 6999' wdltreg query "$base" ProxyPort
run '' wdltctl set system proxyPort=8080 bmFlag=0
run 'REG_DWORD 8080' wdltreg query "$base" ProxyPort
run '8080' wdltctl get system proxyPort

step "The same record as bytes, at its address"
run '|..D:\Wardlet\' wdltctl raw read 10000 0

# From here on the library writes a log: all three levels, in either session.
for section in ServiceSession InteractiveSession; do
    printf '[%s]\nEnable=1\nLevel=273\nLogFolder=%s\nLogPrefix=wdlt\nLogFile=demo\nLogExtension=log\n' \
        "$section" "$home"
done >"$home/Wardlet.ini"

step "A wrong size is refused, and the needed one told"
refused 'the record takes 864 bytes' wdltctl raw read 10000 0 --size 100
refused 'status -1' wdltctl raw write 10000 0 share/wardlet.reg

step "An address without a helper is refused"
refused 'status -1' wdltctl raw read 4 0

step "What the library logged about it"
run 'No config helper [protocol=4, scan=00000000]' cat "$home/wdltdemo.log"
[[ $output == *'WriteConfig size is invalid'* ]] || fail "the refused write isn't in the log"

echo
echo "Done."
