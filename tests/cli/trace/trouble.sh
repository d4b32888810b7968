exec 2>&1
python3 "$VELA_SOURCE/tests/cli/trace/make_traces.py"
for file in missing.trc damaged.dmp text.txt . /dev/null; do
    vela trace show $file; echo "status $?"
done
vela trace show --json --summary plain.trc; echo "status $?"
