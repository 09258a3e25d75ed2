# Shared by the bench runners (sourced): builds slix and the bench volume,
# and names them.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
make build >/dev/null
bash bench/make_bench_volume.sh >/dev/null
slix=./build/slix
image=bench/work/bench_volume.img
runs=${BENCH_RUNS:-7}
