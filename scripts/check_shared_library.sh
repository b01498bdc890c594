#!/bin/sh
# What the built file is: its exports, its needs, its size, and how the loader maps it.
# Arguments: library, map, nm, readelf, most bytes of code and constants (0: any number).
set -eu
export LC_ALL=C
library=$1 map=$2 nm=$3 readelf=$4 most_text=$5
failed=0
expect() { # what, expected, actual
    [ "$2" = "$3" ] || { printf '%s: expected\n%s\nfound\n%s\n' "$1" "$2" "$3"; failed=1; }
}
dynamic() { "$readelf" -d "$library" | sed -n "s/.*($1).*\[\(.*\)\]/\1/p"; }
expect "exported symbols" "$(sed -n 's/^    \([A-Za-z0-9_]*\);$/\1@@KELVANE_3/p' "$map" | sort)" \
    "$("$nm" -D --defined-only "$library" | awk '$2 != "A" { print $3 }' | sort)"
expect "soname" libkelvane.so.3 "$(dynamic SONAME)"
expect "other libraries needed" "" \
    "$(dynamic NEEDED | grep -vE '^(libc|libm|ld-linux.*)\.so' || true)"
expect "other undefined symbols" "" \
    "$("$nm" -D --undefined-only "$library" | awk '$1 != "w" { sub(/@.*/, "", $2); print $2 }' |
        grep -vxE 'malloc|free|realloc|memset|memcpy|memmove|memcmp|fmaf' || true)"
expect "relocations of code, search paths" "" \
    "$("$readelf" -d "$library" | grep -oE '\((TEXTREL|RPATH|RUNPATH)\)' || true)"
expect "binding of all symbols at load time" "(FLAGS)" \
    "$("$readelf" -d "$library" | grep BIND_NOW | grep -o '(FLAGS)')"
# Type, flags and alignment of the segments: none is writable and executable, pages may have 16 kB.
expect "segments" "$(printf '%s\n' 'GNU_RELRO R 0x1' 'GNU_STACK RW 0x10' 'LOAD RE 0x4000' 'LOAD RW 0x4000')" \
    "$("$readelf" -lW "$library" |
        awk '$1 ~ /LOAD|STACK|RELRO/ { f = $7; for (i = 8; i < NF; ++i) f = f $i; print $1, f, $NF }' |
        sort -u)"
text=$("${nm%nm}size" "$library" | awk 'NR == 2 { print $1 }')
[ "$most_text" -eq 0 ] || [ "$text" -le "$most_text" ] ||
    { echo "code and constants: $text bytes, more than $most_text"; failed=1; }
exit $failed
