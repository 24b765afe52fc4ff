#!/bin/sh
# The cost of -verify on a long logical chain: the plain report and the
# -verify report of the same 100,000-logical image, run alternately
# RUNS times each; prints every run's processor time (user + system, which
# the other loads of a shared machine disturb less than the wall time) and
# the minimum of each.
#   bench/verify-chain.sh BUILD_DIR_WITH_LAYSCAN BUILD_DIR_WITH_MAKE_HOSTILE_DISK [RUNS] [KIND]
# KIND is a chain of make_hostile_disk: mib-chain (the default; one EPBR at
# the start of each MiB, a 100 GiB sparse file) or chain (one every two sectors).
set -e
tool="$1/layscan"
maker="$2/make_hostile_disk"
runs="${3:-7}"
kind="${4:-mib-chain}"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$maker" "$kind" 100000 "$work/chain.img"
seconds() {
    /usr/bin/time -f "%U %S" "$@" >/dev/null 2>"$work/time" || true
    tail -n 1 "$work/time" | awk '{printf "%.2f", $1 + $2}'
}
plain_min=999999; verify_min=999999
for i in $(seq "$runs"); do
    p=$(seconds "$tool" -image "$work/chain.img" -out "$work/plain.txt")
    v=$(seconds "$tool" -image "$work/chain.img" -verify -out "$work/verify.txt")
    echo "run $i: plain $p s, -verify $v s"
    plain_min=$(echo "$p $plain_min" | awk '{print ($1 < $2) ? $1 : $2}')
    verify_min=$(echo "$v $verify_min" | awk '{print ($1 < $2) ? $1 : $2}')
done
echo "minimum: plain $plain_min s, -verify $verify_min s, ratio $(echo "$verify_min $plain_min" | awk '{printf "%.2f", $1 / $2}')"
