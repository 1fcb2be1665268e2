#!/bin/sh
# Installs the Debian packages the build, tests, demo and benchmarks need,
# only those that are missing. Safe to run again. Arguments name extra
# packages (the fuzzing and memcheck targets add theirs).
set -e
PACKAGES="cmake make g++ pkg-config libgtest-dev libgmock-dev libbenchmark-dev libjsoncpp-dev libcli11-dev libpng-dev \
android-liblog-dev android-libutils-dev android-libbase-dev python3-numpy"
# Peers of the network benchmark, never linked into the library: only
# `make bench` (install-deps.sh bench) installs them. Other arguments are
# package names (the fuzzing and memcheck targets add theirs).
BENCH_PACKAGES="libdnnl-dev libxnnpack-dev libpthreadpool-dev"
for arg in "$@"; do
    if [ "$arg" = "bench" ]; then PACKAGES="$PACKAGES $BENCH_PACKAGES"; else PACKAGES="$PACKAGES $arg"; fi
done
missing=""
for p in $PACKAGES; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing="$missing $p"
done
[ -z "$missing" ] && exit 0
echo "installing:$missing"
SUDO=""
[ "$(id -u)" -ne 0 ] && SUDO=sudo
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq -o DPkg::Lock::Timeout=600
$SUDO apt-get install -y -qq -o DPkg::Lock::Timeout=600 --no-install-recommends $missing
