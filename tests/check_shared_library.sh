#!/bin/sh
# The built library exports the names of the map and nothing else, and needs the C runtime alone.
# Arguments: library, map, nm, readelf.
set -eu
failed=0
expect() { # what, expected, actual
    if [ "$2" != "$3" ]; then
        printf '%s: expected\n%s\nfound\n%s\n' "$1" "$2" "$3"
        failed=1
    fi
}
wanted=$(sed -n 's/^    \([A-Za-z0-9_]*\);$/\1/p' "$2" | LC_ALL=C sort)
exported=$("$3" -D --defined-only "$1" | awk '$2 != "A" { sub(/@.*/, "", $3); print $3 }' |
    LC_ALL=C sort)
expect "exported symbols" "$wanted" "$exported"
expect "soname" libkelvane.so.3 "$("$4" -d "$1" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')"
expect "other libraries needed" "" \
    "$("$4" -d "$1" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | grep -vE '^(libc|libm|ld-linux.*)\.so' || true)"
expect "other undefined symbols" "" \
    "$("$3" -D --undefined-only "$1" | awk '$1 != "w" { sub(/@.*/, "", $2); print $2 }' |
        grep -vxE 'malloc|free|realloc|memset|memcpy|memmove|memcmp|fmaf' || true)"
exit $failed
