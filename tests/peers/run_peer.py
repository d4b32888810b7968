#!/usr/bin/env python3
"""Runs the client stubs against the independent server, and lets tshark judge what went over the wire.

    run_peer.py CLIENT ROUNDS [--fragment N] [--big-endian] [--tshark]

ROUNDS is how often each operation is called, with other arguments each time. Where VELA_PEER_ROUNDS is set it takes its
place, except with --tshark, and lifts the limit of time: VELA_PEER_ROUNDS=10000 takes several minutes a run. --fragment
and --big-endian go to the server.

A part whose program is missing is skipped with a line that names it (exit status 77), and fails where CI=true.
"""
import argparse
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
TIME_LIMIT = 100  # seconds


def skip(text):
    print("SKIP: " + text)
    sys.exit(1 if os.environ.get("CI") == "true" else 77)


def interpreter():
    """The first Python with impacket: the one that runs this, or the distribution's."""
    for name in (sys.executable, "/usr/bin/python3"):
        probe = subprocess.run([name, "-c", "import impacket.dcerpc.v5.ndr"], capture_output=True)
        if probe.returncode == 0:
            return name
    skip("python3-impacket is not installed")


def capture(port, path):
    tshark = shutil.which("tshark")
    if not tshark:
        skip("tshark is not installed")
    process = subprocess.Popen([tshark, "-q", "-i", "lo", "-f", f"tcp port {port}", "-w", path],
                               stderr=subprocess.PIPE, text=True)
    for line in process.stderr:
        if "Capture started" in line or "Capturing on" in line:
            time.sleep(1)
            if process.poll() is None:
                return process
            break
    skip("tshark may not capture on the loopback interface")


def go_where_capturing_is_allowed():
    """Begins anew in a network namespace of its own, whose root an ordinary user may be."""
    if os.geteuid() == 0:
        return
    inside = ["unshare", "--map-root-user", "--net", "sh", "-c", 'ip link set lo up && exec "$@"', "sh"]
    if shutil.which("unshare") and subprocess.run(inside + ["true"], capture_output=True).returncode == 0:
        os.execvp(inside[0], inside + [sys.executable] + sys.argv)


def judge(port, path):
    """The number of PDUs that tshark has found; those that it cannot read are printed and end the test."""
    read = ["tshark", "-r", path, "-d", f"tcp.port=={port},dcerpc"]
    wrong = subprocess.run(read + ["-Y", "_ws.malformed || dcerpc.cn_reject_reason"], capture_output=True, text=True)
    if wrong.stdout.strip():
        print("tshark finds malformed packets:\n" + wrong.stdout[:4000])
        sys.exit(1)
    found = subprocess.run(read + ["-Y", "dcerpc", "-T", "fields", "-e", "dcerpc.pkt_type"], capture_output=True, text=True)
    count = len(re.findall(r"\d+", found.stdout))
    if count < 100:
        print(f"tshark has found {count} PDUs only")
        sys.exit(1)
    return count


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("client")
    parser.add_argument("rounds")
    parser.add_argument("--fragment", default="40")
    parser.add_argument("--big-endian", action="store_true")
    parser.add_argument("--tshark", action="store_true")
    options = parser.parse_args()
    if options.tshark:
        go_where_capturing_is_allowed()
    more = None if options.tshark else os.environ.get("VELA_PEER_ROUNDS")
    command = [interpreter(), os.path.join(HERE, "peer_server.py"), "--fragment", options.fragment]
    server = subprocess.Popen(command + ["--big-endian"] * options.big_endian, stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE, text=True)
    try:
        port = server.stdout.readline().split()[1]
        with tempfile.TemporaryDirectory() as scratch:
            path = os.path.join(scratch, "peer.pcap")
            watcher = capture(port, path) if options.tshark else None
            result = subprocess.run([options.client, port, more or options.rounds],
                                    timeout=None if more else TIME_LIMIT)
            if watcher:
                time.sleep(1)
                watcher.terminate()
                watcher.wait()
                print(f"tshark has read {judge(port, path)} PDUs, none malformed")
            sys.exit(result.returncode)
    finally:
        server.stdin.close()
        server.wait()


if __name__ == "__main__":
    main()
