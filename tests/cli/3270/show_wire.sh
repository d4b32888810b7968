. "$VELA_SOURCE/tests/cli/3270/records.bash"
# The command code as it stands on the wire.
hex f5c3 114040 1df0 c8c5d3d3d6 > wire.bin
vela 3270 show --from wire --orders wire.bin
failing vela 3270 show wire.bin
failing vela 3270 show --orders wire.bin
