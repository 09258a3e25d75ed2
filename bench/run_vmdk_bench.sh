#!/usr/bin/env bash
# Times the whole-volume run over a VMDK made from the bench volume against
# the same run over the raw image.  Needs hyperfine, qemu-img and GNU time.
set -euo pipefail
cd "$(dirname "$0")/.."
make build >/dev/null
bash bench/make_bench_volume.sh
slix=./build/slix
image=bench/work/bench_volume.img
vmdk=bench/work/bench_volume.vmdk
[ -f "$vmdk" ] || qemu-img convert -f raw -O vmdk "$image" "$vmdk"
raw_run="$slix -image $image -all -csv -quiet -out /dev/null"
vmdk_run="$slix -vmdk $vmdk -all -csv -quiet -out /dev/null"
hyperfine -N --warmup 1 --runs 5 --export-markdown bench/work/vmdk_times.md "$raw_run" "$vmdk_run"
for command in "$raw_run" "$vmdk_run"; do
  echo "$command"
  /usr/bin/time -f "  peak RSS %M KiB, %e s" bash -c "$command" >/dev/null
done
