. "$VELA_SOURCE/tests/cli/3270/records.bash"
cp "$VELA_BUILD/demo_screen.bin" demo.bin
vela 3270 show --fields demo.bin
