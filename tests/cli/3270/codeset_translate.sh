# Streams of other host code sets to the ASCII form and back.
. "$VELA_SOURCE/tests/cli/3270/records.bash"
. "$VELA_SOURCE/tests/cli/install.bash"
hex 05c3 114040 1df0 c8 0e 4566 45a3 0f c8 > mixed.bin
hex 05c3 114040 2902c0f043f8 4566 45a3 13 > field.bin
hex 05c3 114040 1df0 c8 9f 4a e0 > euro.bin
for record in mixed field; do
    echo "$record"
    vela 3270 translate --codeset QMX-930 --to ascii $record.bin ascii.bin && dump ascii.bin
    vela 3270 translate --codeset QMX-930 --to ebcdic ascii.bin back.bin && dump back.bin
done
echo "field, the framing kept by hand, and in other sets of the ASCII form"
vela 3270 translate --codeset QMX-930 --double-byte-mode 2 --to ascii field.bin - | dump -
vela 3270 translate --codeset QMX-930 --ascii-codeset EUCJP --to ascii field.bin - | dump -
vela 3270 translate --codeset QMX-930 --ascii-codeset UTF8 --to ascii field.bin - | dump -
echo "euro"
vela 3270 translate --codeset 1140 --to ascii euro.bin - | dump -
vela 3270 translate --codeset 1140 --ascii-codeset UTF8 --to ascii euro.bin - | dump -
echo "scan"
vela 3270 scan --codeset QMX-930 mixed.bin
vela 3270 scan --codeset QMX-930 --locale C field.bin
echo "the table of the program and the engine agree on 037"
python3 -c 'import sys; sys.stdout.buffer.write(bytes.fromhex("05c3") + bytes(range(0x40, 0xff)))' > all.bin
vela 3270 translate --to ascii all.bin one.bin
vela 3270 translate --codeset 037 --to ascii all.bin other.bin && cmp one.bin other.bin && echo same
vela 3270 show all.bin > one.txt
vela 3270 show --codeset QMX-037 all.bin | cmp - one.txt && echo same
