#!/usr/bin/env bash
# Times the whole-volume run over the bench volume held raw and inside each
# evidence container: E01 (ewfacquire, deflate), VHDX and QCOW2 (qemu-img),
# as alternating runs.  Needs ewf-tools and qemu-utils.
source "$(dirname "$0")/bench_lib.sh"
work=bench/work
[ -f $work/bench_volume.E01 ] ||
  ewfacquire -u -q -f encase6 -c deflate:fast -S 8GiB -C bench -E 1 -e bench -D bench -N none \
    -t $work/bench_volume $image >/dev/null
[ -f $work/bench_volume.vhdx ] || qemu-img convert -f raw -O vhdx $image $work/bench_volume.vhdx
[ -f $work/bench_volume.qcow2 ] || qemu-img convert -f raw -O qcow2 $image $work/bench_volume.qcow2
options="-all -csv -quiet -out /dev/null"
python3 bench/alternate.py --runs "$runs" \
  "raw=$slix -image $image $options" \
  "E01=$slix -image $work/bench_volume.E01 $options" \
  "VHDX=$slix -image $work/bench_volume.vhdx $options" \
  "QCOW2=$slix -image $work/bench_volume.qcow2 $options"
