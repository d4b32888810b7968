#!/usr/bin/env python3
"""Reads the object code of a guarded function and says what its trace points cost while they leave no record.

    check_guard_code.py OBJECT FUNCTION [--broken]

Follows every way from the function's start to its end or to its first call. Required:
  - with the first switch off, a way leads to the end without a call and without a locked instruction, and a trace
    point on it costs no more than the loads of the pointer and of the flag;
  - whatever comes to a call has first passed the tests of the guard: pointer, two flags, and the level's mask;
  - no locked instruction stands anywhere before a call.

With --broken the function must fail: it is there to show that this check can.
"""

import argparse
import re
import subprocess
import sys

GUARD_TESTS = 4  # trace pointer, master flag, system flag, mask of the level
OFF_LOADS = 3  # per trace point: address of the pointer from the offset table, pointer, flag
TRACE_POINTS = 2  # of the sample: entry and exit

LINE = re.compile(r"^\s*([0-9a-f]+):\s+(\S+)\s*(.*)$")


def disassemble(path, function):
    """The function's instructions: a list of (address, name, operands)."""
    text = subprocess.run(
        ["objdump", "-d", "--no-show-raw-insn", f"--disassemble={function}", path],
        check=True, capture_output=True, text=True).stdout
    found = []
    for line in text.splitlines():
        match = LINE.match(line)
        if not match:
            continue
        address, name, operands = int(match[1], 16), match[2], match[3]
        while name in ("lock", "bnd", "notrack", "rep", "repz", "data16", "cs"):
            rest = operands.split(None, 1)
            prefix, name, operands = name, rest[0], rest[1] if len(rest) > 1 else ""
            if prefix == "lock":
                name = "lock-" + name
        found.append((address, name, operands.split("#")[0].strip()))
    return found


def is_call(name):
    return name.startswith("call")


def is_locked(name, operands):
    return name.startswith("lock-") or name == "mfence" or (name.startswith("xchg") and "(" in operands)


def is_load(name, operands):
    return "(" in operands and not name.startswith(("lea", "nop", "endbr"))


def successors(code, at):
    """What can run behind an instruction: (index, is a branch decision) for each; empty at the end of the function."""
    index_of = {address: index for index, (address, _, _) in enumerate(code)}
    _, name, operands = code[at]
    if name.startswith("ret") or name in ("hlt", "ud2"):
        return []
    if name.startswith("j"):
        target = operands.split()[0]
        index = index_of.get(int(target, 16)) if re.fullmatch(r"[0-9a-f]+", target) else None
        if name == "jmp":
            return [(index, False)] if index is not None else []
        return [(next_at, True) for next_at in (index, at + 1) if next_at is not None]
    return [(at + 1, False)] if at + 1 < len(code) else []


def leaves_by_jump(code, at):
    """Whether the instruction jumps out of the function, which is a call in all but name."""
    _, name, _ = code[at]
    return name == "jmp" and not successors(code, at)


def examine(code):
    """Walks all ways. Returns (problems, loads on the cheapest way to the end)."""
    problems = []
    fewest_tests = {}  # the smallest number of branch decisions with which an instruction is reached
    work = [(0, 0)]
    while work:
        at, tests = work.pop()
        if fewest_tests.get(at, 1 << 30) <= tests:
            continue
        fewest_tests[at] = tests
        address, name, operands = code[at]
        if is_call(name) or leaves_by_jump(code, at):
            if tests < GUARD_TESTS:
                problems.append(f"{address:x}: a call after {tests} tests: {name} {operands}")
            continue
        if is_locked(name, operands):
            problems.append(f"{address:x}: a lock before a call: {name} {operands}")
        for next_at, decides in successors(code, at):
            work.append((next_at, tests + (1 if decides else 0)))

    cheapest = {}
    work = [(0, 0)]
    off_loads = None
    while work:
        at, loads = work.pop()
        address, name, operands = code[at]
        if is_call(name) or leaves_by_jump(code, at):
            continue
        loads += 1 if is_load(name, operands) else 0
        if cheapest.get(at, 1 << 30) <= loads:
            continue
        cheapest[at] = loads
        if name.startswith("ret"):
            off_loads = loads if off_loads is None else min(off_loads, loads)
        work.extend((next_at, loads) for next_at, _ in successors(code, at))
    if off_loads is None:
        problems.append("no way to the end is free of calls")
    elif off_loads > TRACE_POINTS * OFF_LOADS:
        problems.append(f"{off_loads} loads on the cheapest way, {TRACE_POINTS * OFF_LOADS} allowed")
    return problems, off_loads


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("object")
    parser.add_argument("function")
    parser.add_argument("--broken", action="store_true")
    options = parser.parse_args()

    code = disassemble(options.object, options.function)
    if not code:
        print(f"{options.object} holds no function {options.function}", file=sys.stderr)
        return 2
    problems, off_loads = examine(code)
    for problem in problems:
        print(f"{options.function}: {problem}")
    if not problems:
        print(f"{options.function}: {len(code)} instructions, {off_loads} loads while the trace is off")
    return int(bool(problems) != options.broken)


if __name__ == "__main__":
    sys.exit(main())
