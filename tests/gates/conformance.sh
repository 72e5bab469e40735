#!/usr/bin/env bash
# Compares the layer with the other platform's own interface, row by row: the program of tests/conformance is run here
# and, compiled for there, in the compatibility runtime. Each difference stands in the table of docs/platforms.md, and
# each line of that table still is one: conformance.sh BUILD [PROGRAM.exe]
set -euo pipefail
cd "$(dirname "$0")/../.."

ours=$(realpath "$1/bin/conformance")
theirs=${2:+$(realpath "$2")}
compiler=x86_64-w64-mingw32-g++-posix
. tests/gates/runtime.sh
skip() { echo "conformance: skipped, $1 isn't installed"; exit 0; }
[ -x "$runtime" ] || skip wine64
[ -n "$theirs" ] || command -v "$compiler" >/dev/null || skip "$compiler"

prepare_runtime
mkdir "$scratch/locales"

if [ -z "$theirs" ]; then
    theirs=$scratch/conformance.exe
    "$compiler" -std=c++20 -static tests/conformance/*.cpp -o "$theirs" -lshlwapi
fi

# run PAGE LOCALE [AREA...]: both programs, with PAGE as the system's code page, which follows the locale there.
run() {
    local page=$1 locale=$2
    (cd "$scratch/here" && WARDLET_ACP=$page "$ours" "${@:3}" >>"$scratch/ours")
    (cd "$scratch/there" && LOCPATH=$scratch/locales LC_ALL=$locale timeout 100 "$runtime" "$theirs" "${@:3}" \
        >>"$scratch/theirs" 2>"$scratch/said") || { cat "$scratch/said"; return 1; }
}
run 1252 C
# The runtime looks at a locale's name alone; what it names may be any.
for pair in 874:th_TH 932:ja_JP 936:zh_CN 949:ko_KR 950:zh_TW 1250:pl_PL 1251:ru_RU 1253:el_GR 1254:tr_TR 1255:he_IL \
    1256:ar_SA 1257:lt_LT 1258:vi_VN; do
    ln -s /usr/lib/locale/C.utf8 "$scratch/locales/${pair#*:}.utf8"
    run "${pair%:*}" "${pair#*:}.UTF-8" page
done

python3 - "$scratch/ours" "$scratch/theirs" docs/platforms.md <<'END'
import re, sys
def rows(name):
    lines = open(name, encoding="latin-1").read().replace("\r", "").splitlines()
    return dict(line.split(" ->", 1) for line in lines if " ->" in line)
ours, theirs = rows(sys.argv[1]), rows(sys.argv[2])
# A line of the table: patterns of rows, in which * stands for anything, and how many of them differ.
table = [(re.findall("`(.*?)`", cell), int(number)) for cell, number in
         re.findall(r"^\| (`.*?`) \| (\d+) \|", open(sys.argv[3]).read(), re.M)]
different = [row for row in dict.fromkeys([*ours, *theirs]) if ours.get(row) != theirs.get(row)]
complaints, known = [], set()
for patterns, number in table:
    found = set()
    for pattern in patterns:
        matcher = re.compile(".*".join(map(re.escape, pattern.split("*"))) + "$")
        matches = set(filter(matcher.match, different))
        found |= matches
        if not matches:
            complaints.append(f"listed, but doesn't differ: {pattern}")
    if len(found) != number:
        complaints.append(f"{number} rows are to differ, and {len(found)} do: {' '.join(patterns)}")
    known |= found
complaints += [f"{row}\n    here: {ours.get(row, ' no row')}\n   there: {theirs.get(row, ' no row')}"
               for row in different if row not in known]
if len(ours) < 600:
    complaints.append(f"only {len(ours)} rows")
print(*complaints[:40], sep="\n", end="\n" * bool(complaints))
print(f"conformance: {len(ours)} rows, {len(different)} differ, {len(complaints)} complaints")
sys.exit(bool(complaints))
END
