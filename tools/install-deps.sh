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
# `make test-aarch64` (install-deps.sh aarch64): the cross compiler, qemu-user
# and the arm64 builds of the libraries the suite links.
AARCH64_PACKAGES="g++-aarch64-linux-gnu qemu-user libgtest-dev:arm64 libgmock-dev:arm64 libjsoncpp-dev:arm64 \
libpng-dev:arm64 android-liblog-dev:arm64 android-libutils-dev:arm64 android-libbase-dev:arm64"
foreign=""
for arg in "$@"; do
    case "$arg" in
        bench) PACKAGES="$PACKAGES $BENCH_PACKAGES" ;;
        aarch64) PACKAGES="$PACKAGES $AARCH64_PACKAGES"; foreign=arm64 ;;
        *) PACKAGES="$PACKAGES $arg" ;;
    esac
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
if [ -n "$foreign" ] && ! dpkg --print-foreign-architectures | grep -qx "$foreign"; then
    $SUDO dpkg --add-architecture "$foreign"
fi
$SUDO apt-get update -qq -o DPkg::Lock::Timeout=600
$SUDO apt-get install -y -qq -o DPkg::Lock::Timeout=600 --no-install-recommends $missing
