# What goes wrong: one line with place and bytes, status 1; a wrong command line is status 2. What stood before is there.
convert() { vela convert "$@" 2> errors > out; status=$?; cat out; [ -s out ] && echo; sed "s#$PWD#SCRATCH#" errors; echo "(status $status)"; }
printf 'Hello' > hello
convert -f 850 -t 037 hello
. "$VELA_SOURCE/tests/cli/install.bash"
echo "names:"
convert -f nowhere -t 037 hello
convert -f 850 -t 38 hello
convert -f qmx-850 -t 037 hello
convert -f '' -t 037 hello
convert -f 930 -t 933 hello
convert -f EUCJP -t EUCKR hello
echo "command lines:"
convert -f 850 hello
convert -t 850 hello
convert -f 850 -t 037 --frob hello
echo "files:"
convert -f 850 -t 8859-1 hello missing hello
mkdir folder
convert -f 850 -t 8859-1 folder
[ -e /dev/full ] && vela convert -f 850 -t 037 hello 2>&1 > /dev/full; echo "(status $?)"
echo "bad input:"
printf 'Gr\303\274n \377 rot' > utf
convert -f UTF8 -t 8859-1 utf
convert -f UTF8 -t 8859-1 hello utf
convert -f UTF8 -t 8859-1 - < utf
printf 'half \343\202' > half
convert -f UTF8 -t 8859-1 half
printf 'A\360\237\230\200B' > four
convert -f UTF8 -t 8859-1 four
printf 'A\000B' > odd
convert -f UCS2 -t 8859-1 odd
printf '\201' > lead
convert -f QMX-943 -t UTF8 lead
printf '\310\016\105\146\105\017\310' > run
convert -f QMX-930 -t UTF8 run
printf '\310\016\105\146' > open
convert -f QMX-930 -t UTF8 open
printf '\264\301\217\260' > euc
convert -f EUCJP -t UTF8 euc
echo "replaced:"
for set in 8859-1 943 037 UCS2; do vela convert --replace -f UTF8 -t $set utf | od -An -tx1; done
convert --replace -f QMX-930 -t UTF8 run
convert --replace -f QMX-930 -t UTF8 open
convert --replace -f QMX-943 -t UTF8 lead
convert --replace -f EUCJP -t UTF8 euc hello
