#!/usr/bin/env bash
# Installs the Debian packages that packages.txt lists and this machine lacks.
#   usage: scripts/setup.sh [build|test|lint|measure|fuzz]...     (default: build test)
# Nothing is downloaded and no right is asked for when nothing is missing. A mail server among the packages is
# installed so that it is not started, neither now nor at the next boot: the tests run servers of their own.
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
self="$here/$(basename "${BASH_SOURCE[0]}")"
list="$here/../packages.txt"
policy=/usr/sbin/policy-rc.d
policy_saved=$policy.velorin-saved
policy_mark='# velorin setup: no service starts while packages are installed'
log=
boot_before= # set once packages are about to come in

fail() {
    printf 'setup: %s\n' "$1" >&2
    exit "${2:-1}"
}

# The names that stand under the given group headings of packages.txt.
packages_of() {
    local line name group='' wanted=" $* "
    while IFS= read -r line || [ -n "$line" ]; do
        line=${line%%#*}
        read -r name <<<"$line" || true
        case $name in
        '') ;;
        \[*\]) group=${name:1:-1} ;;
        *) case $wanted in *" $group "*) printf '%s\n' "$name" ;; esac ;;
        esac
    done <"$list"
}

# Those of the given packages that are not installed whole.
missing_of() {
    local installed name
    # dpkg-query fails when it does not know one of the names; what it knows is printed all the same.
    # shellcheck disable=SC2016  # the braces are dpkg-query's
    installed=$(dpkg-query -W -f '${Package} ${db:Status-Status}\n' "$@" 2>/dev/null || true)
    for name in "$@"; do
        grep -qxF "$name installed" <<<"$installed" || printf '%s\n' "$name"
    done
}

apt() {
    DEBIAN_FRONTEND=noninteractive LC_ALL=C \
        apt-get -q -y -o DPkg::Lock::Timeout=300 -o Acquire::Retries=2 "$@" </dev/null >>"$log" 2>&1
}

# One unreachable source among several is no harm as long as the others have what is needed: the caller looks.
fetch_lists() {
    printf 'setup: fetching the package lists\n'
    apt update -o APT::Update::Error-Mode=any || true
}

# What apt-get said was wrong, in one line; its first error is the cause, later ones follow from it.
reason() {
    local line
    line=$(grep -m1 -E '^(E|W):' "$log" || grep -m1 -E '^Err:' "$log" || true)
    [ -n "$line" ] || line=$(tail -n 1 "$log")
    printf '%s' "${line#*: }"
}

# Whether the package lists know all of these names.
candidates_known() {
    local name policy_text
    for name in "$@"; do
        policy_text=$(LC_ALL=C apt-cache policy "$name" 2>/dev/null) || return 1
        grep -q '^  Candidate: [^(]' <<<"$policy_text" || return 1
    done
}

# Puts back what the machine answered before to "may this service start?".
restore_policy() {
    if [ -e "$policy_saved" ] || [ -L "$policy_saved" ]; then
        mv -fT "$policy_saved" "$policy"
    elif [ -f "$policy" ] && grep -qsxF "$policy_mark" "$policy"; then
        rm -f "$policy"
    fi
}

forbid_starts() {
    restore_policy # left by a run that was killed
    if [ -e "$policy" ] || [ -L "$policy" ]; then
        mv -T "$policy" "$policy_saved"
    fi
    printf '#!/bin/sh\n%s\nexit 101\n' "$policy_mark" >"$policy"
    chmod 755 "$policy"
}

# What is started at boot: init scripts that have a start link, and enabled units.
boot_services() {
    local link
    for link in /etc/rc[S0-6].d/S??* /etc/systemd/system/*.wants/* /etc/systemd/system/*.requires/*; do
        [ -L "$link" ] || continue
        case $link in
        /etc/rc*) link=${link##*/S??} ;;
        *) link=${link##*/} ;;
        esac
        printf '%s\n' "$link"
    done | sort -u
}

# Services that were not started at boot before the installation are not started at boot after it.
keep_boot() {
    local name
    while IFS= read -r name; do
        case $name in
        *.*) systemctl --quiet disable "$name" >>"$log" 2>&1 || deb-systemd-helper disable "$name" >>"$log" 2>&1 || true ;;
        *) update-rc.d "$name" disable >>"$log" 2>&1 || true ;;
        esac
    done < <(comm -13 <(printf '%s\n' "$boot_before") <(boot_services))
}

finish() {
    local status=$?
    trap - EXIT
    [ -z "$boot_before" ] || keep_boot
    restore_policy
    [ -z "$log" ] || rm -f "$log"
    exit "$status"
}

install_missing() {
    local name
    exec 9<"$self"
    flock -w 600 9 || fail "another installation has been running for ten minutes"
    log=$(mktemp)
    trap finish EXIT
    trap 'exit 130' INT
    trap 'exit 143' TERM HUP

    candidates_known "$@" || fetch_lists
    for name in "$@"; do
        candidates_known "$name" && continue
        if grep -qE '^(E|Err|W):' "$log"; then
            fail "cannot fetch the package lists: $(reason)"
        fi
        fail "this system's package sources do not have $name (the list is for Debian 12)"
    done

    boot_before=$(boot_services)
    [ -n "$boot_before" ] || boot_before=none
    forbid_starts
    for name in "$@"; do
        # Without answers the package would write a configuration for this host's own mail.
        [ "$name" != postfix ] ||
            printf 'postfix postfix/main_mailer_type select No configuration\n' | debconf-set-selections >>"$log" 2>&1
    done
    # --no-remove: a mail server that somebody uses is not thrown out for the sake of the tests.
    if ! apt install --no-install-recommends --no-remove "$@"; then
        if grep -q 'Packages need to be removed' "$log"; then
            fail "installing $* would remove packages that are installed; nothing was changed"
        fi
        # Lists older than what the mirror still keeps: once more with new ones.
        fetch_lists
        : >"$log"
        apt install --no-install-recommends --no-remove "$@" || fail "cannot install $*: $(reason)"
    fi
}

main() {
    local groups=("$@") group wanted missing
    [ $# -gt 0 ] || groups=(build test)
    for group in "${groups[@]}"; do
        case $group in
        build | test | lint | measure | fuzz) ;;
        *) fail "unknown group '$group'; usage: scripts/setup.sh [build|test|lint|measure|fuzz]..." 64 ;;
        esac
    done
    [ -r "$list" ] || fail "cannot read $list"
    if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
        fail "this is not a Debian system (no dpkg and apt-get); install by hand what packages.txt lists"
    fi

    mapfile -t wanted < <(packages_of "${groups[@]}")
    mapfile -t missing < <(missing_of "${wanted[@]}")
    if [ ${#missing[@]} -eq 0 ]; then
        printf 'setup: nothing is missing (%s)\n' "${groups[*]}"
        return
    fi
    if [ "$(id -u)" -ne 0 ]; then
        local ask=()
        command -v sudo >/dev/null || fail "missing: ${missing[*]}; installing them needs root or sudo"
        [ -t 0 ] || ask=(-n)
        sudo "${ask[@]}" true 2>/dev/null || fail "missing: ${missing[*]}; sudo does not let $(id -un) install them"
        exec sudo "${ask[@]}" env ${http_proxy:+"http_proxy=$http_proxy"} ${https_proxy:+"https_proxy=$https_proxy"} \
            bash "$self" "${groups[@]}"
    fi
    printf 'setup: installing %d packages (%s): %s\n' "${#missing[@]}" "${groups[*]}" "${missing[*]}"
    install_missing "${missing[@]}"
    mapfile -t missing < <(missing_of "${wanted[@]}")
    [ ${#missing[@]} -eq 0 ] || fail "still missing after the installation: ${missing[*]}"
}

main "$@"
