# Code sets by short name, full name and number; standard input, several files, - among them, and files in any order.
. "$VELA_SOURCE/tests/cli/install.bash"
dump() { od -An -tx1 -v; }
printf 'Hello\n' > hello
for from in 850 QMX-850 00850; do
    for to in 037 QMX-037 37; do vela convert -f $from -t $to hello; done
done | dump
for name in EUCJP QMX-eucJP 954; do printf '\264\301\273\372' | vela convert --from $name --to UTF8; echo; done
printf '\326\320' | vela convert -f EUCCN -t UTF-8; echo
printf '\244' | vela convert -f QMX-923 -t 1208; echo
printf 'AB' | vela convert -f 8859-1 -t UCS2 | dump
printf 'AB' | vela convert -f ISO8859-1 -t 13488 - | dump
printf '\237' | vela convert -f 8859-15 -t UTF8; echo
printf 'two ' > two
printf 'mid ' | vela convert -f 850 -t 8859-1 two - hello two
echo
echo "nothing in, nothing out:"
: > empty
vela convert -f 850 -t 037 empty empty | wc -c
vela convert -f 850 -t 037 < empty | wc -c
echo "one set to itself:"
head -c 3000000 /dev/zero | vela convert -f QMX-850 -t 850 | cmp - <(head -c 3000000 /dev/zero) && echo same
