# An option that there is not is named, also where something else misses.
exec 2>&1
for words in "--bogus" "setup --bogus" "trace show --bogus" "3270 translate --bogus --to ascii" "registry get --bogus" \
    "message --bogus" "trace show" "setup --root DIR"; do
    vela $words; echo "status $?"
done
