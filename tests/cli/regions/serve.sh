# A region of the golden test's own, found, asked and given work, and the map's view of it when it is gone.
exec 2>&1
export SORREL_RUNDIR="$PWD/run" LOGNAME=golden
mkdir -m 700 run
touch qrtd.out region.out killed.out
qrtd --port 0 > qrtd.out &
mapper=$!
for _ in {1..200}; do grep -q ready qrtd.out && break; sleep 0.05; done
export QRT_EPMAP_PORT=$(sed -n 's/.*port \([0-9]*\).*/\1/p' qrtd.out)
sed "s/$QRT_EPMAP_PORT/PORT/g; s|$PWD|HERE|" qrtd.out
quiet() { sed "s/region\.\([A-Z0-9]*\)\.[0-9]*/region.\1.PID/; s/in [0-9]* us/in N us/; s|$PWD|HERE|; s/port [0-9]*/port PORT/"; }
hostless() { sed "s/\b$HOSTNAME\b */HOST  /; s/HOST  *DESC/HOST  DESC/"; }

vela regions | hostless
vela demo-region GOLDEN > region.out &
region=$!
for _ in {1..200}; do grep -q 'is ready' region.out && break; sleep 0.05; done
vela regions | hostless
vela regions --hosts 127.0.0.1 | tail -1
vela ping GOLDEN --count 2 | quiet
vela ping /.:/vela/GOLDEN/ts | quiet
printf 'a line\n' | vela schedule GOLDEN TRN1 --input - --terminal T001; echo "status $?"
vela schedule GOLDEN TRN2; echo "status $?"
vela ping NOBODY; echo "status $?"
vela ping GOLDEN --hosts 127.0.0.1 > /dev/null; echo "status $?"
kill "$region"
wait "$region"; echo "status $?"
quiet < region.out
vela regions | hostless

vela demo-region KILLED > killed.out &
region=$!
for _ in {1..200}; do grep -q 'is ready' killed.out && break; sleep 0.05; done
{ kill -9 "$region"; wait "$region"; } 2> /dev/null
vela ping KILLED --hosts 127.0.0.1; echo "status $?"
kill "$mapper"
wait "$mapper"; echo "status $?"
