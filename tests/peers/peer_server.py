#!/usr/bin/env python3
"""A server of the listener and scheduler interfaces on an independent implementation of the data representation.

    peer_server.py [--fragment N] [--big-endian]

Prints "PORT n" and serves until standard input ends. Arguments are decoded by impacket's NDR classes; the answer to a
call is made from nothing but what was decoded: the result is a check sum over a canonical text of all input arguments,
and output arguments come from a generator that is seeded with it. The client computes both on its own side and compares.

impacket encodes answers, little-endian. It has no other order, so a second encoder stands here, made of struct.pack
alone: each of its answers in little-endian is compared with impacket's octet by octet (gaps aside), which proves its
layout, and with --big-endian its answers go out in that order, headers included.
"""
import argparse
import socket
import struct
import sys
import threading
import zlib

try:
    from impacket.dcerpc.v5.dtypes import NDRLONG, NDRULONG
    from impacket.dcerpc.v5.ndr import (NDRCALL, NDRSTRUCT, NDRUniConformantArray, NDRUniConformantVaryingArray,
                                        NDRUniVaryingArray, NDRPOINTER, NDRSMALL, NDRSHORT)
except ImportError:
    print("SKIP python3-impacket is not installed", flush=True)
    sys.exit(77)

NDR = bytes.fromhex("045d888aeb1cc9119fe808002b10486002000000")
LISTENER = bytes.fromhex("5698930096b9b21ca1d210005a4fa441")
SCHEDULER = bytes.fromhex("2ac90b45c8af000002c036e210000000")


# ---- types, by impacket's classes

class Text(NDRUniConformantVaryingArray):       # a string of any length
    item = "c"


class Fixed(NDRUniVaryingArray):                # a string buffer: offset, count, characters
    item = "c"


class CharArray(NDRUniConformantArray):
    item = "c"


class CharVarying(NDRUniConformantVaryingArray):
    item = "c"


class WordArray(NDRUniConformantArray):
    item = NDRULONG


class Pair(NDRSTRUCT):
    structure = (("a", NDRLONG), ("b", NDRLONG))


class IdPair(NDRSTRUCT):
    structure = (("a", NDRULONG), ("b", NDRULONG))


class IdPairs(NDRUniConformantArray):
    item = IdPair


class Stamp(NDRSTRUCT):
    structure = (("p", Pair), ("n", NDRULONG))


class TsBuffer(NDRSTRUCT):
    structure = (("used", NDRLONG), ("size", NDRLONG), ("data", CharVarying))


class ListenerBuffer(NDRSTRUCT):
    structure = (("length", NDRLONG), ("data", CharArray))


class Area(NDRSTRUCT):
    structure = (("length", NDRLONG), ("data", Fixed))


SHAPES = {"A": "tu", "B": "ttull", "C": "tuuupl", "D": "tttppll", "E": "tl", "F": "tl", "G": "uutttttppll"}
FIELD = {"t": Fixed, "u": NDRULONG, "l": NDRLONG, "p": Pair}


def record_class(letter):
    fields = tuple((f"f{at}", FIELD[kind]) for at, kind in enumerate(SHAPES[letter]))
    return type("Record" + letter, (NDRSTRUCT,), {"structure": fields})


RECORD = {letter: record_class(letter) for letter in SHAPES}


def list_class(letter):
    items = type("Items" + letter, (NDRUniConformantArray,), {"item": RECORD[letter]})
    body = type("List" + letter, (NDRSTRUCT,), {"structure": (("count", NDRLONG), ("items", items))})
    return type("PList" + letter, (NDRPOINTER,), {"referent": (("Data", body),)})


LIST = {letter: list_class(letter) for letter in SHAPES}

# Operations: s string in, l long, u unsigned long, p pair, m stamp, A..G records, w array of words, i pairs in and out,
# n name in and out, b buffer in, o buffer in and out, U/L out word, y boolean, k string buffer of 5, K char, c and a listener buffers, [X] out list
TS = {0: "ssslpbUoo", 1: "A", 2: "A", 3: "s", 4: "A[A", 5: "B", 6: "B", 7: "s", 8: "s[B", 9: "s", 10: "spmL", 11: "C",
      12: "C", 13: "s", 14: "s[C", 15: "s", 16: "spmlL", 17: "D", 18: "D", 19: "s", 20: "s[D", 21: "s", 22: "spmL",
      23: "E", 24: "E", 25: "s", 26: "s[E", 27: "F", 28: "F", 29: "s", 30: "s[F", 31: "ss", 32: "suss", 33: "ss",
      34: "uw[G", 35: "mui", 36: "p", 37: "n"}
LISTENER_OPS = {0: "sssllccU", 1: "u", 2: "n", 3: "ssslccUykKkaa"}

IN_CLASS = {"s": Text, "l": NDRLONG, "u": NDRULONG, "p": Pair, "m": Stamp, "w": WordArray, "i": IdPairs, "n": Fixed,
            "b": TsBuffer, "o": TsBuffer, "c": ListenerBuffer, "a": Area, **RECORD}


def parse(shape):
    """The parameters of a shape: (kind, list letter)."""
    out, at = [], 0
    while at < len(shape):
        if shape[at] == "[":
            out.append(("[", shape[at + 1]))
            at += 2
        else:
            out.append((shape[at], None))
            at += 1
    return out


# ---- canonical text and generator, the same as in the client

def text_of(raw):
    raw = b"".join(raw) if isinstance(raw, list) else bytes(raw)
    assert raw.endswith(b"\0"), raw
    return "t" + raw[:-1].hex() + ";"


def bytes_of(raw):
    return b"".join(raw) if isinstance(raw, list) else bytes(raw)


def canonical(kind, value):
    if kind == "t":
        return text_of(value)
    if kind in "lu":
        return f"{kind}{value};"
    if kind == "p":
        return f"p{value['a']},{value['b']};"
    if kind == "m":
        return f"m{value['p']['a']},{value['p']['b']},{value['n']};"
    raise AssertionError(kind)


def canonical_argument(kind, ndr):
    if kind in "sn":
        return text_of(ndr["Data"])
    if kind in "lu":
        return canonical(kind, ndr["Data"])
    if kind in "pm":
        return canonical(kind, ndr)
    if kind == "w":
        return "w" + ",".join(str(item["Data"]) for item in ndr["Data"]) + ";"
    if kind == "i":
        return "i" + ",".join(f"{item['a']},{item['b']}" for item in ndr["Data"]) + ";"
    if kind in "bo":
        data = bytes_of(ndr["data"])
        assert len(data) == ndr["used"]
        return f"b{ndr['size']},{data.hex()};"
    if kind in "ca":
        data = bytes_of(ndr["data"])
        assert len(data) == ndr["length"]
        return f"c{data.hex()};"
    return "".join(canonical(field, ndr[f"f{at}"]) for at, field in enumerate(SHAPES[kind]))


class Generator:
    def __init__(self, seed):
        self.state = seed & 0xFFFFFFFF

    def word(self):
        self.state = (self.state * 1664525 + 1013904223) & 0xFFFFFFFF
        return (self.state >> 8) & 0xFFFFFF

    def text(self, room):
        size = self.word() % room
        return bytes(97 + self.word() % 26 for _ in range(size)) + b"\0"

    def octets(self, most):
        size = self.word() % (most + 1)
        return bytes(self.word() & 0xFF for _ in range(size))


def chars(raw):
    return [bytes([octet]) for octet in raw]


# ---- calls

def request_class(shape):
    fields = tuple((f"a{at}", IN_CLASS[kind]) for at, (kind, _) in enumerate(shape) if kind in IN_CLASS)
    return type("Request", (NDRCALL,), {"structure": fields})


OUT_CLASS = {"U": NDRULONG, "L": NDRLONG, "y": NDRSMALL, "k": Fixed, "K": NDRSMALL, "n": Fixed, "o": TsBuffer, "a": Area,
             "i": IdPairs}


def response_class(shape, result):
    fields = tuple((f"a{at}", LIST[letter] if kind == "[" else OUT_CLASS[kind])
                   for at, (kind, letter) in enumerate(shape) if kind == "[" or kind in OUT_CLASS)
    return type("Response", (NDRCALL,), {"structure": fields + (("result", result),)})


def fill_record(generator, letter):
    record = RECORD[letter]()
    for at, kind in enumerate(SHAPES[letter]):
        name = f"f{at}"
        if kind == "t":
            record[name] = chars(generator.text(64))
        elif kind == "u":
            record[name] = generator.word()
        elif kind == "l":
            record[name] = generator.word() - 0x800000
        else:
            record[name]["a"] = generator.word() - 0x800000
            record[name]["b"] = generator.word() - 0x800000
    return record


def fill(response, name, kind, letter, generator, request):
    if kind == "U":
        response[name] = generator.word()
    elif kind == "L":
        response[name] = generator.word() - 0x800000
    elif kind == "y":
        response[name] = generator.word() & 1
    elif kind == "K":
        response[name] = (generator.word() & 0xFF ^ 0x80) - 0x80
    elif kind in "kn":
        response[name] = chars(generator.text(5 if kind == "k" else 64))
    elif kind == "o":
        size = request[name]["size"]
        data = generator.octets(size)
        response[name]["used"] = len(data)
        response[name]["size"] = size
        response[name]["data"] = chars(data)
        response[name].fields["data"].fields["MaximumCount"] = size
    elif kind == "a":
        data = generator.octets(1000)
        response[name]["length"] = len(data)
        response[name]["data"] = chars(data)
    elif kind == "i":
        items = []
        for _ in request[name]:
            item = IdPair()
            item["a"], item["b"] = generator.word(), generator.word()
            items.append(item)
        response[name] = items
    elif kind == "[":
        count = generator.word() % 4
        response[name]["count"] = count
        response[name]["items"] = [fill_record(generator, letter) for _ in range(count)]


CALLS = {}
for uuid, operations, result in ((SCHEDULER, TS, NDRULONG), (LISTENER, LISTENER_OPS, NDRSHORT)):
    for number, text in operations.items():
        parsed = parse(text)
        CALLS[uuid, number] = (parsed, request_class(parsed), response_class(parsed, result), result)


def argument_text(kind, value):
    if kind in "sn":
        return text_of(value)
    if kind in "lu":
        return canonical(kind, value)
    if kind in "pm":
        return canonical(kind, value)
    if kind == "w":
        return "w" + ",".join(str(item["Data"]) for item in value) + ";"
    if kind == "i":
        return "i" + ",".join(f"{item['a']},{item['b']}" for item in value) + ";"
    return canonical_argument(kind, value)


def answer(uuid, operation, stub, big_endian):
    shape, request_type, response_type, result = CALLS[uuid, operation]
    request = request_type(bytes(stub)) if stub else request_type()
    text = "".join(argument_text(kind, request[f"a{at}"]) for at, (kind, _) in enumerate(shape) if kind in IN_CLASS)
    check = zlib.crc32(text.encode())
    generator = Generator(check)
    response = response_type()
    for at, (kind, letter) in enumerate(shape):
        if kind == "[" or kind in OUT_CLASS:
            fill(response, f"a{at}", kind, letter, generator, request)
    response["result"] = check if result is NDRULONG else check & 0x7FFF
    encoded = response.getData()
    difference = same_layout(pack_response("<", shape, response, result), encoded)
    if difference:
        raise AssertionError("the encoders differ: " + difference)
    return bytes(pack_response(">", shape, response, result).data) if big_endian else encoded


# ---- the second encoder

class Packer:
    """Primitives in either byte order, aligned to their own size from the start."""

    def __init__(self, order):
        self.order, self.data, self.gaps = order, bytearray(), set()

    def align(self, size):
        while len(self.data) % size:
            self.gaps.add(len(self.data))
            self.data.append(0xAA)

    def put(self, code, *values):
        for value in values:
            self.align(struct.calcsize("<" + code))
            self.data += struct.pack(self.order + code, value)

    def text(self, octets):                     # offset, count, characters; also any other varying array of octets
        self.put("I", 0, len(octets))
        self.data += octets

    def record(self, letter, record):
        for at, kind in enumerate(SHAPES[letter]):
            value = record[f"f{at}"]
            if kind == "t":
                self.text(bytes_of(value))
            elif kind == "p":
                self.put("i", value["a"], value["b"])
            else:
                self.put("I" if kind == "u" else "i", value)


def pack_output(packer, kind, letter, value):
    if kind in "UL":
        packer.put("I" if kind == "U" else "i", value)
    elif kind in "yK":
        packer.put("b", value)
    elif kind in "kn":
        packer.text(bytes_of(value))
    elif kind == "o":
        packer.put("I", value["size"], value["used"], value["size"])
        packer.text(bytes_of(value["data"]))
    elif kind == "a":
        packer.put("I", value["length"])
        packer.text(bytes_of(value["data"]))
    elif kind == "i":
        packer.put("I", len(value))
        for item in value:
            packer.put("I", item["a"], item["b"])
    else:
        packer.align(4)
        packer.gaps.update(range(len(packer.data), len(packer.data) + 4))  # an identifier: any number but 0
        packer.put("I", 0x20000, len(value["items"]), value["count"])
        for item in value["items"]:
            packer.record(letter, item)


def pack_response(order, shape, response, result):
    packer = Packer(order)
    for at, (kind, letter) in enumerate(shape):
        if kind == "[" or kind in OUT_CLASS:
            pack_output(packer, kind, letter, response[f"a{at}"])
    packer.put("I" if result is NDRULONG else "h", response["result"])
    return packer


def same_layout(packer, other):
    """What differs outside the gaps, or None."""
    if len(packer.data) != len(other):
        return f"{len(packer.data)} octets and {len(other)}"
    for at, (one, two) in enumerate(zip(packer.data, other)):
        if one != two and at not in packer.gaps:
            return f"at {at}: {one:02x} and {two:02x}"
    return None


# ---- the connection

def read(connection, size):
    data = b""
    while len(data) < size:
        part = connection.recv(size - len(data))
        if not part:
            raise EOFError
        data += part
    return data


class Answers:
    """PDUs of a server, in one byte order."""

    def __init__(self, big_endian):
        self.big_endian = big_endian
        self.order = ">" if big_endian else "<"

    def pdu(self, kind, flags, call, body):
        label = 0 if self.big_endian else 0x10
        return struct.pack(self.order + "BBBBB3xHHI", 5, 0, kind, flags, label, 16 + len(body), 0, call) + body

    def syntax(self):
        numbers = struct.unpack("<IHH", NDR[:8])
        return struct.pack(self.order + "IHH", *numbers) + NDR[8:16] + struct.pack(self.order + "I", 2)

    def bind_ack(self, kind, call, limits):
        port = b"1234\0" if kind == 11 else b""
        body = struct.pack(self.order + "HHIH", *limits, 0x4321, len(port)) + port
        body += b"\0" * (-len(body) % 4) + b"\1\0\0\0" + b"\0" * 4 + self.syntax()
        return self.pdu(kind + 1, 3, call, body)

    def response(self, call, context, stub, fragment):
        parts = [stub[at:at + fragment] for at in range(0, len(stub), fragment)] or [b""]
        data = b""
        for at, part in enumerate(parts):
            mark = (1 if at == 0 else 0) | (2 if at == len(parts) - 1 else 0)
            left = len(stub) - at * fragment
            data += self.pdu(2, mark, call, struct.pack(self.order + "IHBB", left, context, 0, 0) + part)
        return data

    def fault(self, call, context, status):
        return self.pdu(3, 3, call, struct.pack(self.order + "IHBBII", 0, context, 0, 0, status, 0))


def serve(connection, fragment, answers):
    contexts, stub = {}, b""
    while True:
        header = read(connection, 16)
        kind, flags, length, call = header[2], header[3], *struct.unpack("<H2xI", header[8:16])
        body = read(connection, length - 16)
        if kind in (11, 14):
            contexts[struct.unpack_from("<H", body, 12)[0]] = body[16:32]
            connection.sendall(answers.bind_ack(kind, call, struct.unpack_from("<HH", body)))
        elif kind == 0:
            context, operation = struct.unpack_from("<HH", body, 4)
            stub += body[24 if flags & 0x80 else 8:]
            if flags & 2:
                try:
                    out = answer(contexts[context], operation, stub, answers.big_endian)
                    connection.sendall(answers.response(call, context, out, fragment))
                except Exception as error:  # the client sees a fault, a person the reason
                    print(f"operation {operation}: {error!r}", file=sys.stderr, flush=True)
                    connection.sendall(answers.fault(call, context, 0x1C000012))
                stub = b""


def connection_thread(connection, fragment, answers):
    try:
        connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        serve(connection, fragment, answers)
    except (EOFError, OSError):
        connection.close()


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--fragment", type=int, default=4096, help="stub octets in one fragment, a multiple of 8")
    parser.add_argument("--big-endian", action="store_true", help="answer in that byte order")
    options = parser.parse_args()
    answers = Answers(options.big_endian)
    listener = socket.create_server(("127.0.0.1", 0))
    print(f"PORT {listener.getsockname()[1]}", flush=True)

    def accept():
        while True:
            connection, _ = listener.accept()
            threading.Thread(target=connection_thread, args=(connection, options.fragment, answers), daemon=True).start()

    threading.Thread(target=accept, daemon=True).start()
    sys.stdin.read()


if __name__ == "__main__":
    main()
