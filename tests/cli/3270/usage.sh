. "$VELA_SOURCE/tests/cli/3270/records.bash"
for command in "3270" "3270 show" "3270 translate in out" "3270 translate --to latin in out" \
    "3270 translate --to ascii in" "3270 scan" "3270 show --from tape in" "3270 frob"; do
    echo "vela $command"
    failing vela $command
done
