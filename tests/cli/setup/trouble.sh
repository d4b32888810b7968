echo plain > file
vela setup --root file --region A 2>&1; echo "status $?"
vela setup --root "$(printf 'x%.0s' {1..300})" --region A 2>&1 | tail -c 60; echo "status ${PIPESTATUS[0]}"
vela setup --region A 2>&1; echo "status $?"
vela setup --root 'a\b' --region A 2>&1; echo "status $?"
vela setup --root "it's" --region A | tail -2
