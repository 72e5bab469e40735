#!/usr/bin/env bash
# Runs the commands of a document in a new home: operating.sh FOLDER [DOCUMENT LEAST]
# FOLDER is a build or a prefix; the document is docs/operating.md, which has more than 30 commands.
# A command is an indented line, outside ```; it ends with 0, or with the number behind its last " # ".
set -euo pipefail

document=${2:-docs/operating.md}
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
        printf '%s: %s\n%s\nended with %s, not %s\n' "$document" "$line" "$printed" "$status" "$expected"
        exit 1
    fi
done 3< <(sed -n '/^```/,/^```$/d; s/^    \([a-z.]\)/\1/p' "$(dirname "$0")/../../$document")
echo "$document: $count commands, as written"
[ "$count" -gt "${3:-30}" ]
