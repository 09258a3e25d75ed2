#!/usr/bin/env bash
# Rebuilds the fuzz targets' base images (fuzz/base) and seed corpora
# (fuzz/corpus/<target>) from real tools and the committed test fixtures.
#
#   sudo fuzz/make_seeds.sh [--new-volume] [part...]
#
# Parts: volume (volume_fuzz and mft_record_fuzz, from fuzz/base/ntfs_volume.base;
# with --new-volume that volume is first made anew with mkntfs and ntfs-3g),
# indx, partition, vmdk; all of them when none is named.
#
# Needs root (ntfs-3g mounts, a loop device with 4096-byte sectors), mkntfs,
# ntfs-3g, setfattr, The Sleuth Kit (fsstat, istat, ffind), sfdisk, sgdisk,
# losetup, mkfs.fat, mke2fs, qemu-img, qemu-io and python3.  mkntfs, ntfs-3g,
# mkfs.fat, mke2fs, sfdisk, sgdisk and qemu-img stamp times, serial numbers
# and GUIDs, so a rerun gives different bytes: the committed files are the
# reference.  The NTFS volume is rebuilt only on request, because the
# volume_fuzz and mft_record_fuzz seeds address its regions by index.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
source "$here/../tests/fixtures/fixture_lib.sh"
need_tools mkntfs ntfs-3g setfattr fsstat istat ffind sfdisk sgdisk losetup mkfs.fat mke2fs \
  qemu-img qemu-io python3 gzip
tool() { python3 "$here/seed_tool.py" "$@"; }
fixtures="$here/../tests/fixtures"
base="$here/base"
corpus="$here/corpus"
mkdir -p "$base"

# ---------------------------------------------------------------- NTFS volume

# A 2 MiB volume (512-byte sectors, 4096-byte clusters, 1024-byte records)
# small enough that its metadata is a 150 KiB base, with what a directory
# analysis meets: nested directories, an index allocation with a deleted name
# in its slack, a deleted and a renamed directory, reparse points on
# directories (absolute and relative symlinks, a junction, a symlink to
# itself), a file with 31 names and so an attribute list in its own cluster,
# and a non-resident file.
make_volume() {
  local image="$work/volume.img" i
  truncate -s 2M "$image"
  mkntfs -F -q -s 512 -c 4096 -L slixfuzz "$image" >/dev/null 2>&1
  mount_volume "$image"
  mkdir -p "$mnt/nested/a/b/c/d" "$mnt/nested/a/gone" "$mnt/nested/a/old folder name" "$mnt/docs/2023" \
    "$mnt/hardlinks" "$mnt/links/symlink to c" "$mnt/links/junction to b" "$mnt/links/relative to d" \
    "$mnt/links/loop"
  echo "level 0" >"$mnt/nested/level 0 file.txt"
  echo "level 1" >"$mnt/nested/a/level 1 file.txt"
  echo "level 2" >"$mnt/nested/a/b/level 2 file.txt"
  echo "level 3" >"$mnt/nested/a/b/c/level 3 file.txt"
  echo "level 4" >"$mnt/nested/a/b/c/d/level 4 file.txt"
  echo "inside" >"$mnt/nested/a/gone/inside deleted.txt"
  for i in $(seq -w 1 30); do echo "report $i" >"$mnt/docs/2023/monthly report number $i.txt"; done
  echo notes >"$mnt/docs/notes.txt"
  for i in 1 2 3; do
    head -c 4096 /dev/urandom >>"$mnt/fragments.bin"
    head -c 4096 /dev/zero >"$mnt/filler $i.bin"
  done
  echo "one file, many names" >"$mnt/hardlinks/original.txt"
  for i in $(seq -w 1 30); do ln "$mnt/hardlinks/original.txt" "$mnt/hardlinks/another name $i.txt"; done
  make_reparse symlink "$mnt/links/symlink to c" 'C:\nested\a\b\c'
  make_reparse junction "$mnt/links/junction to b" 'C:\nested\a\b'
  make_reparse relative "$mnt/links/relative to d" '..\nested\a\b\c\d'
  make_reparse symlink "$mnt/links/loop" 'C:\links\loop'
  mv "$mnt/nested/a/old folder name" "$mnt/nested/a/new folder name"
  rm "$mnt/docs/2023/monthly report number 30.txt" "$mnt/filler 2.bin"
  rm -r "$mnt/nested/a/gone"
  unmount_volume
  tool volume-base "$image" "$base/ntfs_volume.base"
}

volume_part() {
  if [[ $new_volume == 1 || ! -f $base/ntfs_volume.base ]]; then make_volume; fi
  rm -rf "$corpus/volume_fuzz" "$corpus/mft_record_fuzz"
  tool volume-seeds "$base/ntfs_volume.base" "$corpus/volume_fuzz"
  tool mft-seeds "$base/ntfs_volume.base" "$corpus/mft_record_fuzz" "$fixtures/vol_4k_sector.img.gz"
  tool fragmented-seeds "$fixtures/vol_fragmented.img.gz" "$corpus/mft_record_fuzz"
}

# ---------------------------------------------------------------- INDX records

# Added to the first seeds (dir_small, root_dir, handmade_torn), which stay.
indx_part() {
  tool indx-seeds "$fixtures" "$corpus/indx_block_fuzz"
}

# ---------------------------------------------------------------- partitions

partition_part() {
  # File system heads to put at partition starts (what the content check reads:
  # the first 2048 bytes): the base volume's boot sector, FAT12 and FAT16 boot
  # sectors, an ext2 superblock.
  tool extract "$base/ntfs_volume.base" 0 2048 "$work/ntfs.head"
  mkfs.fat -F 12 -C "$work/fat12.img" 1024 >/dev/null
  mkfs.fat -F 16 -s 1 -C "$work/fat16.img" 8192 >/dev/null
  mke2fs -q -t ext2 "$work/ext2.img" 4M >/dev/null
  for fs in fat12 fat16 ext2; do head -c 2048 "$work/$fs.img" >"$work/$fs.head"; done
  put() {  # disk, sector, head file, sector size
    dd if="$work/$3.head" of="$1" bs="${4:-512}" seek="$2" conv=notrunc status=none
  }

  # Overlay bases, 8 MiB each (a table that claims the whole disk makes the
  # scan read all of it, so a larger disk only slows every run).  MBR: NTFS,
  # FAT16, an extended partition with three logical ones (NTFS, Linux with
  # ext2, type 0x0b holding FAT12), and a Linux-typed partition holding NTFS.
  disk="$work/mbr.img"
  truncate -s 8M "$disk"
  printf '%s\n' 'label: dos' 'start=2048, size=2048, type=7' 'start=4096, size=4096, type=6' \
    'start=8192, size=6144, type=5' 'start=9216, size=1024, type=7' 'start=11264, size=1024, type=83' \
    'start=13312, size=1024, type=b' 'start=14336, size=2048, type=83' | sfdisk -q "$disk"
  put "$disk" 2048 ntfs; put "$disk" 4096 fat16; put "$disk" 9216 ntfs
  put "$disk" 11264 ext2; put "$disk" 13312 fat12; put "$disk" 14336 ntfs
  tool disk-base "$disk" "$base/mbr_disk.base"
  # GPT: the same contents, one partition per type GUID kind; every sector of
  # the primary and backup tables is a region, used entries or not.
  disk="$work/gpt.img"
  truncate -s 8M "$disk"
  sgdisk -n 1:2048:+2048 -t 1:0700 -c 1:ntfs -n 2:4096:+4096 -t 2:0700 -c 2:fat16 \
    -n 3:8192:+2048 -t 3:8300 -c 3:ext2 -n 4:10240:+2048 -t 4:ef00 -c 4:esp \
    -n 5:12288:+2048 -t 5:8300 -c 5:ntfs_in_linux "$disk" >/dev/null
  put "$disk" 2048 ntfs; put "$disk" 4096 fat16; put "$disk" 8192 ext2
  put "$disk" 10240 fat12; put "$disk" 12288 ntfs
  tool disk-base "$disk" "$base/gpt_disk.base" 0:34:primary -33:33:backup

  seeds="$corpus/partition_scan_fuzz"
  rm -rf "$seeds"
  mkdir -p "$seeds"
  # Overlay seeds: no patch; the offset of the first NTFS partition asked for;
  # and an offset with no partition.
  tool partition-overlay-seeds "$base/mbr_disk.base" 1 mbr "$seeds" 0x100000
  tool partition-overlay-seeds "$base/gpt_disk.base" 2 gpt "$seeds" 0x100000

  # Small whole disks for the raw mode (at least the 16 KiB the scan reads).
  disk="$work/small_mbr.img"
  truncate -s 32K "$disk"
  printf '%s\n' 'label: dos' 'start=1, size=8, type=7' 'start=16, size=48, type=5' 'start=18, size=6, type=83' \
    'start=26, size=6, type=6' 'start=34, size=28, type=b' | sfdisk -q "$disk"
  put "$disk" 1 ntfs; put "$disk" 18 ext2; put "$disk" 26 fat16; put "$disk" 34 fat12
  tool partition-seed "$disk" "$seeds/raw_mbr_extended" 0x200 2
  tool partition-seed "$disk" "$seeds/raw_mbr_extended_no_offset" 0 1
  # A header sector in front: the MBR is found only by the search.
  { head -c 512 /dev/zero; cat "$disk"; } >"$work/displaced.img"
  tool partition-seed "$work/displaced.img" "$seeds/raw_displaced_mbr" 0 0
  disk="$work/small_gpt.img"
  truncate -s 48K "$disk"
  sgdisk -a 1 -n 1:34:+7 -t 1:0700 -c 1:ntfs -n 2:42:+7 -t 2:8300 -n 3:50:61 -t 3:ef00 "$disk" >/dev/null
  put "$disk" 34 ntfs; put "$disk" 42 ext2; put "$disk" 50 fat12
  tool partition-seed "$disk" "$seeds/raw_gpt" $((34 * 512)) 2
  # A GPT written through a device of 4096-byte sectors.
  disk="$work/gpt_4k.img"
  truncate -s 64K "$disk"
  loop=$(losetup --sector-size 4096 --show -f "$disk")
  printf '%s\n' 'label: gpt' 'first-lba: 6' 'start=6, size=4, type=EBD0A0A2-B9E5-4433-87C0-68B6B72699C7' |
    sfdisk -q --no-reread --no-tell-kernel "$loop"
  losetup -d "$loop"
  put "$disk" 6 ntfs 4096
  tool partition-seed "$disk" "$seeds/raw_gpt_4k_sectors" $((6 * 4096)) 3
  # A bare NTFS volume (its first 16 KiB) and a bare ext2 one.
  tool extract "$base/ntfs_volume.base" 0 16384 "$work/bare.img"
  tool partition-seed "$work/bare.img" "$seeds/raw_bare_ntfs" 0 2
  head -c 16384 "$work/ext2.img" >"$work/bare_ext2.img"
  tool partition-seed "$work/bare_ext2.img" "$seeds/raw_bare_ext2" 0 0
}

# ---------------------------------------------------------------- VMDK

# vmdk_fuzz splits its input at the first "@@" (see vmdk_fuzz.cpp); layout
# 0 is one file, 1 a descriptor a.vmdk and its extent s.vmdk, 2 a chain of
# two disks a.vmdk|b.vmdk.  Sparse extents are cut after their grain tables
# (the grains then read as zeros and the shortfall is reported), except where
# one grain's first sector is kept.
vmdk_part() (
  seeds="$corpus/vmdk_fuzz"
  rm -rf "$seeds"
  mkdir -p "$seeds"
  cd "$work"
  python3 - <<'EOF'
disk = bytearray(1024 * 1024)
for sector in (0, 1, 2, 1000, 2047):
    disk[sector * 512:(sector + 1) * 512] = ((b"sector %08d " % sector) * 40)[:512]
open("small.raw", "wb").write(disk)
EOF
  qemu-img convert -f raw -O vmdk small.raw sparse.vmdk
  qemu-img convert -f raw -O vmdk -o subformat=monolithicFlat small.raw flat.vmdk
  qemu-img convert -f raw -O vmdk -o subformat=twoGbMaxExtentSparse small.raw split.vmdk
  qemu-img convert -f raw -O vmdk -o subformat=streamOptimized small.raw stream.vmdk
  qemu-img create -q -f vmdk -b sparse.vmdk -F vmdk child.vmdk
  qemu-io -c "write -P 0x41 4096 512" child.vmdk >/dev/null
  qemu-img create -q -f vmdk -o zeroed_grain=on -b child.vmdk -F vmdk grandchild.vmdk
  qemu-io -c "write -z 0 64k" grandchild.vmdk >/dev/null
  tool vmdk-cut sparse.vmdk sparse.cut 512
  tool vmdk-cut child.vmdk child.cut 0
  tool vmdk-cut grandchild.vmdk grandchild.cut 0
  tool vmdk-cut split-s001.vmdk split-s001.cut 0
  head -c 8192 flat-flat.vmdk >flat-flat.cut
  sed 's/"flat-flat.vmdk"/"s.vmdk"/' flat.vmdk >flat.desc
  sed 's/"split-s001.vmdk"/"s.vmdk"/' split.vmdk >split.desc
  tool join 0 "$seeds/sparse_monolithic" sparse.cut
  tool join 0 "$seeds/stream_optimized_head" <(head -c 4096 stream.vmdk)
  tool join 0 "$seeds/descriptor_alone" flat.vmdk
  tool join 1 "$seeds/flat_descriptor_and_extent" flat.desc flat-flat.cut
  tool join 1 "$seeds/split_descriptor_and_sparse_extent" split.desc split-s001.cut
  tool join 2 "$seeds/chain_child_and_parent" child.cut sparse.cut
  tool join 2 "$seeds/chain_zeroed_grain_child_and_parent" grandchild.cut child.cut
  # Descriptors from the test fixtures: a 5 GiB split sparse disk and a flat one.
  tool join 0 "$seeds/fixture_big_descriptor" <(gzip -dc "$fixtures/vmdk/big.vmdk.gz")
  tool join 0 "$seeds/fixture_flat_descriptor" <(gzip -dc "$fixtures/vmdk/pattern-mf.vmdk.gz")
)

new_volume=0
if [[ ${1:-} == --new-volume ]]; then new_volume=1; shift; fi
parts=("$@")
[[ ${#parts[@]} -gt 0 ]] || parts=(volume indx partition vmdk)
for part in "${parts[@]}"; do "${part}_part"; done
echo "seeds written:"
du -sh "$base" "$corpus"/*
