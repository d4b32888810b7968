# What goes wrong is told in one line.
exec 2>&1
export SORREL_RUNDIR="$PWD/run" SORREL_EVENTLOG="$PWD/events"
mkdir -m 700 run
: > told
vela relay; echo "status $?"
vela relay run --name A --port 0; echo "status $?"
vela relay run --port 0 -- true; echo "status $?"
vela relay run --name A -- true; echo "status $?"
vela relay run --name A --port 70000 -- true; echo "status $?"
vela relay run --name A/B --port 0 -- true; echo "status $?"
vela relay run --name A --port 0 --address nowhere -- true; echo "status $?"
vela relay stop A; echo "status $?"
vela relay stop; echo "status $?"
vela relay run --name A --port 0 -- ./no_such_handler > told &
for _ in {1..200}; do grep -q 'listens' told && break; sleep 0.05; done
port=$(sed -n 's/.*127\.0\.0\.1:\([0-9]*\);.*/\1/p' told)
exec 3<> "/dev/tcp/127.0.0.1/$port"
wait $!; echo "status $?"
