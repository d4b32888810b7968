"""Composes trace files byte by byte, from the layouts in docs/formats.md: the reader's witness is not its own writer."""
import struct
import sys

EYE = bytes((0x06, 0x0A, 0x19, 0x68))
NAME_MARK = b"\x1f"


def record(kind, component, depth, at, data, thread=1, process=100, sequence=0, eye=EYE, record_type=None):
    types = {0x40: 1413, 0x80: 1413, 0x100: 1414, 0x200: 1414, 0x400: 1414, 0x8: 1415, 0x10: 1415}
    data += bytes(-len(data) % 4)
    seconds, micros = divmod(at, 1000000)
    return struct.pack("<4sIII4sHHHHIIiiIII", eye, sequence, process, thread, b"    ", len(data), component, depth,
                       record_type or types.get(kind, 1409), 1700000000 + seconds, micros * 1000, 0, 0, 0,
                       at * 1000, kind) + data


def entry(name, text, component, depth, at, **rest):
    data = NAME_MARK + name.encode()[:30].ljust(30, b"\0") + b"\0" + bytes((len(text) & 255,)) + text.encode() + b"\0"
    return record(0x40, component, depth, at, data, **rest)


def leave(kind, name, point, component, depth, at, tail=b"", **rest):
    data = struct.pack("<I", point) + NAME_MARK + name.encode()[:31].ljust(31, b"\0") + tail
    return record(kind, component, depth, at, data, **rest)


def lost(at, process=100):
    return record(0, 0, 0, at, b"", thread=0, process=process, eye=bytes(4))


def session(process=100, thread=1, start=0):
    rest = dict(process=process, thread=thread)
    return [
        entry("TerBM_Translate", "(0x1, 0x2)", 0, 1, start + 10, **rest),
        record(0x2, 62, 1, start + 11, struct.pack("<I", 24) + b"\xf5\xc3hello", **rest),
        entry("TerBM_SkipControl", "(a\\b\x01)", 62, 2, start + 20, **rest),
        leave(0x100, "TerBM_SkipControl", 2, 62, 2, start + 25, struct.pack("<I", 0x1), **rest),
        record(0x8, 57, 1, start + 26, struct.pack(">I", 0x0E402009) + struct.pack("<I", 9), **rest),
        lost(start + 27, process),
        leave(0x200, "TerBM_Translate", 5, 62, 1, start + 40, struct.pack("<II", 4, 0x1F200001), **rest),
        record(0x8000, 62, 1, start + 41, struct.pack("<I", 7) + NAME_MARK + b"Middle".ljust(30, b"\0") + b"\0" +
               struct.pack("<H", 4) + b"text\0", **rest),
    ]


def hexadecimal(chunk, offset, at, **rest):
    data = struct.pack("<I", 3) + NAME_MARK + b"TerBM_Dump".ljust(30, b"\0") + b"\0"
    data += struct.pack("<HHIIH", 1, 0, 0x1000, offset, len(chunk)) + chunk
    return record(0x10000, 62, 1, at, data + b"\0", **rest)


def auxiliary(records, region=b"HELLO", program=b"demo"):
    return region.ljust(8) + program.ljust(8) + b"".join(records)


def dump(size, offset, data):
    header = struct.pack("<8siii8s8s", b"ERZ49RNG", size, offset, size - offset, b"HELLO   ", b"demo    ")
    return header + data


def main():
    one = session()
    open("plain.trc", "wb").write(auxiliary(one))
    open("other.trc", "wb").write(auxiliary(session(process=200, thread=3, start=15), program=b"second"))
    # A second lap has overwritten the first records and cut one in its middle.
    old, new = b"".join(one), b"".join([one[-1], leave(0x400, "Later", 1, 49, 1, 90)])
    open("wrapped.trc", "wb").write(b"HELLO   demo    " + new + old[len(new):])
    # A ring with a record split over its end: the newest byte is in front of offset.
    stream = b"".join(one)
    half = len(stream) // 2 + 13
    open("split.dmp", "wb").write(dump(len(stream), half, stream[len(stream) - half:] + stream[:len(stream) - half]))
    open("fresh.dmp", "wb").write(dump(4096, len(stream), stream.ljust(4096, b"\0")))
    # The same records as plain.trc has, but for their sequence numbers.
    counted = b"".join(record[:4] + struct.pack("<I", number + 1) + record[8:] for number, record in enumerate(one))
    open("counted.dmp", "wb").write(dump(4096, len(stream), counted.ljust(4096, b"\0")))
    # A wrapped ring whose oldest bytes are the zeros of a hex record that was overwritten.
    chunks = [hexadecimal(bytes(200), 0, 5), hexadecimal(b"second chunk", 2048, 6)]
    ring = leave(0x400, "Later", 1, 49, 1, 90) + bytes(100) + b"".join(chunks)
    open("zeros.dmp", "wb").write(dump(len(ring), len(ring) - len(b"".join(chunks)) - 100, ring))
    open("empty.dmp", "wb").write(dump(4096, 0, bytes(4096)))
    open("damaged.dmp", "wb").write(dump(4096, 5000, bytes(4096)))
    open("text.txt", "wb").write(b"this is a plain text and certainly no trace of anything, however long it may be\n")


sys.exit(main())
