. "$VELA_SOURCE/tests/cli/3270/records.bash"
: > empty.bin
head -c 65536 /dev/zero > long.bin
mkdir directory
failing vela 3270 show empty.bin long.bin directory missing.bin
failing vela 3270 scan empty.bin
failing vela 3270 translate --to ascii missing.bin out.bin
hex 0540 > short.bin
failing vela 3270 translate --to ascii short.bin directory/none/out.bin
ls
