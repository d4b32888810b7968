python3 "$VELA_SOURCE/tests/cli/trace/make_traces.py"
vela trace show --utc split.dmp; vela trace show --utc fresh.dmp; vela trace show --utc empty.dmp
