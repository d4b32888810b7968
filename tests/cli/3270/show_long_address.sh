. "$VELA_SOURCE/tests/cli/3270/records.bash"
# 14-bit addresses, lines of the graphic-escape set, a repeated graphic character: the screen is 43 rows high.
hex 0dc3 110000 1df0 08c5 3c004f08a2 08d5 110d20 1df8 c2d6e3e3d6d4 > box.bin
vela 3270 show box.bin
vela 3270 show --orders box.bin
LC_ALL=C vela 3270 show --size 43x80 box.bin | head -3
