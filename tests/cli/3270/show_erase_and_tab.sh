. "$VELA_SOURCE/tests/cli/3270/records.bash"
# Erase unprotected to address, program tab, modify field.
hex 01c2 114040 1df0 c1 11c150 1d40 c2c2c2 1df0 c3 11c150 12c260 114040 05 c4 11c150 2c01c0e8 > orders.bin
vela 3270 show --fields orders.bin | grep -v "|  *|"
