#!/bin/sh
# Spreads 200 bursts over workers with GNU parallel, as docs/scaling.md says, while one worker and
# then the whole run is killed: no burst may be lost, and none done twice.
# usage: parallel_test.sh KELVANE
set -eu

command -v parallel >/dev/null || { echo "skipped: GNU parallel is not installed"; exit 77; }
KELVANE=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export KELVANE work
cd "$work"
mkdir home
export HOME="$work/home" # where parallel keeps its settings

fail() {
    echo "parallel_test.sh: $1" >&2
    exit 1
}

# Bursts of two frames, each an edge whose height tells the burst.
awk -v folder="$work" 'BEGIN {
    for (burst = 0; burst < 200; ++burst) {
        for (frame = 0; frame < 2; ++frame) {
            file = folder "/" burst "-" frame ".pgm"
            printf "P2\n16 16\n255\n" >file
            for (p = 0; p < 256; ++p)
                print (p % 16 < 8 ? 0 : burst + 50 * (frame == burst % 2)) >file
            close(file)
        }
        printf "{\"id\": %d, \"files\": [\"%s/%d-0.pgm\", \"%s/%d-1.pgm\"]}\n", burst, folder, burst,
            folder, burst
    }
}' >list.jsonl
"$KELVANE" pick --jsonl --strict <list.jsonl | sort >expected
[ "$(wc -l <expected)" -eq 200 ] || fail "a single process does not answer every line"

# The first worker answers 4 of its 10 bursts and is killed.
cat >worker <<'WORKER'
#!/bin/sh
if mkdir "$work/killed" 2>/dev/null; then
    head -n 4 | "$KELVANE" pick --jsonl
    kill -KILL $$
fi
exec "$KELVANE" pick --jsonl
WORKER
chmod +x worker
parallel --pipe -N 10 -j 2 --retries 3 ./worker <list.jsonl | sort >spread
[ -d killed ] || fail "no worker was killed"
cmp expected spread || fail "a killed worker changed the answers"

# The machine dies after 73 answers and half of one more.
shuf -n 74 expected >some
head -n 73 some >before
tail -n 1 some | head -c 100 >>before
parallel --pipe -N 10 -j 2 --retries 3 "$KELVANE" pick --jsonl --resume before <list.jsonl >after
[ "$(wc -l <after)" -eq 127 ] || fail "--resume answered $(wc -l <after) bursts instead of 127"
{ head -n 73 before && cat after; } | sort | cmp expected - || fail "--resume lost or repeated some"

# The same over two machines: ssh is a stand-in that stays on this one and, as a login does, names
# the shell, without which parallel runs nothing.
cat >local-ssh <<'SSH'
#!/bin/sh
echo "$1" >>"$work/hosts"
shift
[ "$1" != -- ] || shift
SHELL=/bin/sh exec sh -c "$*"
SSH
chmod +x local-ssh
rm -rf killed
parallel --ssh "$work/local-ssh" --sshlogin 1/one,1/two --workdir "$work" --env work --env KELVANE \
    --pipe -N 10 --retries 3 ./worker <list.jsonl | sort >remote
[ "$(sort -u hosts | wc -l)" -eq 2 ] || fail "only one machine had work"
cmp expected remote || fail "two machines changed the answers"
