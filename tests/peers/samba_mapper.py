#!/usr/bin/env python3
"""Walks the endpoint map of Samba, an independent mapper, with the runtime's own client.

    samba_mapper.py WALK_CLIENT

Samba runs with a configuration and state of its own in a scratch directory, in a network namespace where port 135 is
free. That needs root; without it, or without Samba, the test is skipped with status 77 (and fails where CI=true).
"""
import glob
import os
import re
import subprocess
import sys
import tempfile
import time


def skip(text):
    print("SKIP: " + text)
    sys.exit(1 if os.environ.get("CI") == "true" else 77)


def daemon():
    found = glob.glob("/usr/libexec/samba/samba-dcerpcd") + glob.glob("/usr/lib/*/samba/samba-dcerpcd")
    if not found:
        skip("samba is not installed")
    return found[0]


def enter_namespace():
    """Goes on in a network namespace of its own, with loopback up."""
    if os.environ.get("SAMBA_MAPPER_INSIDE"):
        subprocess.run(["ip", "link", "set", "lo", "up"], check=True)
        return
    if os.geteuid() != 0 or subprocess.run(["unshare", "-n", "true"], capture_output=True).returncode != 0:
        skip("a network namespace needs root")
    os.environ["SAMBA_MAPPER_INSIDE"] = "1"
    os.execvp("unshare", ["unshare", "-n", sys.executable] + sys.argv)


def configure(scratch):
    folders = {"state directory": "state", "lock directory": "lock", "cache directory": "cache", "pid directory": "pid",
               "ncalrpc dir": "ncalrpc", "private dir": "private"}
    rows = ["[global]", "netbios name = PEER", "interfaces = lo", "bind interfaces only = yes", "logging = file",
            f"log file = {scratch}/log", "rpc start on demand helpers = no"]
    for name, folder in folders.items():
        os.mkdir(os.path.join(scratch, folder))
        rows.append(f"{name} = {scratch}/{folder}")
    path = os.path.join(scratch, "smb.conf")
    with open(path, "w") as out:
        out.write("\n".join(rows) + "\n")
    return path


def main():
    samba = daemon()
    enter_namespace()
    environment = {name: value for name, value in os.environ.items() if name != "QRT_EPMAP_PORT"}
    with tempfile.TemporaryDirectory() as scratch:
        server = subprocess.Popen([samba, "--libexec-rpcds", "-s", configure(scratch), "-F", "--no-process-group"],
                                  stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        try:
            for _ in range(40):  # it asks its services first
                time.sleep(0.5)
                result = subprocess.run([sys.argv[1], "ncacn_ip_tcp:127.0.0.1"], env=environment, capture_output=True,
                                        text=True, timeout=60)
                if result.returncode == 0 and "winreg" in result.stdout:
                    break
            print(result.stdout)
            assert result.returncode == 0
            elements = dict(reversed(row) for row in re.findall(r"element (\S+) (\w+)", result.stdout))
            assert elements["epmapper"] == "ncacn_ip_tcp:127.0.0.1[135]", elements
            assert len(elements) >= 5, elements
            assert "end no more elements" in result.stdout
        finally:
            server.terminate()
            server.wait()


if __name__ == "__main__":
    main()
