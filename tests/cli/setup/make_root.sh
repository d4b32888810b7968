vela setup --root root --region HELLO
echo "again:"
find root -type f -exec cksum {} + | sort > before
vela setup --root root --region HELLO
find root -type f -exec cksum {} + | sort | cmp - before && echo "nothing changed"
echo "another region:"
vela setup --root root/ --region OTHER_1 | head -1
(cd root && find . -not -name '*.tbl' | sort)
echo "the environment of a region:"
cat root/data/vela_regions/HELLO/environment
echo 'MINE=kept' > root/data/vela_regions/HELLO/environment
vela setup --root root --region HELLO > /dev/null
cat root/data/vela_regions/HELLO/environment
