#!/usr/bin/env bash
# Checks that docs/settings.md is what the tables of the records say: settings.sh PROGRAM
set -euo pipefail
cd "$(dirname "$0")/../.."

if ! difference=$(diff docs/settings.md <("$1")); then
    echo "docs/settings.md isn't what records/ says; $1 prints it anew:"
    echo "$difference"
    exit 1
fi
