# Nothing listens here and on other hosts; names and numbers that are none.
exec 2>&1
export SORREL_RUNDIR="$PWD/run" QRT_EPMAP_PORT=1
mkdir -m 700 run
vela regions; echo "status $?"
vela ping DEMO; echo "status $?"
vela ping DEMO --hosts "127.0.0.1 127.0.0.2"; echo "status $?"
VELA_HOSTS=127.0.0.1 vela schedule DEMO TRN1; echo "status $?"
vela ping ''; echo "status $?"
vela ping; echo "status $?"
vela ping DEMO --count 0; echo "status $?"
vela schedule DEMO; echo "status $?"
vela schedule DEMO TRN1 --input missing; echo "status $?"
vela demo-region LONGERTHAN8; echo "status $?"
vela demo-region A/B; echo "status $?"
qrtd --port 70000; echo "status $?"
qrtd --address nowhere --port 0; echo "status $?"
for command in regions ping schedule demo-region; do
    vela $command --help > help.txt && grep -q -- --help help.txt && echo "$command: has help"
done
qrtd --version
