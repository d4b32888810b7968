. "$VELA_SOURCE/tests/cli/3270/records.bash"
hex 05c3 114040 1df0 d5c1d4c5 1d40 c1c2 290143f8 4481 2902c0f042f2 c1 > host.bin
vela 3270 scan --output addressed.bin host.bin
dump addressed.bin
vela 3270 scan --ascii addressed.bin
# Multibyte text takes the width of its encoding, and of the shifts around it.
hex 3543 112020 1d40 e697a5 1d40 > utf8.bin
vela 3270 scan --ascii --locale C.UTF-8 utf8.bin
vela 3270 scan --ascii utf8.bin
failing vela 3270 scan --ascii --locale nowhere utf8.bin
