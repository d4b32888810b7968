# Hex records; the ring has wrapped though its oldest hundred bytes are zeros.
python3 "$VELA_SOURCE/tests/cli/trace/make_traces.py"
vela trace show --utc zeros.dmp
vela trace show --json zeros.dmp | grep -E '"(offset|data)"' | cut -c 1-60
