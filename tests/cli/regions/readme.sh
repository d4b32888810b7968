# The lines of README.md about a region over the network work as they are printed, with another port.
exec 2>&1
export SORREL_RUNDIR="$PWD/run" LOGNAME=golden
mkdir -m 700 run
port=$(python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
sed -n '/^## A region over the network/,/^## The house/ s/^    //p' "$VELA_SOURCE/README.md" |
    sed "s|build/dev/bin/||; s/5135/$port/; s/sleep 1/sleep 3/" > lines
grep -c vela lines
. ./lines > out
sed "s/\b$HOSTNAME\b */HOST  /; s/HOST  *DESC/HOST  DESC/; s/port $port/port PORT/; s/port [0-9]*;/port PORT;/" out
kill %1
wait %1
echo "status $?"
