. "$VELA_SOURCE/tests/cli/3270/records.bash"
# A command that draws nothing.
hex 06 > read.bin
vela 3270 show read.bin
