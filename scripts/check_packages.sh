#!/usr/bin/env bash
# What is installed can be built against, is documented, and comes and goes with its packages.
# Argument: the build folder, in which cpack has left its packages.
set -euo pipefail
build=$(cd "$1" && pwd)
cd "$(dirname "${BASH_SOURCE[0]}")/.."
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
fail() { echo "check_packages.sh: $*" >&2 && exit 1; }
same() { [ "$2" = "$3" ] || fail "$1: expected"$'\n'"$2"$'\n'"found"$'\n'"$3"; }

# A tree that was moved after it was installed.
cmake --install "$build" --prefix "$scratch/first" >/dev/null
mv "$scratch/first" "$scratch/tree"
lib=$(dirname "$(find "$scratch/tree" -name libkelvane.so)")
flags=$(PKG_CONFIG_PATH=$lib/pkgconfig pkg-config --cflags --libs 'kelvane >= 3')
# shellcheck disable=SC2086 # the flags are words
{
    cc -std=c99 -Werror tests/package/consumer.c -o "$scratch/c" $flags
    c++ -std=c++20 -Werror tests/package/consumer.cpp -o "$scratch/cpp" $flags
}
cmake -S tests/package -B "$scratch/consumer" -DCMAKE_PREFIX_PATH="$scratch/tree" >/dev/null
cmake --build "$scratch/consumer" >/dev/null
for program in c cpp consumer/consumer-c consumer/consumer-cpp; do
    same "$program" "score 1297778" "$(LD_LIBRARY_PATH=$lib "$scratch/$program")"
done

# The manual page is sound and knows every option; completion offers what the tool has.
export LD_LIBRARY_PATH=$lib PATH=$scratch/tree/bin:$PATH
page=packaging/kelvane.1
same "warnings about $page" "" "$(LC_ALL=C.UTF-8 man --warnings -l $page 2>&1 >/dev/null)"
commands=$(kelvane --help | sed -n '/^Subcommands:/,$s/^  \([a-z]*\) .*/\1/p')
complete_line() { # words...: what bash offers for the last one
    bash -c 'source packaging/completion/kelvane.bash && shift 0
        COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) && _kelvane && echo "${COMPREPLY[@]}"' - "$@"
}
same "completed commands" "$(echo $commands)" "$(complete_line kelvane '')"
same "completed values" "dilate" "$(complete_line kelvane morph --op d)"
for command in $commands; do
    grep -q "^\.B $command\$" $page || fail "$page does not describe the command $command"
    if [ "$command" = help ]; then # a command follows it
        same "completed words of help" "$(echo $commands)" "$(complete_line kelvane help '')"
        continue
    fi
    options=$(kelvane "$command" --help | sed -n 's/^  \(-h,\)\?\(--[a-z-]*\).*/\2/p')
    same "completed options of $command" "$(echo $options)" "$(complete_line kelvane "$command" -)"
    for option in $options; do
        grep -qF -- "${option//-/\\-}" $page || fail "$page does not describe $command $option"
    done
done

# The packages, in an empty root without a shell: their scripts run here, with a stand-in for ldconfig.
root=$scratch/root
mkdir -p "$root/var/lib/dpkg/"{info,updates} "$scratch/bin" && touch "$root/var/lib/dpkg/status"
printf '#!/bin/sh\necho called >>"%s"\n' "$scratch/ldconfig" >"$scratch/bin/ldconfig"
chmod +x "$scratch/bin/ldconfig"
packages=("$build"/packages/*.deb)
as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(fakeroot)
in_root() {
    PATH=$scratch/bin:$PATH "${as_root[@]}" dpkg --root="$root" --log="$scratch/log" --force-depends \
        --force-script-chrootless "$@" >"$scratch/dpkg" 2>&1 ||
        { cat "$scratch/dpkg" >&2 && fail "dpkg $*"; }
}
names=(libkelvane3 libkelvane-dev kelvane-tools kelvane-faces libkelvane-java python3-kelvane)
in_root -i "${packages[@]}"
same "installed packages" "${#names[@]}" "$(grep -c '^Status: install ok' "$root/var/lib/dpkg/status")"
depends() { dpkg-query --admindir="$root/var/lib/dpkg" -W -f='${Depends}' "$1"; }
[[ $(depends libkelvane3) =~ ^libc6\ \([^,]*$ ]] || fail "libkelvane3 needs $(depends libkelvane3)"
[[ $(depends kelvane-tools) == libkelvane3*libavformat* ]] ||
    fail "kelvane-tools needs $(depends kelvane-tools)"
multiarch=$root/usr/lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)
for file in "$multiarch/"{libkelvane.so.3,libkelvane.so,pkgconfig/kelvane.pc} \
    "$multiarch/cmake/Kelvane/KelvaneConfig.cmake" "$root/usr/include/kelvane/kelvane.h" \
    "$root/usr/share/man/man1/kelvane.1" "$multiarch/jni/libkelvane_jni.so" \
    "$root/usr/share/java/kelvane.jar" "$multiarch/libkelvane-faces.so"; do
    [ -e "$file" ] || fail "the packages hold no $file"
done
LD_LIBRARY_PATH=$multiarch "$root/usr/bin/kelvane" version >/dev/null || fail "kelvane does not run"
score=$(LD_LIBRARY_PATH=$multiarch PYTHONPATH=$root/usr/lib/python3/dist-packages \
    "${PYTHON:-/usr/bin/python3}" -B -c 'import kelvane, kelvane._media, numpy
print(kelvane.blur(numpy.tile(numpy.arange(64, dtype=numpy.uint8) * 4, (64, 1))))')
same "score in Python" 134444 "$score"
in_root -P "${names[@]}"
# The library's package and that of the faces.
same "calls of ldconfig, at coming and going" 4 "$(wc -l <"$scratch/ldconfig")"
same "files after removal" "" "$(find "$root" -path "$root/var" -prune -o -not -type d -print)"
echo "package: installed, used through CMake and pkg-config, and removed"
