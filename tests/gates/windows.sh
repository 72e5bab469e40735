#!/usr/bin/env bash
# The library for Windows, in the compatibility runtime: it exports what the other one does, the acceptance cases pass
# there (but for those of tests/windows/left_out.txt), and what one system writes is read by the other:
# windows.sh BUILD WINDOWS_BUILD
set -euo pipefail
trap 'echo "windows: failed at line $LINENO: $BASH_COMMAND"' ERR
cd "$(dirname "$0")/../.."

native=$(realpath "$1/bin")
foreign=$(realpath "$2/bin")
. tests/gates/runtime.sh
[ -x "$runtime" ] || { echo "windows: not run, wine64 isn't installed"; exit 0; }

exported=$(x86_64-w64-mingw32-objdump -p "$foreign/WdltCfg.dll" | sed -n 's/^.*\[ *[0-9]*\] \([A-Za-z_].*\)$/\1/p' |
    grep -v ' ' | sort)
promised=$(sed -n 's/^ *\(Wdlt[A-Za-z0-9]*\);$/\1/p' config/frame/exports.map | sort)
diff <(echo "$promised") <(echo "$exported") || { echo "windows: the DLL exports other names"; exit 1; }

prepare_runtime
there() { timeout 400 "$runtime" "$@" 2>>"$scratch/said" | tr -d '\r'; }

there "$foreign/acceptance.exe" --gtest_list_tests >"$scratch/list"
while IFS='|' read -r name _; do
    grep -q "^  ${name#*.}" "$scratch/list" || { echo "windows: left out, but no case: $name"; exit 1; }
done < <(sed '/^#/d' tests/windows/left_out.txt)
left_out=$(sed -n '/^#/!s/|.*//p' tests/windows/left_out.txt | paste -sd:)
(cd "$foreign" && there ./acceptance.exe --gtest_brief=1 --gtest_filter="-$left_out") >"$scratch/cases" ||
    { tail -n 100 "$scratch/cases" "$scratch/said"; exit 1; }
tail -1 "$scratch/cases" | tee "$scratch/passed"
[ "$(grep -o '[0-9][0-9]*' "$scratch/passed")" -ge 150 ]

# Both write from a fresh installation, then each reads what the other has written: files, and the registry as text. The
# runtime's own tool takes and gives it in UTF-16.
key='HKEY_LOCAL_MACHINE\SOFTWARE\Halvermoor'
"$native/wdltctl" init >/dev/null
cp "$WARDLET_HOME/drive_c/Program Files/Wardlet/Privacy.dat" "$scratch/here"
cp "$scratch/here/Privacy.dat" "$scratch/there"
into_runtime() {
    iconv -f UTF-8 -t UTF-16 <(sed 's/$/\r/' "$1") >"$scratch/wide.reg"
    there reg delete "$key" /f >/dev/null || true
    there reg import "Z:$scratch/wide.reg" >/dev/null
}
fill() { "$@" write "$folder" >"$scratch/statuses" || { cat "$scratch/statuses"; return 1; }; }

"$native/wdltreg" export "$key" >"$scratch/fresh.reg"
into_runtime "$scratch/fresh.reg"
folder=$scratch/here/ fill "$native/exchange"
folder=Z:$scratch/there/ fill there "$foreign/exchange.exe"

"$native/exchange" read "$scratch/here/" >"$scratch/here-by-here"
there "$foreign/exchange.exe" read "Z:$scratch/there/" >"$scratch/there-by-there"
"$native/wdltreg" export "$key" >"$scratch/here.reg"
there reg export "$key" "Z:$scratch/there.reg" /y >/dev/null

"$native/wdltreg" delete -f "$key" >/dev/null 2>&1 || "$native/wdltreg" delete "$key" >/dev/null
"$native/wdltreg" import "$scratch/there.reg" >/dev/null
"$native/exchange" read "$scratch/there/" >"$scratch/there-by-here"
into_runtime "$scratch/here.reg"
there "$foreign/exchange.exe" read "Z:$scratch/here/" >"$scratch/here-by-there"
for read in there-by-there there-by-here here-by-there; do
    diff "$scratch/here-by-here" "$scratch/$read" || { echo "windows: read otherwise: $read"; exit 1; }
done
# Byte for byte, but for the day and the time of a privacy database.
diff <(ls "$scratch/here") <(ls "$scratch/there")
for file in "$scratch"/here/*; do
    other=$scratch/there/${file##*/}
    skipped=0
    [ "${file##*/}" != Privacy.dat ] || skipped=8
    cmp -n 48 "$file" "$other"
    cmp -i $((48 + skipped)) "$file" "$other"
done
# The tool there exports byte for byte what the one here does, and each imports what the other has exported. Its words,
# the files that it names and what it prints are UTF-8. What a failed import leaves behind is told.
if [ -x "$foreign/wdltreg.exe" ]; then
    tool() { timeout 200 "$runtime" "$foreign/wdltreg.exe" "$@" 2>>"$scratch/said"; }
    exports=$scratch/Größe.reg
    into_runtime "$scratch/here.reg"
    tool export "$key" | cmp "$scratch/here.reg" -
    tool set "$key" 'Größe 𝄞' sz 'ä ☃'
    tool export -o "Z:$exports" "$key"
    tool export -o "Z:$exports" "$key" # in place of the first
    "$native/wdltreg" delete "$key"
    "$native/wdltreg" import "$exports"
    "$native/wdltreg" export "$key" | cmp "$exports" -
    cmp <("$native/wdltreg" query --json "$key" 'Größe 𝄞') <(tool query --json "$key" 'Größe 𝄞')
    tool delete "$key"
    tool import - <"$exports"
    tool export "$key" | cmp "$exports" -
    # Nothing that is kept can be made in a tree that lasts until the system's end.
    refused='[HKEY_LOCAL_MACHINE\HARDWARE\Wardlet\x]'
    expect() {
        local status=0
        tool "${@:2}" || status=$?
        [ $status -eq "$1" ] || { echo "windows: wdltreg.exe ends with $status: ${*:2}"; exit 1; }
    }
    expect 1 query "$key" missing
    expect 5 import - <<<"REGEDIT4"$'\n'"$refused"
    expect 6 import - <<<"REGEDIT4"$'\n'"[$key\new]"$'\n'"$refused"
    expect 0 query "$key\new"
else
    echo "windows: wdltreg.exe isn't built, so it isn't tried"
fi
echo "windows: $(echo "$exported" | wc -l) exports; $(ls "$scratch/here" | wc -l) files and the registry read by both"
