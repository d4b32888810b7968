. "$VELA_SOURCE/tests/cli/3270/records.bash"
vela 3270 show --orders - < "$VELA_BUILD/demo_screen.bin"
