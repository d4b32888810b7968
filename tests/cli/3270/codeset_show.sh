# Text of a mixed host code set: between shift bytes, in a double-byte field, half Katakana, a character at a row's edge,
# half a character, a code without a character, hidden and input positions.
. "$VELA_SOURCE/tests/cli/3270/records.bash"
. "$VELA_SOURCE/tests/cli/install.bash"
hex 05c3 1140c1 1d60 d6e2c1d2c1 0e 45664566 4040 45a3 0f 81c1 \
    11c150 2903c0e04100 43f8 4566 45a3 4566 1d60 \
    11c25e 0e 4566 45a3 0f \
    11c3f0 1d4c 0e 4566 0f 1d40 0000 c1 > mixed.bin
hex 05c3 1140c1 1d60 0e 4566 45 0f c1 0e fefe 4566 0f 1d60 > bad.bin
vela 3270 show --codeset QMX-930 --size 8x40 --fields mixed.bin
vela 3270 show --codeset 939 --size 8x40 --orders mixed.bin
vela 3270 show --codeset QMX-930 --size 2x40 --orders bad.bin
vela 3270 show --codeset QMX-930 --size 2x40 bad.bin
echo "a locale without them:"
LC_ALL=C vela 3270 show --codeset QMX-930 --size 8x40 mixed.bin
echo "without the code set:"
vela 3270 show --size 8x40 mixed.bin | tail -2
