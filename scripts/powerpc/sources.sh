#!/usr/bin/env bash
# Fetches and unpacks Debian's source of packages, from the same places as this system's own packages.
#   usage: scripts/powerpc/sources.sh FOLDER SOURCE...
# FOLDER/SOURCE is the source of the version that is installed here, or of the newest that there is. What has been
# unpacked stays. Nothing of the system's own package lists is changed, and no right is needed.
set -euo pipefail

fail() {
    printf 'sources: %s\n' "$1" >&2
    exit 1
}

# The system's entries for its own release, asking for sources: files of one line an entry, and of paragraphs.
write_lists() {
    local release file
    # shellcheck source=/dev/null
    release=$(. /etc/os-release && printf '%s' "${VERSION_CODENAME:-}")
    [ -n "$release" ] || fail "this system does not name its release"
    for file in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
        [ -r "$file" ] || continue
        sed -nE "s/^[[:blank:]]*deb[[:blank:]]+(.*[[:blank:]]$release.*)/deb-src \1/p" "$file"
    done | sort -u >"$lists/parts/own.list"
    for file in /etc/apt/sources.list.d/*.sources; do
        [ -r "$file" ] || continue
        awk -v release="$release" 'BEGIN { RS = ""; ORS = "\n\n" } $0 ~ "Suites:[^\n]*" release' "$file" |
            sed -E 's/^Types:.*/Types: deb-src/'
    done >"$lists/parts/own.sources"
    [ -s "$lists/parts/own.list" ] || [ -s "$lists/parts/own.sources" ] ||
        fail "the package sources of this system do not name its release, $release"
}

# With lists and downloads of its own. As root, apt would give them to a user who may not enter the folder.
apt() {
    local tool=$1
    shift
    LC_ALL=C "$tool" -q -o Dir::Etc::SourceList=/dev/null -o "Dir::Etc::SourceParts=$lists/parts" \
        -o "Dir::State::Lists=$lists/state" -o "Dir::Cache=$lists/cache" -o APT::Sandbox::User= \
        -o APT::Get::List-Cleanup=0 -o Acquire::Retries=2 "$@"
}

version_of() {
    local versions installed
    versions=$(apt apt-cache showsrc --only-source "$1" 2>/dev/null | sed -n 's/^Version: //p' || true)
    [ -n "$versions" ] || return 1
    # shellcheck disable=SC2016  # the braces are dpkg-query's
    installed=$(dpkg-query -W -f '${source:Package} ${source:Version}\n' | sed -n "s/^$1 //p" | head -n 1)
    grep -xF -- "$installed" <<<"$versions" || sort -V <<<"$versions" | tail -n 1
}

unpack() {
    local source=$1 version
    version=$(version_of "$source" | head -n 1) || fail "the package sources have no source of $source"
    rm -rf "$folder/unpacking"
    mkdir "$folder/unpacking"
    (cd "$folder/unpacking" && apt apt-get source --only-source "$source=$version") >"$folder/$source.log" 2>&1 ||
        fail "cannot fetch the source of $source: $(grep -m1 '^E:' "$folder/$source.log" || tail -n 1 "$folder/$source.log")"
    mv "$folder"/unpacking/*/ "$folder/$source"
    rm -rf "$folder/unpacking"
    printf 'sources: %s %s\n' "$source" "$version"
}

[ $# -ge 2 ] || fail "usage: scripts/powerpc/sources.sh FOLDER SOURCE..."
mkdir -p "$1"
folder=$(cd "$1" && pwd)
shift
lists=$folder/apt
missing=()
for source in "$@"; do
    [ -d "$folder/$source" ] || missing+=("$source")
done
[ ${#missing[@]} -gt 0 ] || exit 0
rm -rf "$lists"
mkdir -p "$lists/parts" "$lists/state/partial" "$lists/cache/archives/partial"
write_lists
apt apt-get update >"$folder/update.log" 2>&1 || true # the lookup says what one unreachable list among several lacks
for source in "${missing[@]}"; do
    unpack "$source"
done
rm -rf "$lists"
