#!/usr/bin/env bash
# The zt tool as a script uses it: outputs, error places and exit codes.
# Usage: zt_cli_test.sh ZT EXAMPLE WORKDIR
set -uo pipefail
zt=$1 example=$2 work=$3
rm -rf "$work" && mkdir -p "$work"
failures=0
expect() {  # expect NAME WANTED-EXIT COMMAND...
  local name=$1 want=$2
  shift 2
  "$@" >"$work/out" 2>"$work/err"
  local got=$?
  if [ "$got" != "$want" ]; then
    echo "FAIL $name: exit $got, wanted $want"; cat "$work/out" "$work/err"; failures=$((failures + 1))
  fi
}
contains() {  # contains NAME FILE TEXT
  if ! grep -qF -- "$3" "$2"; then echo "FAIL $1: '$3' not in $2"; cat "$2"; failures=$((failures + 1)); fi
}

expect help 0 "$zt" --help
contains help "$work/out" "usage: zt"
expect no-command 2 "$zt"
contains no-command "$work/err" "no command given"
expect unknown-command 2 "$zt" frobnicate
expect bad-target 2 "$zt" convert "$example" --to json -o "$work/x"

expect pretty 0 "$zt" pretty "$example"
contains pretty "$work/out" 'lex="dog"'
contains pretty "$work/out" '(S (NP _agr) (VP _agr))'
cp "$work/out" "$work/pretty-original"

expect check-good 0 "$zt" check "$example"
contains check-good "$work/out" "ok, 10 values"

printf '(a b)\n{x = 1,\n  y = }\n[1, 2\n' >"$work/bad.zt"
expect check-bad 1 "$zt" check "$work/bad.zt"
contains check-bad "$work/err" "bad.zt:5:1: error 10003: Unexpected end of generic stream"
printf '(a b)\n  #oops\n' >"$work/junk.zt"
expect check-junk 1 "$zt" check "$work/junk.zt"
contains check-junk "$work/err" "junk.zt:2:3: error 10003: Unrecognized character in Generic stream"
expect check-missing 3 "$zt" check "$work/absent.zt"
contains check-missing "$work/err" "File not found"

roundtrip=$(dirname "$0")/roundtrip.zt
expect pretty-roundtrip 0 "$zt" pretty "$roundtrip"
cp "$work/out" "$work/pretty-original"
expect to-binary 0 "$zt" convert "$roundtrip" --to binary -o "$work/g.bin"
expect to-text 0 "$zt" convert "$work/g.bin" --to text -o "$work/g.zt"
expect pretty-again 0 "$zt" pretty "$work/g.zt"
if ! cmp -s "$work/out" "$work/pretty-original"; then
  echo "FAIL round trip: text -> binary -> text changed the values"; diff "$work/pretty-original" "$work/out"
  failures=$((failures + 1))
fi
printf '\x06\x00\x00\x00\xff\xff\xff\x7f' >"$work/huge-count.bin"
expect bad-binary 1 "$zt" convert "$work/huge-count.bin" --to text -o "$work/h.zt"
contains bad-binary "$work/err" "Read operation failed"

[ "$failures" -eq 0 ] && echo "zt command line: all cases passed"
exit $((failures > 0))
