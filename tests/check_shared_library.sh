#!/bin/sh
# The built library exports the names of the map and nothing else, and needs the C runtime alone.
# Arguments: library, map, nm, readelf.
set -eu
export LC_ALL=C
expect() { # what, expected, actual
    [ "$2" = "$3" ] || { printf '%s: expected\n%s\nfound\n%s\n' "$1" "$2" "$3"; failed=1; }
}
dynamic() { "$4" -d "$1" | sed -n "s/.*($5).*\[\(.*\)\]/\1/p"; }
failed=0
expect "exported symbols" "$(sed -n 's/^    \([A-Za-z0-9_]*\);$/\1/p' "$2" | sort)" \
    "$("$3" -D --defined-only "$1" | awk '$2 != "A" { sub(/@.*/, "", $3); print $3 }' | sort)"
expect "soname" libkelvane.so.3 "$(dynamic "$@" SONAME)"
expect "other libraries needed" "" \
    "$(dynamic "$@" NEEDED | grep -vE '^(libc|libm|ld-linux.*)\.so' || true)"
expect "other undefined symbols" "" \
    "$("$3" -D --undefined-only "$1" | awk '$1 != "w" { sub(/@.*/, "", $2); print $2 }' |
        grep -vxE 'malloc|free|realloc|memset|memcpy|memmove|memcmp|fmaf' || true)"
exit $failed
