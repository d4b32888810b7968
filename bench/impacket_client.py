#!/usr/bin/env python3
"""Calls the echo operation of qrt_bench with impacket's client, an independent implementation in Python.

    impacket_client.py PORT CALLS

Prints the seconds that all calls together took; the connection and the bind are not among them.
"""
import os
import sys
import time

try:
    from impacket.dcerpc.v5 import transport
    from impacket.uuid import uuidtup_to_bin
except ImportError:
    if os.path.realpath(sys.executable) != os.path.realpath("/usr/bin/python3") and os.path.exists("/usr/bin/python3"):
        os.execv("/usr/bin/python3", ["/usr/bin/python3"] + sys.argv)
    print("python3-impacket is not installed")
    sys.exit(77)

ECHO = uuidtup_to_bin(("6b1e0a01-3c5d-4c1e-9a10-010203040506", "1.0"))


def main():
    port, calls = sys.argv[1], int(sys.argv[2])
    dce = transport.DCERPCTransportFactory(f"ncacn_ip_tcp:127.0.0.1[{port}]").get_dce_rpc()
    dce.connect()
    dce.bind(ECHO)
    data = b"\7" * 100
    begin = time.perf_counter()
    for _ in range(calls):
        dce.call(0, data)
        if dce.recv() != data:
            sys.exit(1)
    print(time.perf_counter() - begin)


if __name__ == "__main__":
    main()
