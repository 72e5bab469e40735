#!/usr/bin/env bash
# Builds the library and shows what it does, in a private home that is removed at the end. Every step is checked: the
# demo's exit status is 0 only if all went as shown.
set -euo pipefail
cd "$(dirname "$0")"

./setup.sh build

home=$(mktemp -d "${TMPDIR:-/tmp}/wardlet-demo.XXXXXX")
peer='' writer='' next=''
clean_up() {
    local pid
    for pid in $peer $writer $next; do
        kill -KILL "$pid" 2>/dev/null || true
    done
    rm -rf "$home"
}
trap clean_up EXIT
export WARDLET_HOME=$home
unset WARDLET_ACP WARDLET_DURABILITY WARDLET_TIME_SCALE

quietly() { "$@" >"$home/build.log" 2>&1 || { cat "$home/build.log" >&2; exit 1; }; }
quietly cmake --preset release -DWDLT_QUICK_BUILD=ON -DWDLT_BUILD_TESTS=OFF
echo "Building: a minute or two on two cores, the first time ..."
build=(cmake --build --preset release --target wdltctl wdltreg wardlet-peer WdltCfg WdDbg64)
if [ -t 1 ]; then "${build[@]}"; else quietly "${build[@]}"; fi # on a terminal the build shows its progress
PATH=$PWD/build/release/bin:$PATH

step() { printf '\n== %s\n' "$*"; }
fail() { echo "demo.sh: $*" >&2; exit 1; }

# Prints a command as one would type it.
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

# refused STATUS TEXT COMMAND...: the command ends with STATUS, TEXT on standard error and, unless printed_too is set, no
# output.
refused() {
    local wanted=$1 text=$2 status=0
    shift 2
    show "$@"
    output=$("$@" 2>"$home/refusal") || status=$?
    cat "$home/refusal"
    [ "$status" -eq "$wanted" ] || fail "status $status, not $wanted, from: $*"
    printf '%s' "${output:+$output
}"
    [ -z "$output" ] || [ -n "${printed_too:-}" ] || fail "output from a refused command: $*"
    grep -qF -- "$text" "$home/refusal" || fail "expected \"$text\" from: $*"
}

# start_peer OPTION...: starts the stand-in for the running service in the background; returns when it is ready.
start_peer() {
    printf '$ wardlet-peer%s &\n' "${*:+ $*}"
    exec {peer_output}< <(exec wardlet-peer "$@")
    peer=$!
    hears '"kind":"ready"'
}

# hears TEXT: the peer's next line contains TEXT.
hears() {
    local line=
    read -r -t 20 -u "$peer_output" line || fail "the peer is silent, expected $1"
    printf '  peer: %s\n' "$line"
    [[ $line == *"$1"* ]] || fail "expected $1 from the peer"
}

end_peer() {
    kill -TERM "$peer"
    wait "$peer" || fail "the peer ended with status $?"
    peer=
    ! read -r -t 20 -u "$peer_output" || fail "the peer heard something else"
    exec {peer_output}<&-
}

base='HKLM\SOFTWARE\Halvermoor\PLK\Wardlet'

step "A fresh installation's settings"
run 'laid down' wdltctl init --install 'D:\Wardlet'
refused 5 'there already' wdltctl init
run '[SMTP]' wdltreg query "$base\\ProtocolHandler"
run 'ReceiveTimeout = REG_DWORD 0' wdltreg tree "$base\\ProtocolHandler\\HTTP"

step "The record of the service, read through the library"
run 'D:\Wardlet\Temp\' wdltctl get system
run '"tcpAutoTuningLevel": 2' wdltctl get system --json

step "A new port, set through the library and found in the registry"
run 'REG_DWORD 6999' wdltreg query "$base" ProxyPort
run 'proxyPort  8080' wdltctl set system proxyPort=8080 bmFlag=0
run 'REG_DWORD 8080' wdltreg query "$base" ProxyPort
run '8080' wdltctl get system proxyPort

step "The same record as bytes, at its address"
run '|..D:\Wardlet\' wdltctl raw read 10000 0

step "POP3 scanning on and off, and what the running service hears: the scan item, then its handler"
start_peer
run 'handler POP3: on' wdltctl enable pvs
hears '"protocol":10001,"scan":1'
hears '"protocol":10001,"scan":0'
run 'on already' wdltctl enable pvs
run 'AntiSpam of POP3: on' wdltctl enable aspm
hears '"protocol":10001,"scan":64'
run 'handler POP3 stays on: AntiSpam' wdltctl disable pvs
hears '"protocol":10001,"scan":1'
run 'handler POP3: off' wdltctl disable aspm
hears '"protocol":10001,"scan":64'
hears '"protocol":10001,"scan":0'
end_peer

step "What a virus scan does: an action for POP3, a size limit for web mail; each stands in two records"
start_peer
run '' wdltctl set pvs dwFirstAction=5 dwZipLayer=3
hears '"protocol":1,"scan":1'
hears '"protocol":1,"scan":0'
run 'REG_DWORD 5' wdltreg query "$base\\Scan\\POP3\\Virus\\config" Action
run '' wdltctl set wmvs dwLimitSize=4000
hears '"protocol":3,"scan":1'
hears '"protocol":0,"scan":131072'
run 'REG_DWORD 4000' wdltreg query "$base\\Scan\\Common\\HttpManager\\config" MaxWebMailScanSize
run '4000' wdltctl get wmvs dwLimitSize
end_peer

step "A private text, kept enciphered: the charsets in which it is searched for, and one that lacks it"
start_peer
run '' wdltctl add items Name '山田太郎'
hears '"protocol":0,"scan":8'
end_peer
run '(secret)' wdltctl list items
run 'utf-8    e5 b1 b1 e7 94 b0 e5 a4 aa e9 83 8e' wdltctl --secrets list patterns
! grep -qF '山田太郎' -r "$home/drive_d" "$home/registry" || fail "the text stands somewhere in plain"
run '1: can be searched for' wdltctl verify '山田太郎'
run '' wdltreg set "$base\\Scan\\Common\\PrivacyProtection\\config" CharSetEntry REG_DWORD 0x19 # adds iso-8859-1
printed_too=1
refused 1 "1 of 1 can't be searched for" wdltctl verify '山田太郎'
printed_too=

step "URLs against a list: from its file, and from the running service"
mkdir -p "$home/drive_d/Wardlet/Temp"
printf '*example.com/*\nhttp://test.example/page\n' >"$home/urls"
run '' wdltctl import urls black "$home/urls"
run 'test.example' wdltctl list urls black
run 'http://www.example.com/a: on the list' wdltctl check-url http://www.example.com/a --list black
printed_too=1
refused 1 'not on the black list' wdltctl check-url http://test.example/other --list black
printed_too=
start_peer
run 'on the list' wdltctl check-url http://test.example/page --list black
hears '"url":"http://test.example/page","found":true'
run '' wdltctl add urls white 'http://intranet/*'
hears '"protocol":0,"scan":4'
end_peer

step "An entry on the anti-spam white list, a text file of one entry a line"
start_peer
run '' wdltctl add spam white friend@example.com
hears '"protocol":1,"scan":64'
run 'friend@example.com' wdltctl list spam white
run 'friend@example.com' cat "$home/drive_d/Wardlet/SpamWhite.txt"
end_peer

step "A process is killed while it holds the lock of all features for writing"
start_peer --silent config
echo '$ wdltctl enable pvs &'
wdltctl enable pvs &
writer=$!
hears '"silent":true'
echo "(it has stored the scan item and waits for a service that doesn't answer; all others wait for it)"
echo '$ wdltctl enable pvs &'
wdltctl enable pvs >"$home/next" &
next=$!
status=0
show timeout 0.5 wdltctl status
timeout 0.5 wdltctl status || status=$?
[ "$status" -eq 124 ] || fail "status $status, not 124: nobody held the lock"
end_peer
echo "\$ kill -KILL $writer"
begin=${EPOCHREALTIME/[.,]/}
{ kill -KILL "$writer" && wait "$writer"; } 2>/dev/null || true
writer=
wait "$next" || fail "the next one failed"
next=
took=$(((${EPOCHREALTIME/[.,]/} - begin) / 1000))
run 'handler POP3: on' cat "$home/next"
echo "(the next one went on $took ms after the kill, and did what was left to do)"
[ "$took" -lt 2000 ] || fail "the next one was held up by the one that was killed"
run 'POP3     1     on     Virus' wdltctl status

# From here on the library writes a log: all three levels, in either session.
for section in ServiceSession InteractiveSession; do
    printf '[%s]\nEnable=1\nLevel=273\nLogFolder=%s\nLogPrefix=wdlt\nLogFile=demo\nLogExtension=log\n' \
        "$section" "$home"
done >"$home/Wardlet.ini"

step "A wrong size is refused, and the needed one told"
refused 5 'the record takes 864 bytes' wdltctl raw read 10000 0 --size 100
refused 5 'status -1' wdltctl raw write 10000 0 share/wardlet.reg

step "An address without a helper is refused"
refused 5 'status -1' wdltctl raw read 4 0

step "What the library logged about it"
run 'No config helper [protocol=4, scan=00000000]' cat "$home/wdltdemo.log"
[[ $output == *'WriteConfig size is invalid'* ]] || fail "the refused write isn't in the log"

step "Everything at a glance"
run 'HTTP     3     off' wdltctl status
[[ $output == *'https'*'drs'*'chrome'* ]] || fail "a feature is missing"

echo
echo "Done."
