#!/usr/bin/env bash
# The cost of -unalloc on a 2 GiB volume whose free space is full of old
# data: 400 folders of 100 files and 1.6 GiB of file contents written, then
# half the folders and 700 MiB of the contents deleted, so that the free
# clusters hold data and the INDX records of the deleted folders, and small
# files made until the freed MFT records are taken again.  Compared:
# a plain sequential read of the whole image (dd bs=1M), the whole-volume
# run without -unalloc, and with it; page cache warm.  SLIX names another
# binary to measure (built elsewhere); by default slix is built here.
set -euo pipefail
cd "$(dirname "$0")/.."
slix=${SLIX:-./build/slix}
[[ -n ${SLIX:-} ]] || make build >/dev/null
image=bench/work/unalloc_2g.img
mkdir -p bench/work
if [[ ! -f $image.done ]]; then
  rm -f "$image"
  truncate -s 2G "$image"
  mkntfs -q -F -f "$image" >/dev/null 2>&1
  mnt=$(mktemp -d)
  ntfs-3g -o no_detach "$image" "$mnt" &
  pid=$!
  for _ in $(seq 100); do mountpoint -q "$mnt" && break; sleep 0.1; done
  python3 - "$mnt" <<'PY'
import os, sys
mnt = sys.argv[1]
block = bytes((i * 7 + 3) & 0xff for i in range(1 << 20))
for d in range(400):
    folder = os.path.join(mnt, 'folder %03d' % d)
    os.makedirs(folder)
    for f in range(100):
        with open(os.path.join(folder, 'document %03d of folder %03d.txt' % (f, d)), 'wb') as out:
            out.write(block[:(f * 37) % 4000 + 1])
for n in range(1600):
    with open(os.path.join(mnt, 'content %04d.bin' % n), 'wb') as out:
        out.write(block)
for d in range(0, 400, 2):
    folder = os.path.join(mnt, 'folder %03d' % d)
    for name in os.listdir(folder):
        os.remove(os.path.join(folder, name))
    os.rmdir(folder)
for n in range(0, 1600, 4):
    if n % 16:
        os.remove(os.path.join(mnt, 'content %04d.bin' % n))
for n in range(1, 1600, 4):
    os.remove(os.path.join(mnt, 'content %04d.bin' % n))
# Small files take the freed MFT records: the deleted folders' indexes are
# then led to by nothing.
reuse = os.path.join(mnt, 'reuse')
os.makedirs(reuse)
for n in range(25000):
    with open(os.path.join(reuse, 'r%05d' % n), 'wb') as out:
        out.write(b'x')
PY
  sync
  umount "$mnt"
  wait "$pid"
  rmdir "$mnt"
  touch "$image.done"
fi
cat "$image" > /dev/null
python3 bench/alternate.py --runs "${BENCH_RUNS:-7}" \
  "sequential read (dd, 1 MiB blocks)=dd if=$image of=/dev/null bs=1M" \
  "whole volume=$slix -image $image -all -csv -quiet -out /dev/null" \
  "whole volume -unalloc=$slix -image $image -all -csv -unalloc -quiet -out /dev/null"
