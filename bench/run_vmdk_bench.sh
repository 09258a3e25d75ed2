#!/usr/bin/env bash
# Times the whole-volume run over a VMDK made from the bench volume against
# the same run over the raw image, as alternating runs.  Needs qemu-utils.
source "$(dirname "$0")/bench_lib.sh"
vmdk=bench/work/bench_volume.vmdk
[ -f "$vmdk" ] || qemu-img convert -f raw -O vmdk "$image" "$vmdk"
python3 bench/alternate.py --runs "$runs" \
  "raw=$slix -image $image -all -csv -quiet -out /dev/null" \
  "VMDK=$slix -vmdk $vmdk -all -csv -quiet -out /dev/null"
