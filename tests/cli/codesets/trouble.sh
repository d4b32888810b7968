# Exit statuses: 0 where a pair opens, 1 where it does not or a name is unknown, 2 for a wrong command line.
tell() { vela codesets "$@" > out 2> errors; local status=$?; sed "s#$VELA_BUILD#BUILD#" errors; echo "(status $status)"; }
tell 037 850
tell 930
tell nowhere
tell 037 nowhere
tell 930 933
tell EUCJP EUCKR
tell --etc missing 037
tell --frob
tell 037 850 UTF8
tell --etc
echo "each spelling of a set:"
for name in 037 37 QMX-037 00037; do vela codesets $name | head -1; done
for name in -1 0 65535 99999 QMX-37x qmx-037 QMX- ''; do echo "'$name'"; tell -- "$name"; done
