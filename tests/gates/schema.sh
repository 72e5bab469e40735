#!/usr/bin/env bash
# Checks that share/wdltcfg.schema.json is what the tables say, and that what dump prints is valid by it: a fresh
# installation, and one with an entry in each list: schema.sh BUILD
set -euo pipefail
cd "$(dirname "$0")/../.."

export WARDLET_HOME
WARDLET_HOME=$(mktemp -d)
trap 'rm -rf "$WARDLET_HOME"' EXIT
wdltctl() { "$build/bin/wdltctl" "$@"; }
build=$1
kept=share/wdltcfg.schema.json

wdltctl dump --schema | diff "$kept" - || { echo "$kept: wdltctl dump --schema $kept makes it anew"; exit 1; }

wdltctl init --install "$WARDLET_HOME/install" >/dev/null
wdltctl dump "$WARDLET_HOME/fresh.json"
wdltctl load - >/dev/null <<'END'
{"features": {"pvs": true, "pdp": {"smtp": true}, "drs-white-list": {"enabled": true, "option": 7}},
 "lists": {"urls": {"white": ["*a*"], "black": ["*b*"]}, "hosts": ["hex:01"], "spyware": ["s"], "exclusions": ["e"],
           "spam": {"white": ["a@b"], "black": ["c@d"]}, "rules": {"r": {"domain": "d"}},
           "redirects": {"POP3": {"Mail": {"image": "a.exe"}}}, "items": {"31": {"text": "4711"}}}}
END
wdltctl dump --secrets "$WARDLET_HOME/full.json"
# Values out of range, as another program may store them: a read corrects them, and the schema tells what it can give.
for number in ffffffff 80000000; do
    wdltctl init --force --install "$WARDLET_HOME/install" >/dev/null
    # But for those that make a record unreadable.
    "$build/bin/wdltreg" export | grep -Ev '"(Type|[A-Za-z]*CharSet[A-Za-z]*|Item[A-Za-z]*|Access[A-Za-z]*|Level)"=' |
        sed "s/=dword:[0-9a-f]*/=dword:$number/" >"$WARDLET_HOME/odd.reg"
    "$build/bin/wdltreg" import "$WARDLET_HOME/odd.reg" >/dev/null
    wdltctl dump "$WARDLET_HOME/odd-$number.json"
done

python3 - "$kept" "$WARDLET_HOME"/*.json <<'END'
import json, sys
from jsonschema import Draft202012Validator
schema = json.load(open(sys.argv[1]))
Draft202012Validator.check_schema(schema)
validator = Draft202012Validator(schema)
wrong = [f"{name}: {error.json_path}: {error.message}" for name in sys.argv[2:]
         for error in validator.iter_errors(json.load(open(name)))]
assert not validator.is_valid({"records": {"urlf": {"mode": "1"}}}) and not validator.is_valid({"lists": {"x": []}})
print("\n".join(wrong) or f"schema: {len(sys.argv) - 2} dumps are valid")
sys.exit(bool(wrong))
END
