#!/bin/sh
# Fetches recordings for the demonstration: a street scene (vtest.avi), a film with faces
# (Megamind.avi), a series of photos (left01.jpg to left14.jpg, of which left10 does not exist) and a
# photo with a face (player.jpg),
# from Debian's package opencv-doc.
set -eu

if [ $# -ne 1 ]; then
    echo "usage: fetch_recordings.sh DIR" >&2
    exit 2
fi
mkdir -p "$1"
target=$(cd "$1" && pwd)

photos="01 02 03 04 05 06 07 08 09 11 12 13 14"
have_all() {
    for name in vtest.avi Megamind.avi player.jpg; do
        [ -s "$target/$name" ] || return 1
    done
    for number in $photos; do
        [ -s "$target/left$number.jpg" ] || return 1
    done
}
have_all && exit 0

give_up() {
    echo "fetch_recordings.sh: $1" >&2
    echo "Without the recordings, run the tool on a folder of your own: kelvane pick FOLDER" >&2
    exit 1
}
missing=""
for tool in apt-get dpkg-deb; do
    command -v "$tool" >/dev/null 2>&1 || missing="$missing $tool"
done
[ -z "$missing" ] || give_up "not found:$missing (the recordings come from Debian's opencv-doc)"

# The finished files are moved into place, so that an interrupted run leaves no half of one.
work=$(mktemp -d "$target/.fetch.XXXXXX")
trap 'rm -rf "$work"' EXIT
trap 'exit 1' HUP INT TERM

# Root would get a warning that apt's own user cannot write here.
sandbox=""
[ "$(id -u)" -ne 0 ] || sandbox="-oAPT::Sandbox::User=root"
download() { (cd "$work" && apt-get -qq $sandbox download opencv-doc >/dev/null); }
# A new machine may have no package list yet.
download 2>/dev/null || { [ "$(id -u)" -eq 0 ] && apt-get -qq update && download; } ||
    give_up "apt-get could not download opencv-doc (is the package list there? apt-get update)"

data=./usr/share/doc/opencv-doc/examples/data
set -- "$data/vtest.avi" "$data/Megamind.avi" "$data/messi5.jpg"
for number in $photos; do
    set -- "$@" "$data/left$number.jpg"
done
dpkg-deb --fsys-tarfile "$work"/opencv-doc_*.deb | tar -x -C "$work" --strip-components=7 "$@" ||
    give_up "the package opencv-doc does not hold the expected recordings"
mv "$work/messi5.jpg" "$target/player.jpg"
mv "$work"/*.avi "$work"/left*.jpg "$target/"
have_all || give_up "the package opencv-doc does not hold the expected recordings"
