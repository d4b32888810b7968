. "$VELA_SOURCE/tests/cli/3270/records.bash"
hex 05c3 114040 1df0c1 > small.bin
vela 3270 show --size 3x20 small.bin
for size in 0x80 24x 24x80x 400x400 big; do failing vela 3270 show --size "$size" small.bin; done
hex 05c3 11c150 1df0c1 > far.bin
failing vela 3270 show --size 1x20 far.bin
