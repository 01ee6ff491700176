#!/usr/bin/env bash
# Builds the benchmarks, runs them all, and prints one table: what was measured, what it is compared with in the same
# run, their ratio, the goal. Figures of different runs are not comparable; those of one row are, for the two take turns.
#   usage: bench/run.sh [PAIRS]     (default: 15 runs of each command)
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(dirname "$here")
build=$root/build/bench
pairs=${1:-15}
mails=200
small_mails=1000
many_small_mails=10000
scratch=
fetched=

fail() {
    printf 'bench: %s\n' "$1" >&2
    exit 1
}

# Ends a child that this script started, and waits for it.
stop() {
    [ -n "$1" ] || return 0
    kill "$1" 2>/dev/null || true
    wait "$1" 2>/dev/null || true
}

cleanup() {
    stop "${daemon:-}"
    stop "${mailbox:-}"
    stop "${pop3:-}"
    [ -z "$fetched" ] || rm -rf "$fetched"
    [ -z "$scratch" ] || rm -rf "$scratch"
}

# Waits until a file is there or the child that makes it is gone; both are bounded.
wait_for() {
    local file=$1 child=$2 tries=0
    until [ -e "$file" ]; do
        kill -0 "$child" 2>/dev/null || return 1
        tries=$((tries + 1))
        [ "$tries" -le 200 ] || return 1
        sleep 0.05
    done
}

start_mailbox() {
    rm -f "$scratch/ports"
    "$build/bin/loopback-mailbox" "$@" --smtp-port 0 --ports-file "$scratch/ports" --lifetime 3600 --parent-pid $$ &
    mailbox=$!
    wait_for "$scratch/ports" "$mailbox" || fail "the SMTP server did not start"
    port=$(sed -n 's/^smtp_port=//p' "$scratch/ports")
}

# A daemon of its own for every measurement of memory: the peak is that of its whole life.
start_daemon() {
    "$build/bin/velorin-maild" >"$scratch/maild.log" 2>&1 &
    daemon=$!
    wait_for "$VELORIN_CHANNEL_DIR/ntc_email_smtp" "$daemon" || fail "the mail service did not start: $(cat "$scratch/maild.log")"
}

stop_daemon() {
    stop "$daemon"
    daemon=
}

# A POP3 server whose mails are the files of a folder.
start_pop3() {
    rm -f "$scratch/pop3_port"
    "$build/bench/pop3_mails" "$1" "$scratch/pop3_port" &
    pop3=$!
    wait_for "$scratch/pop3_port" "$pop3" || fail "the POP3 server did not start"
    pop3_port=$(cat "$scratch/pop3_port")
}

stop_pop3() {
    stop "$pop3"
    pop3=
}

# The words of our command that fetches all mails of the server, in `ours`, and of curl's, in `theirs`.
#   usage: set_our_fetch [OPTION]...; set_daemon_fetch; set_their_fetch COUNT
set_our_fetch() {
    ours=("$build/bench/receive_mails" "$pop3_port" "$fetched/ours" "$@")
}

set_daemon_fetch() {
    ours=("$build/bench/receive_mails_daemon" "$pop3_port" "$fetched/ours")
}

set_their_fetch() {
    printf 'silent\nshow-error\nuser = "reader:anything"\nurl = "pop3://127.0.0.1:%s/[1-%s]"\noutput = "%s/#1"\n' \
        "$pop3_port" "$1" "$fetched/theirs" >"$scratch/fetch.curl"
    theirs=(curl --config "$scratch/fetch.curl")
}

# Whether what was written are the parts of the mails, as Python reads them.
check_fetched() {
    "$here/make_mails.py" --check "$1" "$fetched/ours" || fail "what was received is not what was sent"
}

# The words of our command that sends one file, in `ours`, and of curl's, in `theirs`.
#   usage: set_ours FILE [OPTION]...; set_theirs FILE
set_ours() {
    local file=$1
    shift
    ours=("$build/bin/velorin-mail" send "$@" --quiet --config /dev/null --server 127.0.0.1 --port "$port" --tls none
        --from sender@example.com --to reader@example.org --subject 'A large mail' --text-string 'A file is attached.'
        --attach "$file")
}

set_theirs() {
    theirs=(curl --silent --show-error --url "smtp://127.0.0.1:$port/localhost"
        --mail-from sender@example.com --mail-rcpt reader@example.org --upload-file "$1")
}

# The channel's figures as rows of the table.
channel_rows() {
    awk -v goals='channel_64=1.50 channel_1MiB=1.30' '
        BEGIN {
            split(goals, pairs, " ")
            for (i in pairs) { split(pairs[i], pair, "="); goal[pair[1]] = pair[2] }
            title["channel_64"] = "exchange, 64 octets | bare socket"
            title["channel_1MiB"] = "exchange, 1 MiB | bare socket"
        }
        $NF ~ /^[0-9.]+$/ && $(NF - 1) == "ratio" {
            if ($1 in title) printf "%-38s %8.1f us %8.1f us %7.2f %6s\n", title[$1], $2, $5, $NF, goal[$1]
            if ($1 == "embedded_64") printf "%-38s %8.2f us %11s %7s %6s\n", "exchange, embedded", $2, "", "", "3"
        }' "$1"
}

"$root/scripts/setup.sh" build measure
printf 'bench: building in build/bench\n'
mkdir -p "$build"
if ! (cmake --preset bench -S "$root" && cmake --build "$build") >"$build/bench-build.log" 2>&1; then
    tail -n 20 "$build/bench-build.log" >&2
    fail "the build failed; the whole log is $build/bench-build.log"
fi

scratch=$(mktemp -d)
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM
export VELORIN_CHANNEL_DIR=$scratch/channel VELORIN_TRACE=none
unset VELORIN_CAPTURE
race=$build/bench/race
rows=$scratch/rows

printf '\n== hot paths of the library\n'
"$build/bench/sending_bench" --benchmark_color=false
printf '\n== the mail utilities\n'
"$build/bench/utility_bench" --rows="$rows" --benchmark_color=false
printf '\n== the channel\n'
"$build/bench/channel_bench" --benchmark_color=false | tee "$scratch/channel.txt"
channel_rows "$scratch/channel.txt" >>"$rows"

printf '\n== mails to a server that throws them away\n'
python3 -c 'import random, sys; r = random.Random(1); [sys.stdout.buffer.write(r.randbytes(1 << 20)) for _ in range(100)]' \
    >"$scratch/100MiB.bin"
truncate -s 1G "$scratch/1GiB.bin"

# What our programs send, as the server got it: curl is to send the same octets.
start_mailbox --folder "$scratch/kept"
set_ours "$scratch/100MiB.bin"
"${ours[@]}"
"$build/bench/many_mails" "$port" 1
stop "$mailbox"
for number in 1 2; do
    [ -s "$scratch/kept/$number.eml" ] || fail "the server kept no mail $number"
done

start_mailbox --discard
start_daemon
set_theirs "$scratch/kept/1.eml"
set_ours "$scratch/100MiB.bin"
"$race" --pairs "$pairs" --goal 1.0 '100 MiB, embedded | curl' -- "${ours[@]}" -- "${theirs[@]}" | tee -a "$rows"
set_ours "$scratch/100MiB.bin" --daemon
"$race" --pairs "$pairs" --goal 1.3 '100 MiB, daemon | curl' -- "${ours[@]}" -- "${theirs[@]}" | tee -a "$rows"

for ((number = 0; number < mails; number++)); do
    [ "$number" -eq 0 ] || printf 'next\n'
    printf 'url = "smtp://127.0.0.1:%s/localhost"\nmail-from = "sender@example.com"\n' "$port"
    printf 'mail-rcpt = "reader@example.org"\nupload-file = "%s"\n' "$scratch/kept/2.eml"
    printf 'silent\nshow-error\nwrite-out = "%%{num_connects}\\n"\n'
done >"$scratch/mails.curl"
connections=$(curl --config "$scratch/mails.curl" | awk '{ sum += $1; count++ } END { print sum " for " count }')
[ "$connections" = "1 for $mails" ] || fail "curl did not keep its connection: $connections mails"
"$race" --pairs "$pairs" --goal 1.0 "$mails mails, embedded | curl" \
    -- "$build/bench/many_mails" "$port" "$mails" -- curl --config "$scratch/mails.curl" | tee -a "$rows"
"$race" --pairs "$pairs" "$mails mails, daemon | curl" \
    -- "$build/bench/many_mails" "$port" "$mails" --daemon -- curl --config "$scratch/mails.curl" | tee -a "$rows"
stop_daemon

printf '\n== mails from a server that has them in memory\n'
# Where it can be, in memory: no disk is measured.
fetched=$(mktemp -d -p /dev/shm 2>/dev/null) || fetched=$(mktemp -d)
mkdir "$fetched/ours" "$fetched/theirs"
"$here/make_mails.py" "$scratch/large" large 100
"$here/make_mails.py" "$scratch/huge" large 1024
"$here/make_mails.py" "$scratch/small" "$small_mails"
"$here/make_mails.py" "$scratch/many" "$many_small_mails"

start_daemon
for mails_in in large small; do
    count=1
    name='receiving 100 MiB'
    [ "$mails_in" = large ] || { count=$small_mails; name="receiving $small_mails mails"; }
    start_pop3 "$scratch/$mails_in"
    set_their_fetch "$count"
    set_our_fetch
    "${ours[@]}"
    check_fetched "$scratch/$mails_in"
    "$race" --pairs "$pairs" --goal 1.0 "$name, embedded | curl" -- "${ours[@]}" -- "${theirs[@]}" | tee -a "$rows"
    set_daemon_fetch
    "$race" --pairs "$pairs" --goal 1.5 "$name, daemon | curl" -- "${ours[@]}" -- "${theirs[@]}" | tee -a "$rows"
    rm -f "$fetched"/*/*
    stop_pop3
done
stop_daemon

# Worked through from mail to mail, each asked for by the one before it.
start_pop3 "$scratch/small"
set_our_fetch --walk
few=("${ours[@]}")
few_pop3=$pop3
start_pop3 "$scratch/many"
set_our_fetch --walk
"$race" --pairs 3 --goal 12 "$many_small_mails mails | $small_mails, embedded" -- "${ours[@]}" -- "${few[@]}" | tee -a "$rows"
stop_pop3
stop "$few_pop3"

for size in 100MiB 1GiB; do
    start_pop3 "$scratch/$([ "$size" = 1GiB ] && echo huge || echo large)"
    set_our_fetch
    "$race" --memory --goal 32 "peak, receiving $size, embedded" -- "${ours[@]}" | tee -a "$rows"
    start_daemon
    set_daemon_fetch
    "$race" --memory --goal 32 --service "$daemon" "peak, receiving $size, daemon" -- "${ours[@]}" | tee -a "$rows"
    stop_daemon
    stop_pop3
    rm -f "$fetched"/*/*
done

for size in 100MiB 1GiB; do
    set_ours "$scratch/$size.bin"
    "$race" --memory --goal 32 "peak memory, $size, embedded" -- "${ours[@]}" | tee -a "$rows"
    start_daemon
    set_ours "$scratch/$size.bin" --daemon
    "$race" --memory --goal 32 --service "$daemon" "peak memory, $size, daemon" -- "${ours[@]}" | tee -a "$rows"
    stop_daemon
done

printf '\n%-38s %11s %11s %7s %6s   (medians of %s; load now %s)\n' 'measured | beside' measured beside ratio goal \
    "$pairs" "$(cut -d ' ' -f 1-3 /proc/loadavg)"
cat "$rows"
