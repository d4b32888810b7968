python3 "$VELA_SOURCE/tests/cli/trace/make_traces.py"
vela trace show --utc plain.trc other.trc
