# Several megabytes, in blocks whose borders fall at every place of a character, against a second converter; the same
# in dribbles through a pipe, and runs of double-byte text longer than a block.
. "$VELA_SOURCE/tests/cli/install.bash"
cat > make.py <<'PY'
import random, sys
random.seed(int(sys.argv[1]))
word = lambda letters: "".join(random.choice(letters) for _ in range(random.randrange(1, 12)))
kinds = {"latin": ["abcdefghijklmnopqrstuvwxyz", "äöüéèñÄÖÜß", "0123456789"],
         "kanji": ["本日注文在庫照合", "あいうえおかきくけこ", "ABCDEFGH", "アイウエオ"]}[sys.argv[2]]
size, out = int(sys.argv[3]), []
while size > 0:
    out.append(word(random.choice(kinds)) + " ")
    size -= len(out[-1])
sys.stdout.buffer.write("".join(out).encode(sys.argv[4]))
PY
check() { # name, the right answer, the converted text
    cmp "$2" "$3" && echo "$1: same, $(($(wc -c < "$2") / 1000000)) million bytes"
}
python3 make.py 1 latin 4000000 utf-8 > latin.utf8
vela convert -f UTF8 -t 037 latin.utf8 > latin.037
iconv -f UTF-8 -t CP037 latin.utf8 > want; check "UTF-8 to 037" want latin.037
vela convert -f 037 -t UTF8 latin.037 > back; check "037 to UTF-8" latin.utf8 back
python3 make.py 2 kanji 1500000 utf-8 > kanji.utf8
for set in EUCJP:EUC-JP 943:CP932 UCS2:UTF-16LE; do
    iconv -f UTF-8 -t ${set#*:} kanji.utf8 > want
    vela convert -f UTF8 -t ${set%:*} kanji.utf8 > made; check "UTF-8 to $set" want made
    vela convert -f ${set%:*} -t UTF8 made > back; check "$set to UTF-8" kanji.utf8 back
done
for set in 930 939; do
    vela convert -f UTF8 -t $set kanji.utf8 > made
    vela convert -f $set -t UTF8 made > back; check "UTF-8 to $set and back" kanji.utf8 back
    vela convert -f $set -t 943 made > sjis; vela convert -f 943 -t UTF8 sjis > back
    check "$set by 943 to UTF-8" kanji.utf8 back
done
echo "borders:"
for pad in 0 1 2 3; do
    python3 -c 'import sys; n = int(sys.argv[1]); open("src", "wb").write(b"x" * (262144 - 2 + n) + "語".encode() * 90000)' $pad
    vela convert -f UTF8 -t UCS2 src > made
    iconv -f UTF-8 -t UTF-16LE src | cmp - made && echo "$pad same"
done
echo "dribbles:"
head -c 40000 kanji.utf8 | iconv -c -f UTF-8 -t UTF-8 > part 2> /dev/null
python3 -c '
import sys, subprocess
text = open("part", "rb").read()
p = subprocess.Popen(["vela", "convert", "-f", "UTF8", "-t", "EUCJP"], stdin=subprocess.PIPE, stdout=open("made", "wb"))
for i in range(0, len(text), 7): p.stdin.write(text[i:i+7]); p.stdin.flush()
p.stdin.close(); sys.exit(p.wait())' && iconv -f UTF-8 -t EUC-JP part | cmp - made && echo same
echo "a run longer than a block:"
python3 -c 'open("run", "wb").write(b"\xc1\x0e" + b"\x45\x66\x45\xa3" * 200000 + b"\x0f\xc2")'
vela convert -f 930 -t UTF8 run > made
python3 -c 'open("want", "wb").write(("A" + "本重" * 200000 + "B").encode())'
cmp want made && echo "930 to UTF-8: same"
vela convert -f 930 -t 939 run > made
vela convert -f 939 -t 930 made | cmp - run && echo "930 to 939 and back: same, $(tr -dc '\016' < made | wc -c) shift-out"
echo "a bad byte far inside:"
python3 -c 'open("bad", "wb").write("語".encode() * 400000 + b"\xff" + "語".encode() * 10)'
vela convert -f UTF8 -t UCS2 bad 2> errors > made; echo "status $?, $(wc -c < made) bytes, $(cat errors)"
vela convert --replace -f UTF8 -t UCS2 bad | wc -c
