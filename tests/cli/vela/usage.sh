exec 2>&1
vela; echo "status $?"
vela frob; echo "status $?"
vela trace frob; echo "status $?"
vela trace; echo "status $?"
vela trace show; echo "status $?"
vela --version
for command in setup registry "registry get" stanza 3270 "3270 show" trace "trace show" message; do
    vela $command --help > help.txt && grep -q -- --help help.txt && echo "$command: has help"
done
vela message --all > /dev/full; echo "status $?"
