#!/usr/bin/env bash
# tests/gates/shares.sh: prints each room's share of the lines that are neither blank, comment nor include, in sources,
# scripts and build files; fails when more than a third of all are tests, or a test file has 400 lines.
set -euo pipefail
cd "$(dirname "$0")/../.."

git ls-files -co --exclude-standard -- '*.cpp' '*.h' '*.c' '*.sh' '*.cmake' '*CMakeLists.txt' '*.inc' '*.py' |
    xargs awk '
    FNR == 1 {
        inside = 0
        python = FILENAME ~ /\.py$/
        script = python || FILENAME ~ /(\.sh|\.cmake|CMakeLists\.txt)$/
        parts = split(FILENAME, part, "/")
        room = parts == 1 ? "(top)" : part[1]
        if (part[1] == "tests" && parts > 2)
            room = part[2] == "unit" ? "tests/unit/" part[3] : "tests/" part[2]
        else if (part[2] == "tests")
            room = "tests/" part[1]
    }
    { total[FILENAME]++; gsub(/^[ \t]+|[ \t\r]+$/, "") }
    inside { if (index($0, python ? "\"\"\"" : "*/")) inside = 0; next }
    $0 == "" || (script ? /^#/ : /^\/\// || /^#include/) { next }
    !script && /^\/\*/ { inside = !index($0, "*/"); next }
    python && /^(import|from) / { next }
    python && /^"""/ { inside = !index(substr($0, 4), "\"\"\""); next }
    { lines[room]++; all++; if (room ~ /^tests/) tests++ }
    END {
        for (room in lines)
            printf "%6d %5.1f %%  %s\n", lines[room], 100 * lines[room] / all, room | "sort -k4"
        close("sort -k4")
        printf "%6d %5.1f %%  of %d are tests\n", tests, 100 * tests / all, all
        for (file in total)
            if (file ~ /^(python\/)?tests\// && total[file] >= 400) {
                printf "%s has %d lines, 400 or more\n", file, total[file]
                status = 1
            }
        if (tests * 100 > all * 33) {
            print "more than a third of the lines are tests"
            status = 1
        }
        exit status
    }'
