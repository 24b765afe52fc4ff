#!/bin/sh
# Reads, bytes read, wall time and peak memory of `layscan -image` over the
# long logical chains the hostile-disk writer makes:
#   mib-chain N  one EPBR at the start of each MiB, its logical 63 sectors on (sparse image)
#   chain N      one EPBR every two sectors, each with a one-sector logical
# Usage: bench/chain-reads.sh BUILD_DIR TOOLS_BUILD_DIR [SCRATCH]
#   BUILD_DIR holds the layscan to measure (a Release build), TOOLS_BUILD_DIR
#   make_hostile_disk (any build with the tests). Images go to SCRATCH
#   (default /tmp/layscan-bench); the 100,000 MiB chain is a 100 GiB sparse file.
set -eu
tool=$1/layscan
maker=$2/make_hostile_disk
scratch=${3:-/tmp/layscan-bench}
mkdir -p "$scratch"

measure() {  # name image
    strace -f -e trace=pread64,read -o "$scratch/strace.txt" "$tool" -image "$2" -out /dev/null >/dev/null
    # Reads of the image: the descriptor that pread64 uses at the image's offsets.
    reads=$(grep -c '^[0-9]* *pread64' "$scratch/strace.txt" || true)
    bytes=$(sed -n 's/^[0-9]* *pread64.* = \([0-9]*\)$/\1/p' "$scratch/strace.txt" | awk '{s+=$1} END {print s+0}')
    best=""
    for run in $(seq "${RUNS:-3}"); do
        /usr/bin/time -f "%e %M" -o "$scratch/time.txt" "$tool" -image "$2" -out /dev/null >/dev/null
        best="$best $(cat "$scratch/time.txt")"
    done
    echo "$1: pread64 calls $reads, bytes $bytes; runs (wall s, peak KiB):$best"
}

for n in 10000 100000; do
    [ -f "$scratch/mib-chain-$n.img" ] || "$maker" mib-chain $n "$scratch/mib-chain-$n.img"
    measure "mib-chain $n" "$scratch/mib-chain-$n.img"
done
[ -f "$scratch/chain-1000000.img" ] || "$maker" chain 1000000 "$scratch/chain-1000000.img"
measure "chain 1000000" "$scratch/chain-1000000.img"
