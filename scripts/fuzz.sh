#!/usr/bin/env bash
# Feeds the readers of foreign octets with what libFuzzer makes up.
#   usage: scripts/fuzz.sh [SECONDS] [NAME...]     (default: 60 seconds each, every target of fuzz/)
# As many targets run at once as there are cores. What is worth keeping stays under build/fuzz/corpus, where the next run
# goes on from it; a finding is left under build/fuzz/findings with the line that replays it. The exit code is 1 when there
# was one.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=$root/build/fuzz
log=$build/log
jobs=$(nproc)
memory=1024  # MiB that a target may use
patience=10  # seconds of the processor that one input may take
seconds=60
names=()

say() { printf 'fuzz: %s\n' "$1"; }

fail() {
    say "$1" >&2
    exit "${2:-1}"
}

stop() {
    trap - EXIT INT TERM HUP
    local child
    for child in $(jobs -p); do kill "$child" 2>/dev/null || true; done
    wait 2>/dev/null || true
    exit "$1"
}

read_arguments() {
    local source
    if [[ ${1:-} =~ ^[0-9]+$ ]]; then
        [ "$1" -gt 0 ] || fail "give a number of seconds above 0" 64
        seconds=$1
        shift
    fi
    names=("$@")
    if [ $# -eq 0 ]; then
        for source in "$root"/fuzz/*_fuzz.cpp; do names+=("$(basename "$source" _fuzz.cpp)"); done
    fi
    for source in "${names[@]}"; do
        [ -f "$root/fuzz/${source}_fuzz.cpp" ] || fail "no target '$source'; usage: scripts/fuzz.sh [SECONDS] [NAME...]" 64
    done
}

quietly() {
    local name=$1
    shift
    "$@" >"$log/$name.log" 2>&1 || fail "$name failed: $(tail -n 3 "$log/$name.log" | tr '\n' ' ')(all of it: ${log#"$root"/}/$name.log)"
}

# Whether a finding is an input that took its time because others had the processor.
is_innocent() {
    local name=$1 finding=$2
    [[ $finding == */timeout-* ]] &&
        (ulimit -t "$patience" && "$build/fuzz/${name}_fuzz" -timeout=0 "$finding") >/dev/null 2>&1 </dev/null
}

# Runs one target; what it says is for the log, from which the table is made. Earlier findings are tried first: what is
# not mended yet is found again.
run() {
    local name=$1 corpus=$build/corpus/$1 findings=$build/findings/$1 seeds=$root/fuzz/seeds/$1
    local dictionary=() end=$((SECONDS + seconds)) status finding
    mkdir -p "$corpus" "$findings"
    touch "$log/$name.began"
    rm -f "$log/$name.time.new"
    : >"$log/$name.log"
    [ ! -f "$root/fuzz/dictionaries/$name.dict" ] || dictionary=("-dict=$root/fuzz/dictionaries/$name.dict")
    # Without the entropic schedule: with thousands of features, as messages have, it takes longer than the inputs do.
    TIMEFORMAT='%U %S'
    while :; do
        status=0
        { time timeout -k 5 "$((seconds + 120))" "$build/fuzz/${name}_fuzz" -timeout="$patience" -entropic=0 -rss_limit_mb="$memory" \
            -max_total_time="$((end > SECONDS ? end - SECONDS : 1))" -print_final_stats=1 "${dictionary[@]}" \
            -artifact_prefix="$findings/" "$corpus" "$seeds" "$findings" \
            >>"$log/$name.log" 2>&1 </dev/null; } 2>>"$log/$name.time.new" || status=$?
        finding=$(find "$findings" -type f -name 'timeout-*' -newer "$log/$name.began" | head -n 1)
        if [ "$status" -eq 0 ] || [ -z "$finding" ] || ! is_innocent "$name" "$finding"; then break; fi
        mv "$finding" "$corpus/"
        [ "$SECONDS" -lt "$end" ] || { status=0; break; }
    done
    mv "$log/$name.time.new" "$log/$name.time"
    printf '%d\n' "$status" >"$log/$name.status"
}

run_all() {
    local name
    for name in "${names[@]}"; do
        while [ "$(jobs -pr | wc -l)" -ge "$jobs" ]; do wait -n || true; done
        run "$name" &
    done
    wait
}

last() { { grep -oE "$2" "$log/$1.log" || true; } | tail -n 1 | grep -oE '[0-9]+$' || printf 0; }

# Prints the table, and below it what was found.
report() {
    local name status found finding executions cpu total=0
    printf '%-18s %12s %8s %9s %12s %9s\n' target executions exec/s coverage 'cpu seconds' findings
    for name in "${names[@]}"; do
        status=$(cat "$log/$name.status")
        found=$(find "$build/findings/$name" -type f ! -name 'slow-unit-*' -newer "$log/$name.began" | sort)
        executions=$(awk '/number_of_executed_units:/ { sum += $2 } END { printf "%d", sum }' "$log/$name.log")
        [ "$executions" != 0 ] || executions=$(last "$name" '^#[0-9]+')
        cpu=$(awk '{ sum += $1 + $2 } END { printf "%d", sum }' "$log/$name.time")
        [ "$status" = 0 ] || [ -n "$found" ] || found=-
        printf '%-18s %12s %8d %9s %12s %9d\n' "$name" "$executions" "$((executions / (cpu > 0 ? cpu : 1)))" \
            "$(last "$name" 'cov: [0-9]+')" "$cpu" "$(grep -c . <<<"$found" || true)"
        for finding in $found; do
            total=$((total + 1))
            printf '  %s\n' "$(grep -m1 -E '^(does not hold:|SUMMARY:|==[0-9]+==ERROR:|ParseDictionaryFile|ERROR:)' "$log/$name.log" ||
                printf 'ended with status %s' "$status")" "all of it: ${log#"$root"/}/$name.log"
            [ "$finding" = - ] || printf '  replay: %s %s\n' "build/fuzz/fuzz/${name}_fuzz" "${finding#"$root"/}"
        done
    done
    [ "$total" -eq 0 ]
}

main() {
    read_arguments "$@"
    trap 'stop $?' EXIT
    trap 'stop 130' INT
    trap 'stop 143' TERM HUP
    cd "$root"
    mkdir -p "$log"
    bash scripts/setup.sh build fuzz
    local target targets=()
    for target in "${names[@]}"; do targets+=("${target}_fuzz"); done
    quietly configure cmake --preset fuzz
    quietly build cmake --build --preset fuzz -j "$jobs" --target "${targets[@]}"
    ASAN_SYMBOLIZER_PATH=$(command -v llvm-symbolizer-14 || command -v llvm-symbolizer || true)
    export ASAN_SYMBOLIZER_PATH UBSAN_OPTIONS=print_stacktrace=1
    say "${#names[@]} targets, $seconds s each, $jobs at a time"
    run_all
    report
}

main "$@"
