#!/usr/bin/env bash
# Installs a build tree, moves it elsewhere, and builds and runs a consumer against it by CMake and by pkg-config.
# usage: consumer_test.sh BUILD_DIR CONSUMER_SOURCE_DIR SCRATCH_DIR COMPILER [FLAG...]
set -euo pipefail
build=$1 source=$2 scratch=$3 compiler=$4
shift 4
flags="$*"

rm -rf "$scratch"
mkdir -p "$scratch"
trap 'rm -rf "$scratch"' EXIT
cmake --install "$build" --prefix "$scratch/first" >"$scratch/install.log"
mv "$scratch/first" "$scratch/moved"  # nothing may remember where it was installed
prefix=$scratch/moved

for program in velorin-mail velorin-maild; do
    "$prefix/bin/$program" --version | grep -qE "^$program [0-9]+\.[0-9]+\.[0-9]+\$" || { echo "$program does not start from the installed tree"; exit 1; }
done
for header in ntc_email.h ntc_email_esu_smtp.pb.h emwGEN.h velorin_mail_service.h velorin_return_codes.h; do
    find "$prefix/include" -name "$header" | grep -q . || { echo "$header is not installed"; exit 1; }
done
libdir=$(dirname "$(find "$prefix" -name libntc_email.so)")
readelf -d "$libdir/libntc_email.so" | grep -q 'SONAME.*libntc_email\.so\.[0-9]' || { echo "no SONAME"; exit 1; }
if grep -rl "$build" "$prefix" --include='*.cmake' --include='*.pc'; then
    echo "the files above name the build tree"
    exit 1
fi

cmake -G Ninja -S "$source" -B "$scratch/by-cmake" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_COMPILER="$compiler" \
    -DCMAKE_CXX_FLAGS="$flags" >"$scratch/configure.log" || { cat "$scratch/configure.log"; exit 1; }
cmake --build "$scratch/by-cmake" >"$scratch/build.log" || { cat "$scratch/build.log"; exit 1; }
"$scratch/by-cmake/consumer" >/dev/null 2>"$scratch/trace" || { echo "the consumer built by CMake fails"; exit 1; }

PKG_CONFIG_PATH=$libdir/pkgconfig
export PKG_CONFIG_PATH
read -r -a package_flags <<<"$(pkg-config --cflags --libs velorin_email)"
# shellcheck disable=SC2086 # the flags are words
"$compiler" -std=c++17 $flags "$source/main.cpp" "$source/header.cpp" -o "$scratch/by-pkg-config" \
    "${package_flags[@]}" -Wl,-rpath,"$libdir"
"$scratch/by-pkg-config" >/dev/null 2>"$scratch/trace" || { echo "the consumer built by pkg-config fails"; exit 1; }
echo "consumer built and run by CMake and by pkg-config"
