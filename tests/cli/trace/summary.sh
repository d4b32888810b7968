python3 "$VELA_SOURCE/tests/cli/trace/make_traces.py"
vela trace show --summary plain.trc other.trc
