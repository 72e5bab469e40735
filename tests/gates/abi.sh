#!/usr/bin/env bash
# Compares what a caller's binary depends on with the list kept beside this file: the exported names with their version,
# and the records with their sizes: abi.sh BUILD [--update]. And no program looks for libraries in the working directory.
# A changed name or size breaks callers; an added one goes into the list in the same commit.
set -euo pipefail
cd "$(dirname "$0")/../.."

kept=tests/gates/abi.txt
now=$(mktemp -d)
trap 'rm -rf "$now"' EXIT

nm -D --defined-only "$1/bin/libWdltCfg.so" | awk '$2 != "A" {print "export " $3}' | sort >"$now/list"

{
    echo '#include <stdio.h>'
    echo '#include <wdltcfg/records.h>'
    echo 'int main(void) {'
    sed -n 's/^} \([A-Za-z0-9]*\);.*/printf("record \1 %zu\\n", sizeof(\1));/p' include/wdltcfg/{records,url_records}.h
    echo 'return 0; }'
} >"$now/sizes.c"
cc -std=c11 -Iinclude -o "$now/sizes" "$now/sizes.c"
"$now/sizes" | sort >>"$now/list"

if readelf -d "$1"/bin/* 2>/dev/null | grep -E 'R(UN)?PATH.*(\[:|::|:\])'; then
    echo "abi: an empty element of a run path is the working directory"
    exit 1
fi

[ "${2:-}" = --update ] && cp "$now/list" "$kept"
diff -u "$kept" "$now/list" || { echo "abi: the lines above differ from $kept"; exit 1; }
echo "abi: $(grep -c '^export' "$kept") exports, $(grep -c '^record' "$kept") records, as kept"
