"""policy.py FILE: brings a machine to what a JSON file says, and prints what that changed:

    {"records": {"pop3": {"limit_size": 1024}}, "features": {"pvs": true}, "blocked": ["*.example.com/*"]}
"""
import json
import sys

import wdltcfg


def apply_record(name, wanted):
    old, new = wdltcfg.read(name), wdltcfg.read(name)
    for field, value in wanted.items():
        if field not in new.FIELDS:
            raise ValueError(f"{name} has no {field}, but {', '.join(new.FIELDS)}")
        setattr(new, field, value)
    if new != old:
        wdltcfg.write(new)
        print(f"{name}: {old} -> {new}")


def apply_feature(name, on):
    if wdltcfg.is_enabled(name) == on:
        return
    try:
        wdltcfg.enable(name, on)
        print(f"{name}: {'on' if on else 'off'}")
    except wdltcfg.Error as error:
        if error.name != "WDLT_E_NO_ANSWER":
            raise
        print(f"{name}: stored, but the service didn't answer")


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        policy = json.load(file)
    with wdltcfg.change():  # from the first read to the last write
        for name, wanted in policy.get("records", {}).items():
            apply_record(name, wanted)
        for url in wdltcfg.lists.urls("black").add(*policy.get("blocked", [])):
            print(f"blocked: {url}")
        for name, on in policy.get("features", {}).items():
            apply_feature(name, on)


if __name__ == "__main__":
    try:
        main()
    except (wdltcfg.Error, ValueError, TypeError, OSError) as error:
        sys.exit(f"policy.py: {error}")
