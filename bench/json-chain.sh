#!/usr/bin/env bash
# What -json costs on a long logical chain: the whole tool on an image of one
# extended partition with COUNT EPBRs (default 100,000), once with the text
# report only and once with the text report and the JSON document, both to
# /dev/null, RUNS times alternating (default 7). Prints each run's wall time
# and the medians. Needs build/make_hostile_disk (the Debug test tree) and
# builds a Release layscan in build-rel.
#
#   bench/json-chain.sh [COUNT] [RUNS]
set -euo pipefail
cd "$(dirname "$0")/.."
count=${1:-100000}
runs=${2:-7}
cmake -S . -B build-rel -DCMAKE_BUILD_TYPE=Release -DLAYSCAN_BUILD_TESTS=OFF >/dev/null
cmake --build build-rel -j2 --target layscan >/dev/null
[ -x build/make_hostile_disk ] || { cmake -S . -B build -DCMAKE_BUILD_TYPE=Debug >/dev/null &&
                                    cmake --build build -j2 --target make_hostile_disk >/dev/null; }
image=$(mktemp --suffix=.img)
trap 'rm -f "$image"' EXIT
./build/make_hostile_disk chain "$count" "$image"

seconds() {  # wall seconds of one run of the tool with the given extra arguments
  local start end
  start=$(date +%s.%N)
  ./build-rel/Utility/Layscan/layscan -image "$image" -out /dev/null "$@" >/dev/null
  end=$(date +%s.%N)
  echo "$end - $start" | bc
}
median() { sort -n | awk '{v[NR]=$1} END {print v[int((NR+1)/2)]}'; }

text=() json=()
for ((i = 0; i < runs; i++)); do
  text+=("$(seconds)")
  json+=("$(seconds -json /dev/null)")
done
echo "text only:      ${text[*]}"
echo "text and JSON:  ${json[*]}"
t=$(printf '%s\n' "${text[@]}" | median)
j=$(printf '%s\n' "${json[@]}" | median)
echo "medians: text $t s, text and JSON $j s; the JSON's share: $(echo "scale=2; ($j - $t) / $t" | bc) of the text's time"
