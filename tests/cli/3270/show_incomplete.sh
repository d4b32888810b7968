. "$VELA_SOURCE/tests/cli/3270/records.bash"
# What was understood, then the library's symptom and code.
head -c 6 "$VELA_BUILD/demo_screen.bin" > cut.bin
failing vela 3270 show cut.bin
hex 05c3 114040 1df0 c1c2 290342f2 > pairs.bin
failing vela 3270 show --orders pairs.bin
