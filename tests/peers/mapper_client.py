#!/usr/bin/env python3
"""Asks an endpoint mapper of ours with impacket's own client: the walk, and the way to one endpoint.

    mapper_client.py QRTD VELA

Starts both in a scratch directory on a free port. Skipped with status 77 where impacket is missing.
"""
import os
import re
import subprocess
import sys
import tempfile

try:
    from impacket.dcerpc.v5 import epm, mgmt, transport
    from impacket.dcerpc.v5.rpcrt import DCERPCException
    from impacket.uuid import uuidtup_to_bin
except ImportError:
    if os.path.realpath(sys.executable) != os.path.realpath("/usr/bin/python3") and os.path.exists("/usr/bin/python3"):
        os.execv("/usr/bin/python3", ["/usr/bin/python3"] + sys.argv)
    print("SKIP: python3-impacket is not installed")
    sys.exit(1 if os.environ.get("CI") == "true" else 77)

LISTENER = ("00939856-b996-1cb2-a1d2-10005a4fa441", "1.0")


def connect(port, interface):
    dce = transport.DCERPCTransportFactory(f"ncacn_ip_tcp:127.0.0.1[{port}]").get_dce_rpc()
    dce.connect()
    dce.bind(interface)
    return dce


def main():
    with tempfile.TemporaryDirectory() as scratch:
        environment = dict(os.environ, SORREL_RUNDIR=scratch)
        mapper = subprocess.Popen([sys.argv[1], "--port", "0"], env=environment, stdout=subprocess.PIPE, text=True)
        region = None
        try:
            port = int(re.search(r"port (\d+)", mapper.stdout.readline())[1])
            environment["QRT_EPMAP_PORT"] = str(port)
            region = subprocess.Popen([sys.argv[2], "demo-region", "PEER"], env=environment, stdout=subprocess.PIPE,
                                      text=True)
            server_port = int(re.search(r"port (\d+)", region.stdout.readline())[1])

            entries = epm.hept_lookup(None, dce=connect(port, epm.MSRPC_UUID_PORTMAP))
            annotations = [bytes(entry["annotation"]).rstrip(b"\0") for entry in entries]
            assert annotations == [b"/.:/vela/PEER/ts demonstration region"] * 4, annotations

            binding = epm.hept_map("127.0.0.1", uuidtup_to_bin(LISTENER), protocol="ncacn_ip_tcp",
                                   dce=connect(port, epm.MSRPC_UUID_PORTMAP))
            assert binding == f"ncacn_ip_tcp:127.0.0.1[{server_port}]", binding

            listening = mgmt.his_server_listening(connect(server_port, mgmt.MSRPC_UUID_MGMT))
            assert listening["status"] == 0, listening
            vector = mgmt.hinq_if_ids(connect(server_port, mgmt.MSRPC_UUID_MGMT))["if_id_vector"]
            assert vector["count"] == 3, vector["count"]
            try:
                connect(server_port, uuidtup_to_bin(("00000000-1111-2222-3333-444444444444", "1.0")))
                raise AssertionError("a bind to an unknown interface was accepted")
            except DCERPCException as refused:
                assert "abstract_syntax_not_supported" in str(refused), refused
            print("walk, map, management and refusal are as impacket expects them")
        finally:
            for process in (region, mapper):
                if process:
                    process.terminate()
                    process.wait()


if __name__ == "__main__":
    main()
