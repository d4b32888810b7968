. "$VELA_SOURCE/tests/cli/3270/records.bash"
# A shift-out is no order: directly behind one it ends the scan.
hex 05c3 114040 1df0 c1 1d40 0e44810fc2 > shift.bin
failing vela 3270 scan shift.bin
hex 05c3 114040 1d > cut.bin
failing vela 3270 scan cut.bin
hex 3543 112020 1d > cut_ascii.bin
failing vela 3270 scan --ascii cut_ascii.bin
