#!/usr/bin/env bash
# The zt tool as a person or a script uses it: outputs, standard input and output, error places, exit codes,
# outputs written whole or not at all, a full device, input detection, lossy conversions, JSON round trips.
# Usage: zt_cli_test.sh ZT EXAMPLE README WORKDIR SAMPLE-COMPONENT
set -uo pipefail
zt=$1 example=$2 readme=$3 work=$4 component=$5
ext=${component##*.} # the system's library extension, from the sample component's name
rm -rf "$work" && mkdir -p "$work"
failures=0
fail() { echo "FAIL $*"; failures=$((failures + 1)); }
expect() {  # expect NAME WANTED-EXIT COMMAND...   (output in $work/out, errors in $work/err)
  local name=$1 want=$2
  shift 2
  "$@" >"$work/out" 2>"$work/err"
  local got=$?
  [ "$got" = "$want" ] || { fail "$name: exit $got, wanted $want"; cat "$work/out" "$work/err"; }
}
has() {  # has NAME FILE TEXT
  grep -qF -- "$3" "$2" || { fail "$1: '$3' not in $(basename "$2")"; cat "$2"; }
}
same() {  # same NAME FILE FILE
  cmp -s "$2" "$3" || { fail "$1: $(basename "$2") and $(basename "$3") differ"; diff "$2" "$3" | head -20; }
}

# ---- usage, help, version ----
expect help 0 "$zt" --help
has help "$work/out" "Subcommands:"
for command in pretty check convert; do
  expect "help-$command" 0 "$zt" "$command" --help
  has "help-$command" "$work/out" "Usage:"
done
expect version 0 "$zt" --version
has version "$work/out" "zt "
expect no-command 2 "$zt"
expect unknown-command 2 "$zt" frobnicate
expect bad-target 2 "$zt" convert "$example" --to yaml
expect no-target 2 "$zt" convert "$example"

# ---- reading: files, standard input, detection ----
expect pretty 0 "$zt" pretty "$example"
has pretty "$work/out" 'lex = "dog"'
has pretty "$work/out" '(S (NP _agr) (VP _agr))'
if grep -q ' $' "$work/out"; then fail "pretty: trailing spaces"; fi
cp "$work/out" "$work/pretty.txt"
expect pretty-stdin 0 sh -c "cat '$example' | '$zt' pretty"
same pretty-stdin "$work/out" "$work/pretty.txt"
expect pretty-dash 0 sh -c "'$zt' pretty - < '$example'"
same pretty-dash "$work/out" "$work/pretty.txt"
expect check-good 0 "$zt" check "$example"
has check-good "$work/out" "ok, 10 text values"
expect check-directory 3 "$zt" check "$work"
has check-directory "$work/err" "is a directory"
expect check-missing 3 "$zt" check "$work/absent.zt"
has check-missing "$work/err" "No such file or directory"
# UTF-16 with a byte-order mark, either order.
printf '\xff\xfe(\0a\0 \0\xe9\0)\0' >"$work/le.zt"
printf '\xfe\xff\0(\0a\0 \0\xe9\0)' >"$work/be.zt"
expect utf16 0 "$zt" pretty "$work/le.zt" "$work/be.zt"
has utf16 "$work/out" "(a é)"
# The order of set elements and bundle keys never depends on what was read before, with --sorted.
printf '{zeta = 1, alpha = [b, a]}\n' >"$work/order.zt"
expect sorted 0 "$zt" pretty --sorted "$work/order.zt"
has sorted "$work/out" "{alpha = [a, b], zeta = 1}"
expect library 0 "$zt" pretty --library "$work/order.zt"
expect compact 0 "$zt" pretty --compact "$example"
[ "$(wc -l <"$work/out")" = 10 ] || fail "compact: not one line a value"

# ---- errors: one line with the place, and hints ----
printf '(a b)\n{x = 1,\n  y = [1, 2\n' >"$work/open.zt"
expect unclosed 1 "$zt" check "$work/open.zt"
has unclosed "$work/err" "open.zt:3:7: '[' is never closed"
printf '(a b)\n  #oops\n' >"$work/junk.zt"
expect junk 1 "$zt" check "$work/junk.zt"
has junk "$work/err" "junk.zt:2:3: Unrecognized character in Generic stream"
[ "$(wc -l <"$work/err")" = 1 ] || fail "junk: the error is not one line"
expect verbose 1 "$zt" check --verbose "$work/junk.zt"
has verbose "$work/err" '[error 10003: Unrecognized character in Generic stream : "(a b)\n  #"]'
printf '(a b) // a note\n' >"$work/comment.zt"
expect line-comment 1 "$zt" check "$work/comment.zt"
has line-comment "$work/err" "comment.zt:1:7: the text ends in a line comment"
expect several 3 "$zt" check "$work/junk.zt" "$example" "$work/absent.zt"
has several "$work/out" "ok, 10 text values"
[ "$(wc -l <"$work/err")" = 2 ] || fail "several: not one error a file"

# ---- binary: detection and validation ----
expect to-binary-refused 1 "$zt" convert "$example" --to binary -o "$work/g.bin"
has to-binary-refused "$work/err" "value 7: the variable _agr cannot be written exactly in the binary form"
[ -e "$work/g.bin" ] && fail "to-binary-refused: an output file was left"
roundtrip=$(dirname "$0")/roundtrip.zt
expect to-binary 0 "$zt" convert "$roundtrip" --to binary -o "$work/r.bin"
expect check-binary 0 "$zt" check "$work/r.bin"
has check-binary "$work/out" "binary value"
expect to-text 0 "$zt" convert "$work/r.bin" --to text -o "$work/r.zt"
expect pretty-roundtrip 0 "$zt" pretty --sorted "$roundtrip"
cp "$work/out" "$work/r-original"
expect pretty-again 0 "$zt" pretty --sorted "$work/r.zt"
same text-binary-text "$work/out" "$work/r-original"
expect lossy 0 "$zt" convert "$example" --to binary --lossy -o "$work/g.bin"
has lossy "$work/err" "warning"
head -c 1000 /dev/urandom >"$work/random.bin"
printf '\x4d\0\0\0' | cat - "$work/random.bin" >"$work/unknown.bin"
expect unknown-code 1 "$zt" convert "$work/unknown.bin" --to text -o "$work/u.zt"
has unknown-code "$work/err" "not a value file: unknown kind code 77 at byte 0"
[ -e "$work/u.zt" ] && fail "unknown-code: an output file was left"
printf '\x06\0\0\0\x02\0\0\0\x03\0\0\0' >"$work/cut.bin"
expect cut-short 1 "$zt" check "$work/cut.bin"
has cut-short "$work/err" "not a value file: a value cut short at byte 8"
expect random 1 "$zt" convert "$work/random.bin" --to text
expect random-check 1 "$zt" check "$work/random.bin"

# ---- writing: whole or nothing, standard output, full devices ----
echo "precious" >"$work/keep.zt"
printf '(a' >"$work/bad.zt"
expect keep-on-failure 1 "$zt" convert "$work/bad.zt" --to text -o "$work/keep.zt"
has keep-on-failure "$work/keep.zt" "precious"
[ -z "$(ls -A "$work" | grep '\.tmp$')" ] || fail "keep-on-failure: a temporary file was left"
expect to-stdout 0 sh -c "'$zt' convert '$roundtrip' --to binary | '$zt' convert --to text"
if [ -w /dev/full ]; then
  expect full-stdout 3 sh -c "'$zt' pretty '$example' > /dev/full"
  has full-stdout "$work/err" "No space left on device"
fi
expect closed-pipe 3 bash -c "yes '(a b c)' | head -c 3000000 | '$zt' pretty | head -c 1 >/dev/null; exit \${PIPESTATUS[2]}"
expect missing-dir 3 "$zt" convert "$example" --to text -o "$work/no/such/dir/x.zt"

# ---- JSON ----
expect to-json 0 "$zt" convert "$roundtrip" --to json -o "$work/r.json"
expect from-json 0 "$zt" convert "$work/r.json" --to text -o "$work/r2.zt"
expect json-again 0 "$zt" pretty --sorted "$work/r2.zt"
same json-roundtrip "$work/out" "$work/r-original"
printf '{"a": [1, 2,]}' >"$work/bad.json"
expect bad-json 1 "$zt" check "$work/bad.json"
has bad-json "$work/err" "bad.json:1:13: syntax error"

# ---- unification ----
expect unify 0 "$zt" unify '{cat = N, agr = {num = _n}}' "$example"
has unify "$work/out" 'lex = "dog"'
has unify "$work/out" '/* _n = pl */'
[ "$(wc -l <"$work/out")" = 2 ] || fail "unify: not the two nouns"
expect unify-count 0 "$zt" unify --count '{cat = _c}' "$example"
has unify-count "$work/out" "6"
expect unify-equal 1 "$zt" unify --equal '{cat = N, agr = {num = _n}}' "$example"
expect unify-list 0 sh -c "cat '$example' | '$zt' unify '(S . _rest)'"
has unify-list "$work/out" '(S (NP _agr) (VP _agr)) /* _rest = ((NP _agr) (VP _agr)) */'
expect unify-nothing 1 "$zt" unify '{cat = A}' "$example"
expect unify-bad-pattern 2 "$zt" unify '{cat = ' "$example"
has unify-bad-pattern "$work/err" "pattern:1:1: '{' is never closed"

# ---- treebank text ----
sentences=$(dirname "$example")/sentences.mrg
expect tree 0 "$zt" tree "$sentences"
has tree "$work/out" "    NP-SBJ-1"
has tree "$work/out" "            NP"
has tree "$work/out" "                -NONE- *T*-1"
expect tree-text 0 "$zt" tree --text "$sentences"
[ "$(wc -l <"$work/out")" = 3 ] || fail "tree-text: not one line a tree"
printf '(S (NP (DT the) (NN dog)) (VP (VBZ barks)))' >"$work/plain.mrg"
expect tree-plain 0 sh -c "'$zt' tree --text '$work/plain.mrg' > '$work/plain.zt'"
expect tree-readback 0 "$zt" check "$work/plain.zt"
has tree-readback "$work/out" "ok, 1 text value"
expect tree-list 0 "$zt" tree --list "$sentences"
has tree-list "$work/out" "(S {} -1 0 3 (NP-SBJ {} -1 0 2"
printf '(S (NP (DT the)' >"$work/open.mrg"
expect tree-open 1 "$zt" tree "$work/open.mrg"
has tree-open "$work/err" 'open.mrg:1:16: Treebank text: unexpected end, expected ")"'
expect tree-lossy 1 "$zt" convert "$work/plain.zt" --to binary
has tree-lossy "$work/err" "the tree node"
expect lexicon 0 "$zt" unify '{cat = N, agr = {num = _n}}' "$(dirname "$example")/lexicon.zt"
[ "$(wc -l <"$work/out")" = 3 ] || fail "lexicon: not the three nouns"

# ---- containers ----
mkdir -p "$work/members/deeper" && printf 'a\r\nb' >"$work/members/crlf.txt" && : >"$work/members/empty"
cp "$example" "$work/members/deeper/example.zt"
expect pack-create 0 "$zt" pack create "$work/p.pack" "$work/members/crlf.txt" "$work/members/empty" \
  "$work/members/deeper/example.zt"
expect pack-list 0 "$zt" pack list "$work/p.pack"
has pack-list "$work/out" "crlf.txt        4"
has pack-list "$work/out" "empty           0"
expect pack-extract 0 "$zt" pack extract "$work/p.pack" example.zt -o "$work/extracted.zt"
same pack-extract "$work/extracted.zt" "$example"
expect pack-extract-stdout 0 "$zt" pack extract "$work/p.pack" crlf.txt
same pack-extract-stdout "$work/out" "$work/members/crlf.txt"
[ "$(head -c 8 "$work/p.pack")" = "ZtPack 1" ] || fail "pack: no identification"
expect pack-no-member 1 "$zt" pack extract "$work/p.pack" missing
has pack-no-member "$work/err" "no member named missing"
expect pack-twice 2 "$zt" pack create "$work/q.pack" "$work/members/empty" "$work/members/empty"
[ -e "$work/q.pack" ] && fail "pack-twice: a container was left behind"
expect pack-long-name 2 "$zt" pack create "$work/q.pack" "$work/members/sixteen-chars.zt"
expect pack-missing 3 "$zt" pack list "$work/none.pack"
head -c 60 "$work/p.pack" >"$work/cut.pack"  # the directory runs past the end: no members, nothing read
expect pack-cut 0 "$zt" pack list "$work/cut.pack"
[ -s "$work/out" ] && fail "pack-cut: members listed from outside the file"

# ---- string databases ----
db="$work/lex.db"
expect db-set 0 "$zt" db "$db" set verb/go/past went
expect db-set-escaped 0 "$zt" db "$db" set 'a\/b' "$(printf 'tab\there')"
expect db-set-utf8 0 "$zt" db "$db" set verb/be "été"
expect db-get 0 "$zt" db "$db" get verb/go/past
[ "$(cat "$work/out")" = went ] || fail "db-get: $(cat "$work/out")"
expect db-get-missing 1 "$zt" db "$db" get verb/go
has db-get-missing "$work/err" "no key verb/go"
expect db-list-prefix 0 "$zt" db "$db" list verb
[ "$(cat "$work/out")" = "$(printf 'verb/be\tété\nverb/go/past\twent')" ] || fail "db-list-prefix"
expect db-list-nothing 1 "$zt" db "$db" list noun
expect db-dump 0 "$zt" db "$db" dump -o "$work/lex.dump"
[ "$(head -1 "$work/lex.dump")" = "ZtDbDump 1" ] || fail "db-dump: no first line"
has db-dump "$work/lex.dump" "$(printf 'a\\\\/b\ttab\\there')"
expect db-load 0 "$zt" db "$work/copy.db" load "$work/lex.dump"
expect db-dump-copy 0 "$zt" db "$work/copy.db" dump -o "$work/copy.dump"
same db-load "$work/lex.dump" "$work/copy.dump"
expect db-check 0 "$zt" db "$db" check
expect db-stats 0 "$zt" db "$db" stats
has db-stats "$work/out" "records       3"
expect db-delete 0 "$zt" db "$db" delete verb
expect db-delete-again 1 "$zt" db "$db" delete verb
expect db-after-delete 1 "$zt" db "$db" get verb/be
printf 'ZtDbDump 1\nk\tv\nno tab\n' >"$work/bad.dump"
expect db-load-bad 1 "$zt" db "$work/copy.db" load "$work/bad.dump"
has db-load-bad "$work/err" "Invalid dump line 3"
expect db-missing 3 "$zt" db "$work/none.db" get a
printf 'not a table, not at all, not in the least' >"$work/junk.db"
expect db-junk 1 "$zt" db "$work/junk.db" get a
has db-junk "$work/err" "Not a valid data table"
cp "$db" "$work/broken.db" && printf '\377\377\377\377' | dd of="$work/broken.db" bs=1 seek=32 conv=notrunc status=none
expect db-check-broken 1 "$zt" db "$work/broken.db" check
has db-check-broken "$work/err" "Invalid index"
expect db-no-subcommand 2 "$zt" db "$db"
expect db-example 0 "$zt" db "$work/example.db" load "$(dirname "$example")/lexicon.dump"
expect db-example-get 0 "$zt" db "$work/example.db" get 'na\/ve'
has db-example-get "$work/out" "adjective"
expect db-example-list 0 "$zt" db "$work/example.db" list be
[ "$(cat "$work/out")" = "$(printf 'be/past\twas\\twere')" ] || fail "db-example-list: $(cat "$work/out")"

# ---- components and the self-test ----
expect component 0 "$zt" component "$component" --create Sample.Greeter
has component "$work/out" "(Sample component)"
has component "$work/out" "    Sample.Counter"
has component "$work/out" "created a component through Sample.Greeter from sample_component.$ext"
printf '\n  %s  \n%s/missing.$ext\n' "$component" "$work" >"$work/components.lst"
expect component-list 0 "$zt" component --list "$work/components.lst"
has component-list "$work/out" "Sample.Greeter"
mkdir -p "$work/plugins" && cp "$component" "$work/plugins/"
expect component-dir 0 "$zt" component --dir "$work/plugins"
has component-dir "$work/out" "sample_component.$ext  (Sample component)"
expect component-none 1 "$zt" component "$work/missing.$ext"
has component-none "$work/err" "not a component library"
expect component-no-interface 1 "$zt" component "$component" --create Sample.Nothing
has component-no-interface "$work/err" "no loaded library offers Sample.Nothing"
expect selftest 0 "$zt" selftest
has selftest "$work/out" "5 testers, 0 failed"
expect selftest-one 0 "$zt" selftest TASKS
has selftest-one "$work/out" "tasks      PASS"
expect selftest-unknown 2 "$zt" selftest nothing

# ---- the README's example of the text form ----
awk '/^Values in the text form/{f=1} f&&/^```$/{n++; if(n==2) exit; next} f&&n==1' "$readme" >"$work/readme.zt"
[ -s "$work/readme.zt" ] || fail "readme: the text block was not found"
expect readme 0 "$zt" check "$work/readme.zt"

[ "$failures" -eq 0 ] && echo "zt command line: all cases passed"
exit $((failures > 0))
