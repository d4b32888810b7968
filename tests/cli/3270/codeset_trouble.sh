# Code sets that do not do, and text that is none of its code set.
. "$VELA_SOURCE/tests/cli/3270/records.bash"
hex 05c3 114040 1df0 c8 0e 4566 45 0f > half.bin
failing vela 3270 show --codeset QMX-930 half.bin
failing vela 3270 show --ascii-codeset QMX-943 half.bin
. "$VELA_SOURCE/tests/cli/install.bash"
failing vela 3270 show --codeset QMX-9300 half.bin
failing vela 3270 show --codeset QMX-943 half.bin
failing vela 3270 show --codeset QMX-930 --ascii-codeset UCS-2 half.bin
failing vela 3270 show --codeset QMX-930 --ascii-codeset QMX-949 half.bin
failing vela 3270 translate --codeset QMX-930 --to ascii half.bin -
failing vela 3270 scan --codeset QMX-930 half.bin
vela 3270 show --codeset QMX-930 --size 2x20 half.bin 2>/dev/null
echo "(status $?)"
