#!/usr/bin/env python3
"""Compares the names that leave libvelaco.so with the list of names that must.

    scripts/check_exports.py LIBRARY LIST NOT_YET

LIST has rows "F name" (function) and "D name" (data). NOT_YET names those of the list that are not built yet; it may
be empty, and a name that is built may not stand in it.
"""
import subprocess
import sys


def rows(path):
    with open(path, encoding="utf-8") as stream:
        return [line.split("#")[0].strip() for line in stream if line.split("#")[0].strip()]


def main():
    library, wanted_path, missing_path = sys.argv[1:4]
    wanted = {row.split()[1]: row.split()[0] for row in rows(wanted_path)}
    not_yet = set(rows(missing_path))
    exported = {}
    for line in subprocess.run(["nm", "-D", "--defined-only", library], check=True, capture_output=True,
                               text=True).stdout.splitlines():
        _, kind, name = line.split()[:3]
        exported[name.split("@")[0]] = "F" if kind in "TtWwi" else "D"

    faults = []
    for name, kind in sorted(exported.items()):
        if name not in wanted:
            faults.append(f"{name} leaves the library and is not in the list")
        elif wanted[name] != kind:
            faults.append(f"{name} is {'a function' if kind == 'F' else 'data'}, the list has {wanted[name]}")
        elif name in not_yet:
            faults.append(f"{name} is built: take it out of {missing_path}")
    for name in sorted(set(wanted) - set(exported) - not_yet):
        faults.append(f"{name} is missing")
    for name in sorted(not_yet - set(wanted)):
        faults.append(f"{name} of {missing_path} is not in the list")

    for name in sorted(not_yet):
        print(f"not built yet: {name}")
    for fault in faults:
        print(fault)
    print(f"exports: {len(exported)} of {len(wanted)} names, {len(not_yet)} not built yet, {len(faults)} faults")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
