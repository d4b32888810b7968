. "$VELA_SOURCE/tests/cli/3270/records.bash"
vela 3270 --help
vela 3270 show --help
vela 3270 translate --help
vela 3270 scan --help
