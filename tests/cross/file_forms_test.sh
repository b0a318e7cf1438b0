#!/usr/bin/env bash
# The file forms are the same bytes whichever build writes them. Each build's zt writes the binary form of
# a set of values, a data table and a container into a folder of its own; the folders must be equal byte
# for byte, and each build reads what the other wrote: the values convert back to the same text, the table
# passes its check and dumps the same records, the container lists and extracts the same members.
# Usage: file_forms_test.sh WORK_DIR EXAMPLE ZT_A ZT_B   (a zt given as "wine64 dir/zt.exe" runs under
# Wine: the work folder is then reached through Wine's Z: drive, which maps the whole file system)
set -euo pipefail
work=$1
example=$2
read -r -a zt_a <<<"$3"
read -r -a zt_b <<<"$4"
zt_a[-1]=$(realpath "${zt_a[-1]}")
zt_b[-1]=$(realpath "${zt_b[-1]}")
rm -rf "$work"
mkdir -p "$work/input" "$work/a" "$work/b"
fail() {
  echo "FAIL: $*" >&2
  exit 1
}
# Line ends as written by either system.
text() { tr -d '\r'; }

cp "$example" "$work/input/values.zt"
# A dump in the order dump writes it (sorted by key), so that it reads back as it is.
printf 'ZtDbDump 1\na/b\tone\na/c\ttwo \xc3\xbc\nlong/key/with/segments\t%s\nx\t3\n' "$(head -c 3000 /dev/zero | tr '\0' v)" \
  >"$work/input/dump.txt"
printf 'first member\n' >"$work/input/one.txt"
head -c 5000 /dev/zero | tr '\0' '\001' >"$work/input/two.bin"

write_all() { # zt... DIR
  local dir=${*: -1}
  local zt=("${@:1:$#-1}")
  "${zt[@]}" convert --to binary -o "$dir/values.ztb" "$work/input/values.zt"
  "${zt[@]}" db "$dir/table.zdt" load "$work/input/dump.txt" >/dev/null
  (cd "$work/input" && "${zt[@]}" pack create "$dir/pack.zpk" one.txt two.bin >/dev/null)
}
read_all() { # zt... DIR
  local dir=${*: -1}
  local zt=("${@:1:$#-1}")
  "${zt[@]}" convert --to text "$dir/values.ztb" | text >"$dir/values.read"
  "${zt[@]}" db "$dir/table.zdt" check >/dev/null || fail "the table of $dir fails its check"
  "${zt[@]}" db "$dir/table.zdt" dump | text >"$dir/table.read"
  "${zt[@]}" pack list "$dir/pack.zpk" | text >"$dir/pack.read"
  "${zt[@]}" pack extract "$dir/pack.zpk" two.bin -o "$dir/two.read"
}

write_all "${zt_a[@]}" "$work/a"
write_all "${zt_b[@]}" "$work/b"
for f in values.ztb table.zdt pack.zpk; do
  cmp "$work/a/$f" "$work/b/$f" || fail "$f differs between the builds"
done
# Each build reads the other's files.
read_all "${zt_a[@]}" "$work/b"
read_all "${zt_b[@]}" "$work/a"
"${zt_a[@]}" convert --to text "$work/input/values.zt" | text >"$work/values.expected"
for d in a b; do
  cmp "$work/values.expected" "$work/$d/values.read" || fail "the values read back from $d differ"
  cmp "$work/input/dump.txt" "$work/$d/table.read" || fail "the table read back from $d differs"
  cmp "$work/input/two.bin" "$work/$d/two.read" || fail "the member extracted from $d differs"
done
cmp "$work/a/pack.read" "$work/b/pack.read" || fail "the container listings differ"
echo "file forms: the same bytes from both builds, and each reads the other's"
