#!/usr/bin/env bash
# Checks the types of the Python package and of the benchmarks' report, and that the wheel is whole: python.sh BUILD
set -euo pipefail
cd "$(dirname "$0")/../.."

MYPYPATH=$1/python mypy --strict --cache-dir=/dev/null -p wdltcfg
MYPYPATH=$1/python mypy --check-untyped-defs --cache-dir=/dev/null examples/policy.py
mypy --strict --cache-dir=/dev/null bench/report.py

cmake --build "$1" --target python_wheel >/dev/null
target=$(mktemp -d)
trap 'rm -rf "$target"' EXIT
/usr/bin/python3 -m pip install --quiet --root-user-action=ignore --no-index --no-deps --target "$target" "$1"/python/wheel/wdltcfg-*.whl
PYTHONPATH=$target WDLTCFG_LIBRARY=$1/bin WARDLET_HOME=$target/home /usr/bin/python3 -W error -c '
import wdltcfg
assert wdltcfg.__file__.startswith("'"$target"'") and len(wdltcfg.Record.KINDS) > 20'
