# Records that the cases compose: hexadecimal text becomes the bytes of a file.
hex() { python3 -c 'import sys; sys.stdout.buffer.write(bytes.fromhex(" ".join(sys.argv[1:])))' "$@"; }
dump() { od -An -tx1 -v "$1"; }

# Runs a command that fails: its standard error without what changes from run to run, then the status.
failing() {
    "$@" 2> errors
    local status=$?
    sed -n '/^vela:/p; s/.*\(FUNC.*MSN\/[0-9]*\).*/SYMPTOMS ... \1 .../p; /^SECONDARY/p' errors
    echo "(status $status)"
}
