#!/usr/bin/env bash
# Says what the library costs a device, built for its size and stripped, and holds it to its bounds.
#   usage: scripts/powerpc/footprint.sh HOST_BUILD BUILD
# BUILD is a device's: MinSizeRel, with -fstack-usage, VELORIN_BUILD_FOOTPRINT=ON and VELORIN_EXPORT_MESSAGES=OFF.
# The exit status is 0 only when every bound holds.
set -euo pipefail

host=$1
build=$2
most_memory=$((400 * 1024)) # octets of text and data
most_stack=4096             # octets of one frame
status=0

# hold <what> <octets> <bound>
hold() {
    if [ "$2" -le "$3" ]; then
        printf 'powerpc: %s: %d octets, at most %d\n' "$1" "$2" "$3"
    else
        printf 'powerpc: FAILED %s: %d octets, at most %d\n' "$1" "$2" "$3"
        status=1
    fi
}

library=$build/libntc_email.stripped.so
powerpc-linux-gnu-strip -o "$library" "$build/lib/libntc_email.so"
read -r text data _ < <(powerpc-linux-gnu-size "$library" | tail -n 1)
printf 'powerpc: text %d, data %d, of that:' "$text" "$data"
powerpc-linux-gnu-size -A "$library" | awk '$2 >= 4096 && /^\./ { printf " %s %d", $1, $2 }'
printf '\n'
hold 'text and data of libntc_email.so' $((text + data)) "$most_memory"

# Lines of "place<tab>octets<tab>kind"; a frame whose size is not known is none that a bound holds for.
frames=$(find "$build/ntc_email" -name '*.su' -exec cat {} +)
[ -n "$frames" ] || { printf 'powerpc: FAILED no frames were measured\n'; exit 1; }
if grep -P '\tdynamic$' <<<"$frames"; then
    printf 'powerpc: FAILED a frame without a bound\n'
    status=1
fi
deepest=$(sort -t $'\t' -k 2,2nr <<<"$frames" | sed -n 1p)
printf 'powerpc: deepest frame: %s\n' "$(sed 's/.*\///' <<<"${deepest%%(*}")"
hold 'deepest stack frame' "$(cut -f 2 <<<"$deepest")" "$most_stack"

# What a call takes from the heap there, and with numbers of 64 bits here.
libraries=$build/lib:$(dirname "$build")/powerpc-root/root/lib
costs() {
    local where=$1
    shift
    if ! "$@" >"$build/costs.txt"; then
        printf 'powerpc: FAILED the heap of a call, %s\n' "$where"
        status=1
    fi
    sed "s/^/powerpc: $where: /" "$build/costs.txt"
}
costs 'there' qemu-ppc -L /usr/powerpc-linux-gnu -E "LD_LIBRARY_PATH=$libraries" "$build/bin/call-cost"
costs 'here' "$host/bin/call-cost"
exit "$status"
