#!/bin/sh
# Checks the dynamic symbol table of the shared library: every name listed in
# tests/exports/*.txt must be exported (one demangled name per line, "#"
# comments), and no internal helper may leak out. NM names the nm to use
# (a cross build's own).
lib="$1"; dir="$2"
syms=$(${NM:-nm} -DC --defined-only "$lib" | cut -c20-)
status=0
for f in "$dir"/*.txt; do
    while IFS= read -r name; do
        case "$name" in ''|'#'*) continue ;; esac
        if ! printf '%s\n' "$syms" | grep -qxF -- "$name"; then
            echo "missing export: $name ($(basename "$f"))"; status=1
        fi
    done < "$f"
done
# Internal pieces that must stay hidden.
for internal in resolveConfigPath property_get scanInt gainFactor restAfter; do
    if printf '%s\n' "$syms" | grep -q -- "$internal"; then
        echo "leaked internal symbol: $internal"; status=1
    fi
done
[ $status -eq 0 ] && echo "exports ok"
exit $status
