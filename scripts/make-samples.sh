#!/usr/bin/env bash
# Remakes the bundled sample disks samples/mbr-disk.sf and samples/gpt-disk.sf
# with real partitioning and formatting tools. Each disk is built as a sparse
# raw image and reported with `layscan -image IMAGE -save FILE`, which keeps
# the sectors its report read (run-length compressed), so the samples stay a
# few kilobytes.
#
# Needs: sfdisk (fdisk), sgdisk (gdisk), mkfs.fat (dosfstools), mkntfs
# (ntfs-3g), mkfs.exfat and tune.exfat (exfatprogs), and layscan (built here
# when missing; or set LAYSCAN).
#
# Reproducibility: partition tables, disk identifiers, partition GUIDs, FAT
# volumes (--invariant, fixed volume ids) and the boot sectors are the same on
# every run. mkntfs has no option for its serial number, so the script writes a
# fixed one into both NTFS boot sectors; the NTFS metadata files still carry
# creation times and random ids, and exFAT's root directory carries the time of
# formatting, so the .sf files differ byte-wise between runs while everything a
# report reads (partition tables, GPT, boot sectors) does not.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
out="$root/samples"
layscan=${LAYSCAN:-$root/build/layscan}
if [[ ! -x $layscan ]]; then
    cmake -S "$root" -B "$root/build" -DCMAKE_BUILD_TYPE=Debug >/dev/null
    cmake --build "$root/build" -j2 --target layscan >/dev/null
fi
for tool in sfdisk sgdisk mkfs.fat mkntfs mkfs.exfat tune.exfat; do
    command -v "$tool" >/dev/null || { echo "make-samples: $tool is missing" >&2; exit 1; }
done

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$out"

# part_field IMAGE N FIELD: start or size (in sectors) of partition N.
part_field() {
    sfdisk -d "$1" | awk -v name="$1$2 :" -v field="$3" '
        index($0, name) == 1 && match($0, field "= *[0-9]+") {
            value = substr($0, RSTART, RLENGTH); gsub("[^0-9]", "", value); print value }'
}

# place IMAGE START VOLUME: writes a formatted volume into the disk image.
place() {
    dd if="$3" of="$1" bs=512 seek="$2" conv=notrunc,sparse status=none
}

# new_volume FILE SECTORS: an empty sparse volume file.
new_volume() {
    rm -f "$1"
    truncate -s $(( $2 * 512 )) "$1"
}

fat_volume() {  # fat_volume FILE SECTORS FATBITS START VOLID LABEL
    new_volume "$1" "$2"
    # One sector per cluster keeps a small FAT16 volume above FAT16's cluster minimum.
    local cluster=()
    [[ $3 == 16 ]] && cluster=(-s 1)
    mkfs.fat -F "$3" "${cluster[@]}" -i "$5" -n "$6" --invariant -h "$4" -g 255/63 "$1" >/dev/null
}

ntfs_volume() {  # ntfs_volume FILE SECTORS START SERIAL(16 hex digits) LABEL
    new_volume "$1" "$2"
    mkntfs -F -Q -q -L "$5" -p "$3" -H 255 -S 63 "$1" "$2" >/dev/null 2>&1
    # The serial number stands at 0x48 of the boot sector and of its backup in
    # the volume's last sector; write it little-endian.
    local bytes="" i
    for (( i = 14; i >= 0; i -= 2 )); do bytes+="\\x${4:i:2}"; done
    for sector in 0 $(( $2 - 1 )); do
        printf "$bytes" | dd of="$1" bs=1 seek=$(( sector * 512 + 0x48 )) conv=notrunc status=none
    done
}

exfat_volume() {  # exfat_volume FILE SECTORS SERIAL LABEL
    new_volume "$1" "$2"
    mkfs.exfat -L "$4" "$1" >/dev/null
    tune.exfat -I "$3" "$1" >/dev/null
}

# place_ntfs_boot IMAGE START VOLUME SECTORS: writes only the NTFS boot region
# (the first 16 sectors, which hold the boot sector) and the backup boot sector
# in the volume's last sector: the rest of an NTFS volume is never read by a
# layout report.
place_ntfs_boot() {
    dd if="$3" of="$1" bs=512 seek="$2" count=16 conv=notrunc,sparse status=none
    dd if="$3" of="$1" bs=512 seek=$(( $2 + $4 - 1 )) skip=$(( $4 - 1 )) count=1 conv=notrunc status=none
}

capture() {  # capture IMAGE SECTORFILE
    "$layscan" -image "$1" -save "$2" -out "$work/report.txt" >/dev/null
}

# --- MBR disk: 80 MiB, two primaries, an extended partition with three logicals.
mbr="$work/mbr-disk.img"
truncate -s 80M "$mbr"
sfdisk --no-reread --no-tell-kernel -q "$mbr" >/dev/null <<'TABLE'
label: dos
label-id: 0x4c415953
unit: sectors
start=2048, size=81920, type=c, bootable
start=83968, size=6144, type=7
start=90112, type=5
start=92160, size=16384, type=7
start=110592, size=16384, type=6
start=129024, size=8192, type=1
TABLE

fat_volume "$work/v1" "$(part_field "$mbr" 1 size)" 32 "$(part_field "$mbr" 1 start)" 4C415301 "LS FAT32"
place "$mbr" "$(part_field "$mbr" 1 start)" "$work/v1"
ntfs_volume "$work/v2" "$(part_field "$mbr" 2 size)" "$(part_field "$mbr" 2 start)" 4C41595300000002 "LS NTFS"
place_ntfs_boot "$mbr" "$(part_field "$mbr" 2 start)" "$work/v2" "$(part_field "$mbr" 2 size)"
exfat_volume "$work/v5" "$(part_field "$mbr" 5 size)" 0x4C415305 "LS EXFAT"
place "$mbr" "$(part_field "$mbr" 5 start)" "$work/v5"
fat_volume "$work/v6" "$(part_field "$mbr" 6 size)" 16 "$(part_field "$mbr" 6 start)" 4C415306 "LS FAT16"
place "$mbr" "$(part_field "$mbr" 6 start)" "$work/v6"
fat_volume "$work/v7" "$(part_field "$mbr" 7 size)" 12 "$(part_field "$mbr" 7 start)" 4C415307 "LS FAT12"
place "$mbr" "$(part_field "$mbr" 7 start)" "$work/v7"
capture "$mbr" "$out/mbr-disk.sf"

# --- GPT disk: 80 MiB, EFI system, Microsoft reserved and two basic data
# partitions (FAT32 and exFAT). NTFS is shown by the MBR sample; leaving it out
# here keeps this sample a few kilobytes.
gpt="$work/gpt-disk.img"
truncate -s 80M "$gpt"
sgdisk -o "$gpt" >/dev/null
sgdisk -U 4C415953-0000-4000-8000-000000000000 \
    -n 1:2048:+16M -t 1:ef00 -c 1:"EFI system partition" -u 1:4C415953-0000-4000-8000-000000000001 \
    -n 2:0:+4M -t 2:0c01 -c 2:"Microsoft reserved partition" -u 2:4C415953-0000-4000-8000-000000000002 \
    -n 3:0:+40M -t 3:0700 -c 3:"Basic data partition" -u 3:4C415953-0000-4000-8000-000000000003 \
    -n 4:0:+8M -t 4:0700 -c 4:"exFAT data" -u 4:4C415953-0000-4000-8000-000000000004 \
    "$gpt" >/dev/null

gpt_field() {  # gpt_field IMAGE N start|size
    sgdisk -i "$2" "$1" | awk -v field="$3" '
        field == "start" && /^First sector:/ { print $3 }
        field == "size" && /^Partition size:/ { print $3 }'
}
fat_volume "$work/g1" "$(gpt_field "$gpt" 1 size)" 16 "$(gpt_field "$gpt" 1 start)" 4C415311 "LS ESP"
place "$gpt" "$(gpt_field "$gpt" 1 start)" "$work/g1"
fat_volume "$work/g3" "$(gpt_field "$gpt" 3 size)" 32 "$(gpt_field "$gpt" 3 start)" 4C415313 "LS GPTFAT32"
place "$gpt" "$(gpt_field "$gpt" 3 start)" "$work/g3"
exfat_volume "$work/g4" "$(gpt_field "$gpt" 4 size)" 0x4C415314 "LS GPTEXFAT"
place "$gpt" "$(gpt_field "$gpt" 4 start)" "$work/g4"
capture "$gpt" "$out/gpt-disk.sf"

ls -l "$out"/mbr-disk.sf "$out"/gpt-disk.sf
