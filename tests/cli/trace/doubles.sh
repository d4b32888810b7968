# A record that a ring and an auxiliary file hold is shown once, whichever is named first.
python3 "$VELA_SOURCE/tests/cli/trace/make_traces.py"
vela trace show --utc plain.trc counted.dmp
vela trace show --summary counted.dmp plain.trc plain.trc
