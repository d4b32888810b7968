# Every code set of the build's catalogue, with how many others it converts with.
vela codesets | sed "s#$VELA_BUILD#BUILD#"
