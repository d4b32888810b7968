. "$VELA_SOURCE/tests/cli/3270/records.bash"
# Colours, highlighting, modified and double-byte fields, attributes of single characters, a repeated character.
hex 05c3 114040 2903c0f042f241f2 d9c5c4 2843f8 4481 284300 2842f6 e8 280000 d5 \
    11c150 2902c04043f8 448145c1 13 11c260 1dc1 11c3f0 1df0 0e44810f > looks.bin
vela 3270 show --fields looks.bin
vela 3270 show --orders looks.bin
