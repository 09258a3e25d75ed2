#!/usr/bin/env bash
# Times the whole-volume run over the bench volume held raw and inside each
# evidence container: E01 (ewfacquire, deflate as most acquisitions are, and
# uncompressed), VHDX and QCOW2 (qemu-img), as alternating runs.  Needs
# ewf-tools and qemu-utils, and 5 GiB of disk for the uncompressed E01.
source "$(dirname "$0")/bench_lib.sh"
work=bench/work
[ -f $work/bench_volume.E01 ] ||
  ewfacquire -u -q -f encase6 -c deflate:fast -S 8GiB -C bench -E 1 -e bench -D bench -N none \
    -t $work/bench_volume $image >/dev/null
[ -f $work/bench_volume_stored.E01 ] ||
  ewfacquire -u -q -f encase6 -c none -S 8GiB -C bench -E 1 -e bench -D bench -N none \
    -t $work/bench_volume_stored $image >/dev/null
[ -f $work/bench_volume.vhdx ] || qemu-img convert -f raw -O vhdx $image $work/bench_volume.vhdx
[ -f $work/bench_volume.qcow2 ] || qemu-img convert -f raw -O qcow2 $image $work/bench_volume.qcow2
# The floor under any E01 reader: libewf alone handing over the bytes of the
# $MFT (every record of which a whole-volume run reads), as the clusters of
# its runs that istat lists (a 0 there is a cluster the run does not hold).
g++ -O2 -o $work/ewf_floor bench/ewf_floor.cpp $(pkg-config --cflags --libs libewf)
cluster=$(fsstat $image | awk '/^Cluster Size:/ {print $3}')
mft_ranges=$(istat $image 0 | awk '/^Type: \$DATA/ {f = 1; next} /^Type:/ {f = 0} f' | tr ' ' '\n' | grep -v -e '^$' -e '^0$' |
  awk -v c="$cluster" 'NR == 1 {s = $1; p = $1; next} $1 != p + 1 {print s * c ":" (p - s + 1) * c; s = $1}
                       {p = $1} END {print s * c ":" (p - s + 1) * c}' | tr '\n' ' ')
options="-all -csv -quiet -out /dev/null"
# BENCH_COLD=1: every run reads the evidence from the disk (root).
cold=()
[ "${BENCH_COLD:-0}" = 1 ] && cold=(--drop-caches)
python3 bench/alternate.py --runs "$runs" "${cold[@]}" \
  "raw=$slix -image $image $options" \
  "E01, deflate=$slix -image $work/bench_volume.E01 $options" \
  "E01, uncompressed=$slix -image $work/bench_volume_stored.E01 $options" \
  "VHDX=$slix -image $work/bench_volume.vhdx $options" \
  "QCOW2=$slix -image $work/bench_volume.qcow2 $options" \
  "libewf alone, the \$MFT of the deflate E01=$work/ewf_floor $work/bench_volume.E01 $mft_ranges" \
  "libewf alone, the \$MFT of the uncompressed E01=$work/ewf_floor $work/bench_volume_stored.E01 $mft_ranges"
