# Pairs: converting, copying, without a table, without a routine; and faults of the caller.
tell() { vela codesets "$@" 2>&1 | sed "s#$VELA_BUILD#BUILD#"; }
tell 37 850
tell 37 931
tell 931 37
tell 912 25488
tell 1252 5348
tell 930 933
tell EUCJP EUCKR
tell UTF8 UCS2
tell 37 nowhere
tell --etc etc
mkdir etc
printf '37 37 0 37 1 1 0 QMX-037\n850 850 0 850 1 2 1 QMX-850\nbad\n##P\n1 1 0E 0E\n' >etc/ccsid.tbl
tell --etc etc 37 850
touch etc/00250352.tbl
tell --etc etc 37 850
tell --etc etc 37
