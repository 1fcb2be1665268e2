#!/bin/sh
# Builds the network kernel tests for AArch64 with Debian's cross compiler
# (g++-aarch64-linux-gnu) and runs them under qemu-aarch64 (qemu-user), so
# the NEON build of the kernels is checked against the plain loops on this
# machine. Exits 77 (skipped) when either tool is missing.
#   sh tests/light_regression/cross_aarch64.sh [build directory]
set -e
ROOT=$(cd "$(dirname "$0")/../.." && pwd)
OUT=${1:-$ROOT/build-aarch64}
CXX=aarch64-linux-gnu-g++
QEMU=qemu-aarch64
GT=/usr/src/googletest/googletest
for tool in $CXX $QEMU; do
    command -v $tool >/dev/null || { echo "skipped: $tool not installed"; exit 77; }
done
mkdir -p "$OUT"
FLAGS="-std=c++17 -O2 -Wall -Wextra -Werror -ffp-contract=off -I$ROOT -I$GT/include -I$GT"
# Google Test once per build directory.
for src in gtest-all gtest_main; do
    [ -f "$OUT/$src.o" ] || $CXX $FLAGS -w -c "$GT/src/$src.cc" -o "$OUT/$src.o"
done
$CXX $FLAGS -c "$ROOT/tests/light_regression/Net32Test.cpp" -o "$OUT/Net32Test.o"
$CXX -static -o "$OUT/net32_tests" "$OUT/Net32Test.o" "$OUT/gtest-all.o" "$OUT/gtest_main.o" -pthread
$QEMU "$OUT/net32_tests" --gtest_brief=1
