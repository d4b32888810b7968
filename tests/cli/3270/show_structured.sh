. "$VELA_SOURCE/tests/cli/3270/records.bash"
# A structured field that holds a screen, and one that holds none.
hex 11 000c 40 00 f5 c3 114040 1df0c1 0005 d0 0012 > structured.bin
vela 3270 show structured.bin | head -9
hex 11 0009 40 00 > short.bin
failing vela 3270 show short.bin
