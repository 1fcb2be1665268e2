#!/bin/sh
# Writes the API dump of the interface (aidl_api/<module>/current and, with
# --freeze, version 1 with its .hash) in the form aidl_interface checks.
# `--check` only verifies that the committed dump, its hash and the host
# interface header agree. Hash: sha1 over the sorted sha1sums of the dump's
# files followed by the previous version ("latest-version" for the first).
set -e
cd "$(dirname "$0")"
module=vendor.zarn.hardware.sensorfactory
pkg=vendor/zarn/hardware/sensorfactory
api=aidl_api/$module

dump() {  # dump <dir>
    mkdir -p "$1/$pkg"
    for src in $pkg/*.aidl; do
        name=$(basename "$src")
        {
            cat <<'HDR'
///////////////////////////////////////////////////////////////////////////////
// THIS FILE IS IMMUTABLE. DO NOT EDIT IN ANY CASE.                          //
///////////////////////////////////////////////////////////////////////////////

// This file is a snapshot of an AIDL file. Do not edit it manually. There are
// two cases:
// 1). this is a frozen version file - do not edit this in any case.
// 2). this is a 'current' file. If you make a backwards compatible change to
//     the interface (from the latest frozen version), the build system will
//     prompt you to update this file with `m <name>-update-api`.
//
// You must not make a backward incompatible change to any AIDL file built
// with the aidl_interface module type with versions property set. The module
// type is used to build AIDL files in a way that they can be used across
// independently updatable components of the system. If a device is shipped
// with such a backward incompatible change, it has a high risk of breaking
// later when a module using the interface is updated, e.g., Mainline modules.

HDR
            # Declarations only: comments and imports dropped, types fully
            # qualified, members indented by two.
            sed -e '/^import /d' -e '/^[[:space:]]*\/\*\*.*\*\/[[:space:]]*$/d' -e '/\/\*\*/,/\*\//d' -e '/^[[:space:]]*$/d' "$src" |
                sed -e 's/^    /  /' \
                    -e "s/\(out \)\(SensorTestResult[A-Za-z0-9]*\)/\1${module}.\2/"
        } > "$1/$pkg/$name"
    done
}

hash_of() {  # hash_of <dir> <previous-version>
    (cd "$1" && find ./ -name "*.aidl" -print0 | LC_ALL=C sort -z | xargs -0 sha1sum && echo "$2") |
        sha1sum | cut -d " " -f 1
}

case "$1" in
--check)
    tmp=$(mktemp -d)
    trap 'rm -rf "$tmp"' EXIT
    dump "$tmp/current"
    diff -r "$tmp/current" "$api/current" || { echo "current dump out of date: run $0"; exit 1; }
    diff -r -x .hash "$api/current" "$api/1" >/dev/null || { echo "interface changed after version 1 was frozen"; exit 1; }
    want=$(cat "$api/1/.hash")
    got=$(hash_of "$api/1" latest-version)
    [ "$want" = "$got" ] || { echo "version 1 hash $want does not match its dump ($got)"; exit 1; }
    header=../../platform/host/binder/include/aidl/$pkg/ISensorFactory.h
    grep -q "hash = \"$want\"" "$header" || { echo "$header does not declare hash $want"; exit 1; }
    echo "interface dump and hash in step"
    ;;
--freeze)
    rm -rf "$api/1"
    dump "$api/1"
    hash_of "$api/1" latest-version > "$api/1/.hash"
    cat "$api/1/.hash"
    ;;
*)
    rm -rf "$api/current"
    dump "$api/current"
    ;;
esac
