# Every command stands in the README, in the manual page and in what the shell completes.
source "$VELA_SOURCE/scripts/completion/vela"
COMP_WORDS=(vela "") COMP_CWORD=1
_vela
completed=" ${COMPREPLY[*]} "
count=0
for name in $(vela --help | sed -n '/^Subcommands:/,$ s/^  \([a-z0-9-]*\) .*/\1/p'); do
    count=$((count + 1))
    grep -q "^    vela $name " "$VELA_SOURCE/README.md" || echo "README.md lacks $name"
    sed 's/\\-/-/g' "$VELA_SOURCE/docs/vela.1" | grep -qE "^\.B[IR]? \"?$name( |\$)" || echo "vela.1 lacks $name"
    [[ $completed == *" $name "* ]] || echo "the completion lacks $name"
done
((count >= 10)) && echo "looked at every command"
