#!/bin/sh
# The device build (Android.bp filegroups) and the host build (sources.cmake)
# must compile the same library sources, area by area.
root="$1"
status=0
for cm in $(cd "$root" && find . -name sources.cmake -not -path './build*' | sort); do
    area=$(dirname "$cm" | sed 's|^\./||')
    bp="$root/$area/Android.bp"
    cmake_srcs=$(grep -o "$area/[A-Za-z0-9_/.-]*\.\(cpp\|cc\|c\)" "$root/$cm" | sed "s|^$area/||" | sort)
    if [ ! -f "$bp" ]; then echo "$area: no Android.bp"; status=1; continue; fi
    bp_srcs=$(grep -o '"[A-Za-z0-9_/.-]*\.\(cpp\|cc\|c\)"' "$bp" | tr -d '"' | sort)
    if [ "$cmake_srcs" != "$bp_srcs" ]; then
        echo "$area: sources differ"
        echo "  sources.cmake: $(echo $cmake_srcs)"
        echo "  Android.bp:    $(echo $bp_srcs)"
        status=1
    fi
    group=$(grep -o 'name: *"[^"]*"' "$bp" | head -1 | sed 's/.*"\(.*\)"/\1/')
    if ! grep -q "\":$group\"" "$root/Android.bp"; then echo "$area: filegroup $group not used by the library"; status=1; fi
done
[ $status -eq 0 ] && echo "Android.bp in step"
exit $status
