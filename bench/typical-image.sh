#!/bin/sh
# The full report of a typical 2 GiB GPT image (sgdisk, four partitions)
# against `fdisk -l` of the same image: 20 alternating runs of each, the
# median wall time of each in milliseconds.
# Usage: bench/typical-image.sh BUILD_DIR [SCRATCH]
set -eu
tool=$1/layscan
scratch=${2:-/tmp/layscan-bench}
image=$scratch/gpt-2g.img
mkdir -p "$scratch"
if [ ! -f "$image" ]; then
    truncate -s 2G "$image"
    sgdisk -n 1:2048:+512M -t 1:ef00 -n 2:0:+512M -t 2:0700 -n 3:0:+512M -t 3:0700 -n 4:0:0 -t 4:8300 \
        "$image" >/dev/null
fi
now() { date +%s%N; }
: > "$scratch/layscan.ms"
: > "$scratch/fdisk.ms"
for run in $(seq 20); do
    t0=$(now); "$tool" -image "$image" -out /dev/null >/dev/null; t1=$(now)
    fdisk -l "$image" >/dev/null; t2=$(now)
    echo $(( (t1 - t0) / 1000 )) >> "$scratch/layscan.ms"
    echo $(( (t2 - t1) / 1000 )) >> "$scratch/fdisk.ms"
done
median() { sort -n "$1" | awk '{v[NR]=$1} END {print v[int((NR+1)/2)] / 1000 " ms"}'; }
echo "layscan -image: median $(median "$scratch/layscan.ms")"
echo "fdisk -l:       median $(median "$scratch/fdisk.ms")"
