. "$VELA_SOURCE/tests/cli/3270/records.bash"
# A terminal's stream, one without a command, and the ways of framing double-byte text.
hex 7dc150 11c150 c1c2 > enter.bin
vela 3270 translate --to ascii --inbound enter.bin out.bin && dump out.bin
hex 01 1df0 c1 > text.bin
vela 3270 translate --to ascii --no-command text.bin out.bin && dump out.bin
hex 290143f8 44814482 13 > double.bin
for mode in 1 2 3; do
    vela 3270 translate --to ascii --no-command --double-byte-mode $mode double.bin out.bin && dump out.bin
done
failing vela 3270 translate --to ascii --double-byte-mode 4 double.bin out.bin
