#!/usr/bin/env bash
# Runs every benchmark program of a release build; an argument behind the build directory selects by name.
#     scripts/bench.sh BUILD_DIR [NAME]
# The trace stands beside LTTng where its session daemon can be started: one of our own, with its home in a scratch
# folder, that goes when this script does.
set -euo pipefail
build=$1

scratch=$(mktemp -d)
daemon=
clean_up() {
    if [ -n "$daemon" ]; then
        kill "$daemon" 2>/dev/null || true
        for _ in $(seq 50); do kill -0 "$daemon" 2>/dev/null && sleep 0.1 || break; done
    fi
    rm -rf "$scratch"
}
trap clean_up EXIT

# An LTTng session in snapshot mode: its rings are overwritten and never written out. Says why there is none.
start_lttng() {
    if ! command -v lttng-sessiond >/dev/null; then
        echo "LTTng: lttng-sessiond is not installed, so its events are left out"
        return 0
    fi
    if lttng list >/dev/null 2>&1; then
        echo "LTTng: a session daemon of somebody else is running, so its events are left out"
        return 0
    fi
    if ! lttng-sessiond --daemonize --no-kernel --pidfile "$scratch/pid" >"$scratch/log" 2>&1 ||
        ! { lttng create vela_bench --snapshot --output="$scratch/out" &&
            lttng enable-event --userspace 'vela_bench:enter,vela_bench:leave' && lttng start; } >>"$scratch/log" 2>&1; then
        echo "LTTng: no session could be started, so its events are left out: $(tail -n 1 "$scratch/log")"
    fi
    [ -s "$scratch/pid" ] && daemon=$(cat "$scratch/pid")
    return 0
}

for program in "$build"/bin/*_bench; do
    [[ $(basename "$program") == *${2:-}* ]] || continue
    echo "== $(basename "$program")"
    case $(basename "$program") in
    trace_bench)
        mkdir -p "$scratch/home"
        export HOME="$scratch/home" LTTNG_HOME="$scratch/home"
        start_lttng
        "$program"
        ;;
    *) "$program" --benchmark_counters_tabular=true ;;
    esac
done
