#!/usr/bin/env python3
"""Checks the floors of the house: who may include whom, and where system headers may stand.

    scripts/check_layers.py [ROOT]

Each folder may include the headers of the folders that its row names. A header is looked up by its plain name, so the
same name in two folders is a fault as well. Prints each fault as FILE:LINE and ends with 1 when there is one.
"""
import os
import re
import sys

INNER = ["platform/include", "include", "include/inner"]
# folder -> what it may include besides itself; the first row that is a prefix of the file's folder counts
FLOORS = [
    ("platform/include", []),
    ("platform/linux/qrt", ["platform/include", "platform/linux"]),
    ("platform/linux", ["platform/include"]),
    ("include/inner", ["platform/include", "include"]),
    ("include", ["platform/include"]),
    ("inf/tr/src", INNER),
    ("sup/er/src", INNER),
    ("sup/os/nt_intel/src", INNER),
    ("sup/pr/src", INNER),
    ("ter/bm/src", INNER),
    ("remote_clients", INNER),
    ("gen", ["include", "platform/include"]),
    ("tools", ["gen", "include", "include/inner", "platform/include"]),
]
# System headers that only the platform sees; the rest of the library is plain C++ and C. <sys/time.h> has the time
# limits of exported calls.
PLATFORM_ONLY = re.compile(r"^(unistd|pthread|fcntl|poll|dirent|dlfcn|netdb|nl_types|pwd|grp|spawn|syslog|ucontext|"
                           r"sys/(?!time)\w+|netinet/.*|arpa/.*|linux/.*)\.h$")
LIBRARY = ("include", "inf/", "sup/", "ter/", "remote_clients")
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')


def sources(root):
    for folder, _ in FLOORS:
        for directory, names, files in os.walk(os.path.join(root, folder)):
            names.sort()
            for name in sorted(files):
                if name.endswith((".h", ".cpp", ".c")):
                    yield os.path.relpath(os.path.join(directory, name), root)


def floor_of(path):
    folder = os.path.dirname(path)
    for prefix, allowed in FLOORS:
        if folder == prefix or folder.startswith(prefix + "/"):
            return prefix, allowed
    return None, []


def find_cycle(edges):
    state, stack = {}, []

    def visit(node):
        state[node] = 1
        stack.append(node)
        for following in sorted(edges.get(node, ())):
            if state.get(following) == 1:
                return stack[stack.index(following):] + [following]
            if following not in state:
                cycle = visit(following)
                if cycle:
                    return cycle
        stack.pop()
        state[node] = 2
        return None

    for node in sorted(edges):
        if node not in state:
            cycle = visit(node)
            if cycle:
                return cycle
    return None


def main():
    root = sys.argv[1] if len(sys.argv) > 1 else os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    faults, headers, stems, edges = [], {}, {}, {}
    files = sorted(set(sources(root)))
    for path in files:
        name = os.path.basename(path)
        if name.endswith(".h"):
            if name in headers:
                faults.append(f"{path}:1: a header {name} stands in {headers[name]} too")
            headers[name] = path
        else:
            stems[os.path.splitext(name)[0]] = path
    for name, path in headers.items():
        source = stems.get(os.path.splitext(name)[0])
        if source and os.path.dirname(source) != os.path.dirname(path) and not path.startswith("platform/include"):
            faults.append(f"{path}:1: bears the name of the source {source} in another folder")

    for path in files:
        own, allowed = floor_of(path)
        with open(os.path.join(root, path), encoding="utf-8") as stream:
            lines = stream.readlines()
        for number, line in enumerate(lines, 1):
            match = INCLUDE.match(line)
            if not match:
                continue
            kind, name = match.groups()
            if kind == "<":
                if path.startswith(LIBRARY) and PLATFORM_ONLY.match(name):
                    faults.append(f"{path}:{number}: <{name}> belongs below platform/linux")
                continue
            if name.endswith(".inc"):  # generated rows, included where their table stands
                continue
            target = headers.get(os.path.basename(name))
            if target is None:
                faults.append(f"{path}:{number}: \"{name}\" is no header of a floor")
                continue
            floor, _ = floor_of(target)
            if floor != own and floor not in allowed:
                faults.append(f"{path}:{number}: {own} may not include {target}")
            if path.endswith(".h"):
                edges.setdefault(path, set()).add(target)
    cycle = find_cycle(edges)
    if cycle:
        faults.append(f"{cycle[0]}:1: headers include each other: " + " > ".join(cycle))

    for fault in faults:
        print(fault)
    print(f"layers: {len(files)} files, {len(faults)} faults")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
