#!/usr/bin/env bash
# Sends and receives through one velorin-maild, a session after the other, and shows that neither the daemon's nor its
# clients' memory, descriptors or threads grow.
#   usage: scripts/soak.sh [SESSIONS]   (5000)
# Uses the development build, which it makes where it is not there.
set -euo pipefail

sessions=${1:-5000}
case $sessions in '' | *[!0-9]*) echo "usage: scripts/soak.sh [SESSIONS]" >&2; exit 64 ;; esac
cd "$(dirname "${BASH_SOURCE[0]}")/.."
[ -f build/dev/CMakeCache.txt ] || cmake --preset dev >/dev/null
built=$(cmake --build --preset dev --target attack-soak 2>&1) || { printf '%s\n' "$built" >&2; exit 1; }
unset VELORIN_CHANNEL_DIR VELORIN_TRACE VELORIN_CAPTURE
exec build/dev/tests/attack-soak "$sessions"
