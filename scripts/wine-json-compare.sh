#!/usr/bin/env bash
# The Windows build writes the same JSON document as the Linux build, byte for
# byte apart from the machine facts (the platform): every hostile disk that
# make_hostile_disk writes (but its 200,000-EPBR chain) is reported by both,
# from the same folder with the same arguments, and the documents compared.
# Needs build/ (Linux, with make_hostile_disk) and build-win/ with its Wine
# prefix (make test builds both). Prints the cases that differ; exits 1 if any.
set -uo pipefail
cd "$(dirname "$0")/.."
root=$PWD
export WINEDEBUG=-all WINEPREFIX=$root/build-win/wineprefix
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/linux" "$work/windows"
compared=0 differ=0
for name in $(./build/make_hostile_disk list | grep -v 200000); do
  ./build/make_hostile_disk "$name" "$work/disk" >/dev/null 2>&1 || continue
  (cd "$work/linux" && "$root/build/Utility/Layscan/layscan" -image ../disk -out r.txt -json r.json >/dev/null 2>&1)
  (cd "$work/windows" && wine "$root/build-win/Utility/Layscan/layscan.exe" -image ../disk -out r.txt -json r.json \
     >/dev/null 2>&1)
  compared=$((compared + 1))
  if ! cmp -s "$work/linux/r.json" <(sed 's/"platform":"windows"/"platform":"linux"/' "$work/windows/r.json"); then
    differ=$((differ + 1))
    echo "differs: $name"
  fi
done
echo "$compared documents compared, $differ differ"
[ "$differ" -eq 0 ]
