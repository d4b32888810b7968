# What the shell offers behind a beginning: commands, options, names of code sets.
. "$VELA_SOURCE/scripts/completion/vela"
try() {
    COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMPREPLY=()
    _vela
    echo "$*: ${COMPREPLY[*]}"
}
try vela conv
try vela 3270 s
try vela 3270 scan --co
try vela 3270 show --codeset QMX-93
try vela 3270 show --ascii-codeset QMX-euc
try vela convert -f ISO8859-
try vela convert --to UTF
try vela codesets QMX-930 QMX-94
