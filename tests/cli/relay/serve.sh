# A relay with the test child as its handler: two connections, a second relay of the name, the stop, the log.
exec 2>&1
export SORREL_RUNDIR="$PWD/run" SORREL_EVENTLOG="$PWD/events"
mkdir -m 700 run
: > told

ask() {
    exec 3<> "/dev/tcp/127.0.0.1/$port"
    echo "$1" >&3
    cat <&3
    exec 3>&-
}

vela relay run --name GOLDEN --port 0 -- "$VELA_BUILD/bin/test_child" serve -u 0 -x > told &
for _ in {1..200}; do grep -q 'listens' told && break; sleep 0.05; done
port=$(sed -n 's/.*127\.0\.0\.1:\([0-9]*\);.*/\1/p' told)
ask hello
ask "a b"
vela relay run --name GOLDEN --port 0 -- true; echo "status $?"
vela relay run --name OTHER --port "$port" -- true 2>&1 | sed "s/:$port:/:PORT:/"; echo "status ${PIPESTATUS[0]}"
vela relay stop GOLDEN; echo "status $?"
vela relay stop GOLDEN; echo "status $?"
exec 3<> "/dev/tcp/127.0.0.1/$port" && exec 3>&- # it looks for a stop request before it takes a connection
for _ in {1..200}; do grep -q 'GOLDEN ends$' told && break; sleep 0.1; done
wait; echo "status $?"
sed "s/:$port;/:PORT;/" told
vela relay stop GOLDEN; echo "status $?"
sed 's/VELATS\[[0-9]*\]/VELATS/; s|[0-9/]* [0-9:]* (null) *:|TIME (null) :|' events
