#!/usr/bin/env bash
# Builds a raw NTFS volume for timing slix's whole-volume runs: folders three
# levels deep ("case NN\custodian NN\batch NN"), files in the leaf folders,
# and every 20th file deleted again so that index nodes carry slack.
#
#   bench/make_bench_volume.sh [--force] [--leaf-dirs N] [--files F] [--name NAME] [--slack-heavy] [--size S]
#
# --slack-heavy names the files file001.txt to file100.txt and, instead of
# every 20th file, deletes files 10 to 19 and 100 of every fourth leaf
# folder (bench/work/slack_volume.img unless --name).  Short names that
# sort in the order they were made split index nodes in a way that leaves
# most of each folder's entries in slack too: a whole-volume run writes
# 354,235 entries where the default volume gives 252,235.
#
# Without options it makes bench/work/bench_volume.img: 2,000 leaf folders
# (2,220 folders in all) of 100 files, 200,000 files.  --leaf-dirs takes 1
# or a multiple of 100; --files sets the files per leaf folder; the image is
# bench/work/NAME.img.  A finished image is kept (NAME.done marks it) unless
# --force is given.  --size sets the volume's size (4G; truncate's units).
# Needs root (a FUSE mount), mkntfs, ntfs-3g and python3.
set -euo pipefail

bench_dir=$(cd "$(dirname "$0")" && pwd)
out_dir="$bench_dir/work"
force=false leaf_dirs_total=2000 files_per_leaf=100 name=bench_volume slack_heavy=0 volume_size=4G
while [[ $# -gt 0 ]]; do
  case $1 in
    --force) force=true ;;
    --leaf-dirs) leaf_dirs_total=$2; shift ;;
    --files) files_per_leaf=$2; shift ;;
    --name) name=$2; shift ;;
    --size) volume_size=$2; shift ;;
    --slack-heavy) slack_heavy=1; [[ $name == bench_volume ]] && name=slack_volume ;;
    *) echo "unknown option $1" >&2; exit 2 ;;
  esac
  shift
done
if [[ $leaf_dirs_total == 1 ]]; then
  top_dirs=1 sub_dirs=1 leaf_dirs=1
elif ((leaf_dirs_total % 100 == 0)); then
  top_dirs=$((leaf_dirs_total / 100)) sub_dirs=10 leaf_dirs=10
else
  echo "--leaf-dirs takes 1 or a multiple of 100" >&2
  exit 2
fi
image="$out_dir/$name.img"
done_mark="$out_dir/$name.done"
delete_every=20

if [[ $force == false && -f $done_mark && -f $image ]]; then
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

python3 - "$mnt" "$top_dirs" "$sub_dirs" "$leaf_dirs" "$files_per_leaf" "$delete_every" "$slack_heavy" <<'EOF'
import os, sys
mnt = sys.argv[1]
top, sub, leaf, files, every, slack_heavy = (int(a) for a in sys.argv[2:])
first = 1 if slack_heavy else 0


def doomed(folder_number, names):
    """The files deleted again from one leaf folder."""
    if not slack_heavy:
        return names[every // 2::every]
    if folder_number % 4 != 3:
        return []
    return [name for number, name in enumerate(names, first) if 10 <= number <= 19 or number == 100]


kinds = ['invoice', 'photo', 'report', 'mail export', 'scan', 'contract draft']


def name_of(i):
    if slack_heavy:
        return 'file%03d.txt' % i
    return '%s %05d%s.dat' % (kinds[i % len(kinds)], i, '_' * (i % 23))


made = deleted = folders = 0
for t in range(top):
    for s in range(sub):
        for l in range(leaf):
            folder = os.path.join(mnt, 'case %02d' % t, 'custodian %02d' % s, 'batch %02d' % l)
            os.makedirs(folder)
            folders += 1
            names = [os.path.join(folder, name_of(i)) for i in range(first, first + files)]
            for i, name in enumerate(names):
                fd = os.open(name, os.O_CREAT | os.O_WRONLY, 0o644)
                if i % 10 == 0:
                    os.write(fd, b'x' * (i * 13))
                os.close(fd)
            made += len(names)
            for name in doomed(folders - 1, names):
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
