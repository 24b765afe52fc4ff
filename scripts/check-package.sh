#!/bin/bash
# Checks what make package built: the .deb's files and dependencies, the tool
# installed from it into a scratch root (its --version and a report of a small
# image), and the Windows zip's files with the version resource of layscan.exe.
# Usage: scripts/check-package.sh build-pkg/layscan_<version>_<arch>.deb build-win/layscan-<version>-win64.zip
set -euo pipefail
deb=$1 zip=$2
fail() { echo "package check: $*" >&2; exit 1; }

version=$(dpkg-deb -f "$deb" Version)
depends=$(dpkg-deb -f "$deb" Depends)
[[ $depends =~ ^libc6(\ \([^\)]*\))?$ ]] || fail "depends on more than libc: $depends"
listing=$(dpkg-deb -c "$deb" | awk '{print $NF}')
for f in ./usr/bin/layscan ./usr/share/man/man1/layscan.1 ./usr/share/bash-completion/completions/layscan \
         ./usr/share/doc/layscan/README.md ./usr/share/doc/layscan/LICENSE; do
  grep -qx -- "$f" <<< "$listing" || fail "$f missing from $deb"
done

root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
dpkg -x "$deb" "$root"
tool=$root/usr/bin/layscan
[ "$("$tool" --version)" = "layscan $version" ] || fail "--version says '$("$tool" --version)', the package $version"
truncate -s 4M "$root/disk.img"
printf 'label: dos\n2048,4096,c\n' | sfdisk -q "$root/disk.img" >/dev/null
console=$("$tool" -image "$root/disk.img" -out "$root/report.txt") || fail "-image run failed: $console"
grep -q "^Disk 0 (.*disk.img): MBR, 1 partition, " <<< "$console" || fail "unexpected console: $console"
grep -q '^Master Boot Record (Sector 0) for Disk 0' "$root/report.txt" || fail "report lacks the MBR section"

zipped=$(cmake -E tar tf "$zip")
for f in layscan.exe README.md LICENSE; do grep -qx -- "$f" <<< "$zipped" || fail "$f missing from $zip"; done
(cd "$root" && cmake -E tar xf "$(realpath "$OLDPWD/$zip")" layscan.exe)
# The version resource holds its strings in UTF-16.
python3 - "$root/layscan.exe" "$version" <<'PY' || fail "layscan.exe has no version resource of $version"
import sys
data = open(sys.argv[1], "rb").read()
sys.exit(0 if all(s.encode("utf-16-le") in data for s in ("FileVersion", sys.argv[2] + "\0")) else 1)
PY
echo "package check: $deb and $zip are fine (version $version)"
