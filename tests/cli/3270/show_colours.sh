. "$VELA_SOURCE/tests/cli/3270/records.bash"
# Escape sequences on a terminal alone, and none where NO_COLOR is set.
hex 05c3 114040 2902c0f042f2 d9c5c4 1d40 > red.bin
on_a_terminal() { python3 -c "import pty, sys; pty.spawn(sys.argv[1:])" "$@" | tr -d "\r" | sed -n "3p" | cat -v; }
on_a_terminal vela 3270 show red.bin
NO_COLOR=1 on_a_terminal vela 3270 show red.bin
vela 3270 show red.bin | sed -n 3p | cat -v
