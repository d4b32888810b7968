# Values of files and of regions; the region's own file first, then the common one.
exec 2>&1
eval "$(vela setup --root root --region HELLO)"
rd=root/data/vela_regions/HELLO/database/RD
mkdir $rd/RD.HELLO
printf 'Region:\n    NameSpace="long name"\n\tName="short"\n    Empty=""\n    Own="of the region"\n' > $rd/RD.HELLO/RD.auto
printf 'Own="of all"\nShared="of all"\n' > $rd/RD.stanza
for attribute in Name Na 'Name=' Own Shared Empty; do
    printf '%s: ' "$attribute"; vela stanza HELLO "$attribute"
done
vela stanza $rd/RD.stanza Own
(cd $rd && vela stanza RD.stanza Own)
cp $rd/RD.stanza plain; vela stanza plain Shared
env -u SORREL_REGISTRY vela stanza ./plain Shared
cp $rd/RD.stanza HELLO; sed -i 's/of all/of a file/' HELLO
vela stanza HELLO Own; vela stanza ./HELLO Own
rm -r $rd/RD.HELLO; vela stanza HELLO Own
vela stanza --help | head -1
