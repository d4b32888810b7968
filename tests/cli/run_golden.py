#!/usr/bin/env python3
"""Golden tests of the programs.

    run_golden.py --build DIR [--update] CASE.sh...

A case is a shell script NAME.sh and, beside it, what it must write to standard output (NAME.out), to standard error
(NAME.err, not looked at when it is absent) and its exit status (NAME.status, 0 when it is absent). It runs in a scratch
directory of its own, with the programs of the build in front of PATH and these variables:

    VELA_BUILD, VELA_SOURCE    the build and the source directory
    LC_ALL=C.UTF-8, TZ=UTC     and nothing else of the caller's environment but HOME, TMPDIR, PATH and what sanitizers read

With --update what a case says is written as what it must say; look at the difference before it is kept.
"""

import argparse
import difflib
import os
import pathlib
import subprocess
import sys
import tempfile

TIME_LIMIT = 60  # seconds for each case
KEPT = ("HOME", "TMPDIR", "PATH", "ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS", "LSAN_OPTIONS")


def environment(build, source):
    env = {name: os.environ[name] for name in KEPT if name in os.environ}
    env.update(LC_ALL="C.UTF-8", TZ="UTC", VELA_BUILD=str(build), VELA_SOURCE=str(source))
    env["PATH"] = f"{build / 'bin'}:{env.get('PATH', '/usr/bin:/bin')}"
    return env


def run(case, env):
    """The case's status, standard output and standard error."""
    with tempfile.TemporaryDirectory(prefix="golden-") as scratch:
        done = subprocess.run(["bash", str(case)], cwd=scratch, env=env, stdin=subprocess.DEVNULL,
                              capture_output=True, timeout=TIME_LIMIT, check=False)
        clean = [text.replace(scratch.encode(), b"SCRATCH") for text in (done.stdout, done.stderr)]
        return done.returncode, *clean


def difference(name, expected, actual):
    lines = [text.decode("utf-8", "backslashreplace").splitlines(keepends=True) for text in (expected, actual)]
    return "".join(difflib.unified_diff(*lines, f"{name} expected", f"{name} actual"))


def read(path):
    return path.read_bytes() if path.exists() else b""


def compare(case, status, out, err):
    """What differs, as text; empty when nothing does."""
    report = difference("standard output", read(case.with_suffix(".out")), out)
    if case.with_suffix(".err").exists():
        report += difference("standard error", read(case.with_suffix(".err")), err)
    expected = int(read(case.with_suffix(".status")) or 0)
    if status != expected:
        report += f"exit status {status}, expected {expected}\n"
    if report and not case.with_suffix(".err").exists():
        report += "standard error was:\n" + err.decode("utf-8", "backslashreplace")
    return report


def update(case, status, out, err):
    case.with_suffix(".out").write_bytes(out)
    if case.with_suffix(".err").exists():
        case.with_suffix(".err").write_bytes(err)
    if status:
        case.with_suffix(".status").write_text(f"{status}\n")
    else:
        case.with_suffix(".status").unlink(missing_ok=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", required=True, type=pathlib.Path)
    parser.add_argument("--update", action="store_true", help="take what the cases say as what they must say")
    parser.add_argument("cases", nargs="+", type=pathlib.Path)
    args = parser.parse_args()

    source = pathlib.Path(__file__).resolve().parents[2]
    env = environment(args.build.resolve(), source)
    failed = 0
    for case in args.cases:
        case = case.resolve()
        try:
            result = run(case, env)
        except subprocess.TimeoutExpired:
            print(f"{case.stem}: still running after {TIME_LIMIT} s")
            failed += 1
            continue
        if args.update:
            update(case, *result)
            print(f"{case.stem}: written")
            continue
        report = compare(case, *result)
        failed += bool(report)
        print(f"{case.stem}: {'differs' if report else 'as expected'}\n{report}", end="" if report else "")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
