. "$VELA_SOURCE/tests/cli/3270/records.bash"
# ENTER with the cursor at 7,73 and one field, then PA1 alone.
hex 7d c8e8 11 c86d 93968796 86 > enter.bin
hex 6c > pa1.bin
vela 3270 show --inbound enter.bin pa1.bin
vela 3270 show --inbound --orders enter.bin
