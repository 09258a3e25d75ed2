#!/usr/bin/env bash
# Times the whole-volume run over a volume held raw and inside each evidence
# container: E01 (ewfacquire, deflate as most acquisitions are, and
# uncompressed), read by slix's own reader and, for reference, by a slix
# built to read E01 through libewf (-DSLIX_OWN_EWF_READER=OFF, in
# bench/work/build-libewf); VHDX and QCOW2 (qemu-img), as alternating runs.
# The volume is the bench volume, or with --slack-heavy the slack-heavy one
# (make_bench_volume.sh --slack-heavy).  Needs ewf-tools and qemu-utils, and
# 5 GiB of disk for each uncompressed E01.
source "$(dirname "$0")/bench_lib.sh"
work=bench/work
volume=bench_volume
if [ "${1:-}" = --slack-heavy ]; then
  bash bench/make_bench_volume.sh --slack-heavy >/dev/null
  volume=slack_volume
  image=$work/$volume.img
fi
[ -f $work/$volume.E01 ] ||
  ewfacquire -u -q -f encase6 -c deflate:fast -S 8GiB -C bench -E 1 -e bench -D bench -N none \
    -t $work/$volume $image >/dev/null
[ -f $work/${volume}_stored.E01 ] ||
  ewfacquire -u -q -f encase6 -c none -S 8GiB -C bench -E 1 -e bench -D bench -N none \
    -t $work/${volume}_stored $image >/dev/null
[ -f $work/$volume.vhdx ] || qemu-img convert -f raw -O vhdx $image $work/$volume.vhdx
[ -f $work/$volume.qcow2 ] || qemu-img convert -f raw -O qcow2 $image $work/$volume.qcow2
# The same slix, reading E01 through libewf.
cmake -S . -B $work/build-libewf -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSLIX_OWN_EWF_READER=OFF -DSLIX_TESTS=OFF >/dev/null
cmake --build $work/build-libewf -j2 --target slix >/dev/null
libewf_slix=$work/build-libewf/slix
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
  "E01, deflate=$slix -image $work/$volume.E01 $options" \
  "E01, uncompressed=$slix -image $work/${volume}_stored.E01 $options" \
  "E01, deflate, through libewf=$libewf_slix -image $work/$volume.E01 $options" \
  "E01, uncompressed, through libewf=$libewf_slix -image $work/${volume}_stored.E01 $options" \
  "VHDX=$slix -image $work/$volume.vhdx $options" \
  "QCOW2=$slix -image $work/$volume.qcow2 $options" \
  "libewf alone, the \$MFT of the deflate E01=$work/ewf_floor $work/$volume.E01 $mft_ranges" \
  "libewf alone, the \$MFT of the uncompressed E01=$work/ewf_floor $work/${volume}_stored.E01 $mft_ranges"
