#!/usr/bin/env bash
# Compiles each source of the library by itself, as a plain build does and no batch does, so that a missing include
# shows: each_source.sh BUILD JOBS, over a tree that is only configured.
set -euo pipefail
cd "$(dirname "$0")/../.."

commands=$(sed -nE 's/^ *"command": "(.*)",?$/\1/p' "$1/compile_commands.json" | sed 's/\\"/"/g; s/\\\\/\\/g' |
    grep -E -- "-c $PWD/(platform|Common|Lib|config|runtime)/" | sed -E 's/ -o [^ ]+ -c / -fsyntax-only /')
cd "$1"
xargs -P "$2" -d '\n' -n 1 sh -c <<<"$commands"
echo "each source by itself: $(wc -l <<<"$commands") compile"
