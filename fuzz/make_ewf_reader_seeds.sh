#!/usr/bin/env bash
# Writes the seeds of ewf_reader_fuzz into fuzz/corpus/ewf_reader_fuzz: E01
# sets made by ewfacquire around small disks (an MBR disk of 1 MiB, deflate;
# 64 KiB of text, stored, the last chunk short), and the 4 KiB garbage E01 of
# tests/fixtures/containers.  A seed is a byte giving the segment count less
# one (bit 7: the target makes every checksum right), then the segment files, each but the last behind its u32 length (see
# ewf_reader_fuzz.cpp); ewfacquire cuts no segment below 1 MiB, so the seeds
# are single segments and the fuzzer makes sets of two and three.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
out=$here/corpus/ewf_reader_fuzz
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
python3 - <<'PY'
d = bytearray(1 << 20)
d[446 + 4], d[446 + 8], d[446 + 12] = 0x07, 1, 100
d[510], d[511] = 0x55, 0xAA
open('mbr.raw', 'wb').write(d)
text = b''.join(b'line %06d of a small disk\n' % i for i in range(4000))
open('text.raw', 'wb').write(text[:65536 - 1536])
PY
acquire() {  # compression, sectors a chunk, target, source
  ewfacquire -u -q -f encase6 -c "$1" -S 1GiB -b "$2" -g 16 -C case -E 1 -e examiner -D seed -N none \
    -t "$3" "$4" >/dev/null
}
acquire deflate:best 16 mbr mbr.raw
acquire none 16 text text.raw
mkdir -p "$out"
seed() {  # name, file, first byte (bit 7: checksums made right)
  { printf "\\x${3:-00}"; cat "$2"; } >"$out/$1"
}
seed deflate_mbr mbr.E01
seed stored_text text.E01
seed deflate_mbr_sealed mbr.E01 80
seed stored_text_sealed text.E01 80
gzip -dc "$here/../tests/fixtures/containers/bad-garbage.E01.gz" >garbage.E01
seed garbage garbage.E01
ls -l "$out"
