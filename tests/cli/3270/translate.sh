. "$VELA_SOURCE/tests/cli/3270/records.bash"
hex 05c3 114040 1df0 c8859393 96 13 > host.bin
vela 3270 translate --to ascii host.bin ascii.bin && dump ascii.bin
vela 3270 translate --to ebcdic ascii.bin back.bin && dump back.bin
vela 3270 translate --from wire --to ascii back.bin again.bin && dump again.bin # but for the WCC as before
vela 3270 translate --to ascii - - < host.bin | cmp - ascii.bin && echo same
