# What goes wrong is told in one line.
exec 2>&1
eval "$(vela setup --root root --region HELLO)"
vela stanza HELLO Name; echo "status $?"
printf 'Name=no quotes\nName="one\n' > root/data/vela_regions/HELLO/database/RD/RD.stanza
vela stanza HELLO Name; echo "status $?"
vela stanza HELLO ''; echo "status $?"
vela stanza NONE Name; echo "status $?"
vela stanza ./none Name; echo "status $?"
vela stanza none.stanza Name; echo "status $?"
vela stanza . Name; echo "status $?"
: > empty
vela stanza empty Name; echo "status $?"
vela stanza '' Name; echo "status $?"
vela stanza HELLO; echo "status $?"
vela stanza; echo "status $?"
vela stanza HELLO Name more; echo "status $?"
