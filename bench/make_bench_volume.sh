#!/usr/bin/env bash
# Builds bench/work/bench_volume.img, a raw NTFS volume for timing slix's
# whole-volume runs: about 2,200 directories three levels deep and 200,000
# files, of which 5% are then deleted so that index nodes carry slack.
#
#   bench/make_bench_volume.sh [--force]
#
# A finished image is kept (bench/work/bench_volume.done marks it) unless
# --force is given. Needs root (a FUSE mount), mkntfs, ntfs-3g and python3.
set -euo pipefail

bench_dir=$(cd "$(dirname "$0")" && pwd)
out_dir="$bench_dir/work"
image="$out_dir/bench_volume.img"
done_mark="$out_dir/bench_volume.done"
volume_size=4G
top_dirs=20 sub_dirs=10 leaf_dirs=10 files_per_leaf=100 delete_every=20

if [[ ${1:-} != --force && -f $done_mark && -f $image ]]; then
  echo "$image is already built ($(cat "$done_mark")); use --force to rebuild"
  exit 0
fi
source "$bench_dir/../tests/fixtures/fixture_lib.sh"
need_tools mkntfs ntfs-3g python3 mountpoint

started=$SECONDS
mkdir -p "$out_dir"
rm -f "$image" "$done_mark"
truncate -s "$volume_size" "$image"
# -Q: quick format, so the sparse file stays sparse.
mkntfs -F -Q -q -s 512 -c 4096 -L slix_bench "$image" >/dev/null 2>&1

mount_volume "$image" big_writes,noatime

python3 - "$mnt" "$top_dirs" "$sub_dirs" "$leaf_dirs" "$files_per_leaf" "$delete_every" <<'EOF'
import os, sys
mnt = sys.argv[1]
top, sub, leaf, files, every = (int(a) for a in sys.argv[2:])
kinds = ['invoice', 'photo', 'report', 'mail export', 'scan', 'contract draft']
made = deleted = folders = 0
for t in range(top):
    for s in range(sub):
        for l in range(leaf):
            folder = os.path.join(mnt, 'case %02d' % t, 'custodian %02d' % s, 'batch %02d' % l)
            os.makedirs(folder)
            folders += 1
            names = [os.path.join(folder, '%s %05d%s.dat' % (kinds[i % len(kinds)], i, '_' * (i % 23)))
                     for i in range(files)]
            for i, name in enumerate(names):
                fd = os.open(name, os.O_CREAT | os.O_WRONLY, 0o644)
                if i % 10 == 0:
                    os.write(fd, b'x' * (i * 13))
                os.close(fd)
            made += len(names)
            for name in names[every // 2::every]:
                os.unlink(name)
                deleted += 1
    print('  case %02d done: %d files made so far' % (t, made), flush=True)
print('%d leaf folders (%d folders in all), %d files made, %d deleted'
      % (folders, folders + top + top * sub, made, deleted))
EOF

unmount_volume
elapsed=$((SECONDS - started))
echo "built in ${elapsed}s on $(date -u +%Y-%m-%d)" >"$done_mark"
echo "made $image ($(du -h "$image" | cut -f1) used of $volume_size) in ${elapsed}s"
