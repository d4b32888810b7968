for name in TOOLONGNAME "" a/b 'a\b' .. "a b" -x EIGHT_88; do
    vela setup --root root "--region=$name" 2>&1 >/dev/null | sed "s|^|[${name@Q}] |"
    echo "status ${PIPESTATUS[0]}"
done
ls root
