#!/usr/bin/env bash
# Runs the commands of docs/operating.md in a new home: operating.sh BUILD
# A command is an indented line; it ends with 0, or with the number behind its last " # ".
set -euo pipefail
cd "$(dirname "$0")/../.."

PATH=$(cd "$1/bin" && pwd):$PATH
home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
export WARDLET_HOME=$home
unset WARDLET_ACP WARDLET_DURABILITY WARDLET_TIME_SCALE

count=0
while IFS= read -r line <&3; do
    expected=0
    [[ $line =~ ^(.*[^\ ])\ +#\ ([0-9]+)$ ]] && { line=${BASH_REMATCH[1]}; expected=${BASH_REMATCH[2]}; }
    status=0
    printed=$(bash -c "$line" 2>&1 </dev/null) || status=$?
    count=$((count + 1))
    if [ "$status" != "$expected" ]; then
        printf 'operating.md: %s\n%s\nended with %s, not %s\n' "$line" "$printed" "$status" "$expected"
        exit 1
    fi
done 3< <(sed -n 's/^    \([a-z]\)/\1/p' docs/operating.md)
echo "docs/operating.md: $count commands, as written"
[ "$count" -gt 30 ]
