#!/usr/bin/env bash
# Builds what the target's programs link and Debian has no package of: the lite runtime of protobuf and GoogleTest.
#   usage: scripts/powerpc/root.sh FOLDER
# FOLDER/root is what the toolchain looks into. What has been built stays.
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
mkdir -p "$1"
folder=$(cd "$1" && pwd)
root=$folder/root

# build <name> <source> <target> [<option>...]
build() {
    local name=$1 source=$2 target=$3
    shift 3
    cmake -S "$source" -B "$folder/build-$name" -G Ninja --toolchain "$here/../../cmake/powerpc-linux-gnu.cmake" \
        "-DVELORIN_TARGET_ROOT=$root" -DCMAKE_BUILD_TYPE=Release "-DCMAKE_INSTALL_PREFIX=$root" "$@"
    cmake --build "$folder/build-$name" --target "$target"
}

# Shared, as it is on a device: what the library costs there is without it.
build_protobuf() {
    bash "$here/sources.sh" "$folder" protobuf
    build protobuf "$folder/protobuf" libprotobuf-lite -Dprotobuf_BUILD_TESTS=OFF \
        -Dprotobuf_BUILD_PROTOC_BINARIES=OFF -Dprotobuf_WITH_ZLIB=OFF -Dprotobuf_BUILD_SHARED_LIBS=ON
    mkdir -p "$root/lib" "$root/include"
    cp -P "$folder"/build-protobuf/libprotobuf-lite.so* "$root/lib/"
    ln -s libprotobuf-lite.so "$root/lib/libprotobuf.so" # CMake wants both, and takes what it finds
    (cd "$folder/protobuf/src" && find google -name '*.h' -o -name '*.inc') |
        tar -C "$folder/protobuf/src" -cf - -T - | tar -C "$root/include" -xf -
    rm -rf "$folder/protobuf" "$folder/build-protobuf"
}

build_googletest() {
    build googletest /usr/src/googletest install
    rm -rf "$folder/build-googletest"
}

# Headers alone, the same for every machine.
copy_cli11() {
    mkdir -p "$root/share/cmake"
    cp -r /usr/share/cmake/CLI11 "$root/share/cmake/"
    cp -r /usr/include/CLI "$root/include/"
}

# The versions that are installed here, which the target's are made to match.
versions() {
    dpkg-query -W -f '${Package} ${Version}\n' protobuf-compiler googletest libcli11-dev g++-powerpc-linux-gnu
}

[ "$(cat "$folder/versions" 2>/dev/null)" = "$(versions)" ] && exit 0
rm -rf "$folder"
mkdir -p "$root"
build_protobuf
build_googletest
copy_cli11
versions >"$folder/versions"
