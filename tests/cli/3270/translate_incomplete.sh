. "$VELA_SOURCE/tests/cli/3270/records.bash"
# Nothing is written, and an old file stays.
hex 05c3 1140 > short.bin
echo old > out.bin
failing vela 3270 translate --to ascii short.bin out.bin
cat out.bin
