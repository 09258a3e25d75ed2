#!/usr/bin/env bash
# Writes the seeds of container_fuzz into fuzz/corpus/container_fuzz: tiny
# containers made by the real tools (ewfacquire, qemu-img) around a 1 MiB disk
# holding only an MBR, and the 4 KiB damaged and refused samples of
# tests/fixtures/containers.  A seed is one byte choosing the file's suffix
# (0 ".img", 1 ".001", 2 ".000", 3 ".E01"; bit 4 splits the rest into two
# pieces), then the file's bytes.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
out=$here/corpus/container_fuzz
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
python3 - <<'PY'
d = bytearray(1 << 20)
d[446 + 4], d[446 + 8], d[446 + 12] = 0x07, 1, 100
d[510], d[511] = 0x55, 0xAA
open('tiny.raw', 'wb').write(d)
PY
truncate -s 1M zero.raw
ewfacquire -u -q -f encase6 -c deflate:best -S 1GiB -b 64 -g 64 -C case -E 1 -e examiner -D seed -N none \
  -t tiny tiny.raw >/dev/null
qemu-img convert -f raw -O qcow2 -o cluster_size=512 tiny.raw tiny.qcow2
qemu-img convert -f raw -O vpc -o subformat=dynamic,force_size=on zero.raw zero.vhd
seed() {  # name, selector byte, file
  { printf "\\x$1"; cat "$3"; } >"$out/$2"
}
mkdir -p "$out"
seed 03 ewf_tiny tiny.E01
seed 00 qcow2_tiny tiny.qcow2
seed 00 vhd_dynamic_empty zero.vhd
# A QCOW2 whose 64 L1 entries all name one L2 table (hand-made, 2 KiB; the
# fixture bad-l2-fanout.qcow2 has 262,144 of them): the table is checked once.
python3 "$here/../tests/fixtures/containers/make_qcow_fanout.py" --seed "$out/qcow2_l2_fanout"
head -c 8192 tiny.raw >head.raw
seed 11 split_two_pieces head.raw
for sample in bad-garbage.E01 bad-garbage.vhd bad-garbage.vhdx bad-garbage.qcow2 refused-aff.aff \
              refused-luks1.img refused-bitlocker.vbr; do
  gzip -dc "$here/../tests/fixtures/containers/$sample.gz" >"$sample"
  seed 00 "$sample" "$sample"
done
echo "seeds written to $out"
