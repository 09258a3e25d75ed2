#!/usr/bin/env bash
# The cost of -vss all on ntfs.raw (../shared/testdata/ntfs-samples.tgz: a
# 64 GiB sparse disk made by Windows 10 with two shadow copies, NTFS at
# 0x100000), against what it replaces: the run on the live volume plus a run
# on each store, the stores exposed as files by vshadowmount
# (libvshadow-utils; FUSE, so as root).  Whole volume, -all -csv, the report
# to /dev/null, page cache warm.  SLIX names another binary to measure
# (built elsewhere); by default slix is built here.
set -euo pipefail
cd "$(dirname "$0")/.."
slix=$(realpath "${SLIX:-./build/slix}")
[[ -n ${SLIX:-} ]] || make build >/dev/null
samples=$(realpath ../shared/testdata/ntfs-samples.tgz)
work=$(mktemp -d)
mnt=$work/stores
cleanup() {
  fusermount -u "$mnt" 2>/dev/null || umount "$mnt" 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT
tar -xzSf "$samples" -C "$work"
mkdir -p "$mnt" "$work/m"
vshadowmount -o 1048576 "$work/ntfs.raw" "$mnt" >/dev/null
image=$work/ntfs.raw
run="-all -csv -quiet -out /dev/null"
# The whole alternative for the stores: mount them, read each, unmount.
stores="vshadowmount -o 1048576 $image $work/m && $slix -image $work/m/vss1 $run && $slix -image $work/m/vss2 $run; fusermount -u $work/m"
python3 bench/alternate.py --runs "${BENCH_RUNS:-15}" \
  "-vss all=$slix -image $image -offset 0x100000 -vss all $run" \
  "live volume=$slix -image $image -offset 0x100000 $run" \
  "store 1 (mounted)=$slix -image $mnt/vss1 $run" \
  "store 2 (mounted)=$slix -image $mnt/vss2 $run" \
  "mount, both stores, unmount=bash -c '$stores'"
