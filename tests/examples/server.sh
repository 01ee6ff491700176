# Sourced by the examples' tests: a mail server on this machine for the time of a test.
scratch=$(mktemp -d)
server=
cleanup() {
    if [ -n "$server" ]; then
        kill "$server" 2>/dev/null || true
        wait "$server" 2>/dev/null || true
    fi
    rm -rf "$scratch"
}
trap cleanup EXIT

# Starts it on $scratch/mails. usage: start_server LOOPBACK_MAILBOX OPTION...
start_server() {
    "$1" --folder "$scratch/mails" --ports-file "$scratch/ports" --lifetime 60 "${@:2}" &
    server=$!
    for _ in $(seq 200); do
        [ -e "$scratch/ports" ] && return
        sleep 0.05
    done
    echo "the server did not start"
    exit 1
}

# usage: port_of smtp|pop3
port_of() {
    sed -n "s/^$1_port=//p" "$scratch/ports"
}
