#!/usr/bin/env bash
# The main job on real input, in a scratch root below the build directory: a region is set up, a terminal process of it
# translates and scans a host record under trace, the screen is shown, and the trace is read back.
#     scripts/demo.sh BUILD_DIR
set -euo pipefail
cd "$(dirname "$0")/.."
build=$(cd "$1" && pwd)
root=$build/demo
record=$build/demo_screen.bin
vela=$build/bin/vela
unset LANG LC_ALL LC_MESSAGES NLSPATH VELAEXTERNALTRACE
export NO_COLOR=${NO_COLOR-}
[ -n "$NO_COLOR" ] || unset NO_COLOR

step() { printf '\n== %s\n' "$*"; }

rm -rf "$root"
step "vela setup --root ${root#"$PWD"/} --region DEMO"
setup=$("$vela" setup --root "$root" --region DEMO)
echo "$setup"
eval "$setup"
mkdir -p "$root/trace"

step "a terminal process of the region, under trace: terminal_demo ${record#"$PWD"/}"
export VELATRACE="-B ON -M ON -S ON -d $root/trace -t TERBM=4,SUPOS=4,SUPPR=4"
"$build/bin/terminal_demo" "$record"
unset VELATRACE

step "vela 3270 show ${record#"$PWD"/}"
"$vela" 3270 show "$record"

step "vela trace show: the calls of that process"
"$vela" trace show "$root"/trace/terminal.p*.000.veladmp

step "vela trace show --summary"
"$vela" trace show --summary "$root"/trace/terminal.p*.000.veladmp

step "a stream that ends inside an order: the code, and the symptom for support staff"
head -c 6 "$record" > "$root/cut.bin"
VELATRACE="-d $root/trace" "$build/bin/terminal_demo" "$root/cut.bin" || echo "(exit status $?, as it should be)"

step "vela message ERZ049008I"
"$vela" message ERZ049008I
