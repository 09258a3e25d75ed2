#!/usr/bin/env bash
# Time and peak memory as the volume grows: whole-volume CSV runs on volumes
# of 100, 500, 2,000, 4,000 and 20,000 leaf folders of 100 files each (made
# by make_bench_volume.sh; the last, 2 million files, on a 16 GiB volume),
# and a run on one folder of 9,000 files.
source "$(dirname "$0")/bench_lib.sh"
for leaf_dirs in 100 500 4000; do
  bash bench/make_bench_volume.sh --leaf-dirs "$leaf_dirs" --name "scale_$leaf_dirs" >/dev/null
done
bash bench/make_bench_volume.sh --leaf-dirs 20000 --size 16G --name scale_20000 >/dev/null
bash bench/make_bench_volume.sh --leaf-dirs 1 --files 9000 --name one_dir_9000 >/dev/null
options="-all -csv -quiet -out /dev/null"
python3 bench/alternate.py --runs "$runs" \
  "100 leaf folders=$slix -image bench/work/scale_100.img $options" \
  "500 leaf folders=$slix -image bench/work/scale_500.img $options" \
  "2,000 leaf folders=$slix -image $image $options" \
  "4,000 leaf folders=$slix -image bench/work/scale_4000.img $options" \
  "20,000 leaf folders=$slix -image bench/work/scale_20000.img $options" \
  "one folder of 9,000 files=$slix -image bench/work/one_dir_9000.img $options"
