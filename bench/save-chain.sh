#!/usr/bin/env bash
# Times the capture of a long logical chain against its plain report:
#   layscan -image CHAIN -out R            (the report alone)
#   layscan -image CHAIN -out R -save S    (the report and its capture)
# Each is run RUNS times in turn (default 5); the medians of wall time and of
# processor time (user + system, steadier on a shared machine) and their
# ratios are printed, with the size of the sector file.
#
#   bench/save-chain.sh [COUNT] [RUNS]      COUNT logical partitions, default 100000
#
# layscan comes from a Release tree (build-release, built here when missing,
# or set LAYSCAN); the chain is written by make_hostile_disk from the Debug
# tree's tests (built when missing, or set MAKE_HOSTILE_DISK).
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
count=${1:-100000}
runs=${2:-5}
layscan=${LAYSCAN:-$root/build-release/layscan}
maker=${MAKE_HOSTILE_DISK:-$root/build/make_hostile_disk}
if [[ ! -x $layscan ]]; then
    cmake -S "$root" -B "$root/build-release" -DCMAKE_BUILD_TYPE=Release -DLAYSCAN_BUILD_TESTS=OFF >/dev/null
    cmake --build "$root/build-release" -j2 --target layscan >/dev/null
fi
if [[ ! -x $maker ]]; then
    cmake -S "$root" -B "$root/build" -DCMAKE_BUILD_TYPE=Debug >/dev/null
    cmake --build "$root/build" -j2 --target make_hostile_disk >/dev/null
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$maker" chain "$count" "$work/chain.img"

seconds() {  # seconds COMMAND...: "wall cpu" of one run
    local TIMEFORMAT='%R %U %S' t
    t=$( { time "$@" >/dev/null; } 2>&1 )
    awk '{ printf "%.3f %.3f", $1, $2 + $3 }' <<<"$t"
}
median() { sort -g | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }

plain=() saved=()
for (( i = 0; i < runs; i++ )); do
    plain+=("$(seconds "$layscan" -image "$work/chain.img" -out "$work/report.txt")")
    rm -f "$work/chain.sf"
    saved+=("$(seconds "$layscan" -image "$work/chain.img" -out "$work/report.txt" -save "$work/chain.sf")")
done
column() { printf '%s\n' "${@:2}" | awk -v c="$1" '{ print $c }'; }
printf 'chain of %d logicals, %d runs each\n' "$count" "$runs"
for c in 1 2; do
    name=$([[ $c == 1 ]] && echo wall || echo cpu)
    p=$(column $c "${plain[@]}" | median)
    s=$(column $c "${saved[@]}" | median)
    printf '%-4s report alone: median %.3f s (%s)\n' "$name" "$p" "$(column $c "${plain[@]}" | xargs)"
    printf '%-4s with -save:   median %.3f s (%s)\n' "$name" "$s" "$(column $c "${saved[@]}" | xargs)"
    printf '%-4s ratio:        %s\n' "$name" "$(awk -v a="$s" -v b="$p" 'BEGIN { printf "%.2f", a / b }')"
done
printf 'sector file: %d bytes\n' "$(stat -c %s "$work/chain.sf")"
