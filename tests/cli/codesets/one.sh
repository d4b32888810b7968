# One set by each of its names; what it converts with is the same each time.
vela codesets QMX-931
for name in 943 QMX-943; do vela codesets $name | md5sum; done | uniq | wc -l
for name in 037 EUCJP QMX-954 8859-1 8859-15 UTF8 UCS2 big5 GB18030 QMX-875 874; do vela codesets $name | head -1; done
