#!/bin/sh
# Installs the build tree into a fresh prefix, then builds the tiny host
# against the installed files only, once through pkg-config and once through
# find_package, and checks that each run sees the library's callbacks.
set -eu
build_dir=$1
host_dir=$2
cc=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
cmake --install "$build_dir" --prefix "$prefix" >/dev/null

for header in vqsoftcc.h vqsoftcc_platform.h; do
    [ -f "$prefix/include/vqsoftcc/$header" ] || { echo "missing include/vqsoftcc/$header"; exit 1; }
done
pc=$(find "$prefix" -name vqsoftcc.pc)
[ -n "$pc" ] || { echo "no vqsoftcc.pc installed"; exit 1; }
libdir=$(dirname "$(dirname "$pc")")

check_run() {
    output=$(LD_LIBRARY_PATH=$libdir "$1")
    printf '%s\n' "$output"
    count=$(printf '%s\n' "$output" | grep -c '^define_windows:' || true)
    if [ "$count" -ne 2 ]; then
        echo "$1: expected two define_windows callbacks on open, saw $count"
        exit 1
    fi
    printf '%s\n' "$output" | grep -q '^refresh_windows: .*"HI"' ||
        { echo "$1: the caption HI was never shown"; exit 1; }
}

# pkg-config.
PKG_CONFIG_PATH=$(dirname "$pc") pkg-config --exists vqsoftcc
cflags=$(PKG_CONFIG_PATH=$(dirname "$pc") pkg-config --cflags vqsoftcc)
libs=$(PKG_CONFIG_PATH=$(dirname "$pc") pkg-config --libs vqsoftcc)
# shellcheck disable=SC2086
"$cc" -std=c99 -Wall -Wextra -Werror $cflags \
    "$host_dir/install_host.c" -o "$work/host_pkgconfig" $libs
check_run "$work/host_pkgconfig"

cmake -S "$host_dir" -B "$work/host_build" -DCMAKE_C_COMPILER="$cc" \
    -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/host_build" >/dev/null
check_run "$work/host_build/install_host"
echo "install ok"
