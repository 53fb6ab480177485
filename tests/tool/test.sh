#!/usr/bin/env bash
# The tool from a shell's side: what it writes, what it leaves behind, how it ends.
# usage: test.sh CONTENTCODE
set -uo pipefail
tool=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
failures=0
[ -x "$tool" ] || exit 1

fail() { echo "failed: $*"; failures=$((failures + 1)); }
same() { cmp "$2" "$3" || fail "$1"; }
status() { # status WANTED WHAT COMMAND...
    "${@:3}" >out 2>err
    local got=$?
    [ "$got" = "$1" ] || fail "$2: status $got"
}
says() { grep -qF -- "$1" err || { fail "no \"$1\" in:"; cat err; }; }

# Around a group, a line, the chunks that the tool reads (196593 bytes in lines of 76, 196608
# without lines), and a block of memory.
for n in 0 1 2 3 56 57 58 114 196592 196593 196594 196607 196608 196609 393186 393216 1048577; do
    head -c $n /dev/zero | tr '\0' "$((n % 10))" >in
    base64 -w 0 in >flat
    "$tool" encode base64 --break none in | cmp - flat || fail "unwrapped, $n bytes"
    "$tool" encode base64 --url <in | tr -- -_ +/ | cmp - flat || fail "URL-safe, $n bytes"
    # A stream ends a full last line and then the text.
    { base64 -w 76 in | sed 's/$/\r/' && [ $((n % 57)) = 0 ] && [ $n != 0 ] && printf '\r\n'; } >lines
    "$tool" encode base64 in -o out && same "wrapped, $n bytes" out lines
    base64 -w 20 in | sed 's/$/\&#xD;\r/; $s/&#xD;\r/\r/' >lines
    "$tool" encode base64 --wrap 17 --break entity in | cmp - lines || fail "entities, $n bytes"
    sed "s/&#xD;//" lines | "$tool" decode base64 -o back && same "decoded, $n bytes" back in
done
head -c 100000 /dev/urandom >in
"$tool" encode base64 --url in | "$tool" decode base64 --url | cmp - in || fail "URL-safe and back"

cat >mail <<'END'
From the start: Größe, naïve, "€ 5 = 5" and a tab at the end	
.hidden dot, trailing blanks   

END
{ cat mail; head -c 3000 /dev/zero | tr '\0' x; printf ' \nFrom here\n'; } | sed 's/$/\r/' >letter
"$tool" encode qp letter -o out && grep -q '^=46rom the start: Gr=C3=B6=C3=9Fe' out || fail "qp"
[ "$(tr -d '\r' <out | wc -L)" = 76 ] || fail "qp lines"
"$tool" decode qp out | cmp - letter || fail "qp and back"
"$tool" encode qp --wrap 20 letter | "$tool" decode qp | cmp - letter || fail "short qp lines"
printf '=0020AC;' | "$tool" decode qp --unicode-escapes | grep -qF '&#8364;' || fail "unicode escapes"
printf 'v=1; a' | "$tool" encode dkim-qp | grep -qF 'v=3D1=3B=20a' || fail "dkim-qp"
printf 'v =3D\n 1' | "$tool" decode dkim-qp | grep -qF 'v=1' || fail "dkim-qp decoded"
: | "$tool" decode qp >out && [ ! -s out ] || fail "empty qp"
printf '\0' >nul
status 1 "a NUL first" "$tool" decode qp nul -o none && says "nul: starts with a NUL"

# Header values in their charsets, to words and back to UTF-8.
while IFS='|' read -r charset text; do
    printf '%s\n' "$text" >utf8
    iconv -f utf-8 -t "$charset" utf8 >value || fail "iconv $charset"
    for scheme in b q auto; do
        "$tool" header encode --fold --scheme $scheme --charset "$charset" value >out || fail "header encode $charset"
        LC_ALL=C grep -q '[^ -~]' < <(tr -d '\r' <out) && fail "not ASCII: $charset $scheme"
        "$tool" header decode out | cmp - utf8 || fail "header $charset $scheme"
    done
    "$tool" word encode --charset "$charset" value | "$tool" header decode --each-line | cmp - utf8 || fail "word $charset"
done <<'END'
utf-8|Größe der Bestellung № 42 — 数量と価格、доставка завтра, πληρωμή σήμερα 🙂🙂🙂🙂🙂🙂🙂🙂🙂🙂🙂
iso-8859-1|Réservation confirmée: café à Besançon
iso-8859-2|Zażółć gęślą jaźń, příliš žluťoučký kůň
iso-8859-9|İstanbul'da görüşmek üzere, değişiklik yok
windows-1251|Съешь же ещё этих мягких французских булок, да выпей чаю
koi8-r|Съешь же ещё этих мягких французских булок
windows-1256|نص عربي للاختبار
iso-2022-jp|日本語の件名を折り返して書くための、とても長い見出しです。日本語の件名を折り返して書く
shift_jis|日本語の件名です
euc-kr|한국어 제목입니다
gb2312|中文标题测试
big5|中文標題測試
END
printf 'a\r\n =?utf-8?Q?b?=\r\n\t=?utf-8?Q?c=0Ad?=\n' >folded
"$tool" header decode folded | cmp - <(printf 'a bc\nd\n') || fail "unfolding"
"$tool" header decode --raw < <(printf '=?koi8-r?Q?=C1?=') | cmp - <(printf '\301') || fail "raw"
printf '=?utf-8?Q?a=0Ab?=\r\nplain\n\n=?x?B?Yw=?=' | "$tool" header decode --each-line |
    cmp - <(printf 'a b\r\nplain\n\nc') || fail "each line"
printf "iso-8859-1''caf%%E9\nutf-8''%%e2%%82%%ac" | "$tool" param decode --each-line | cmp - <(printf 'café\n€') || fail "param"
printf 'caf%%E9' | "$tool" param decode --charset iso-8859-1 | cmp - <(printf café) || fail "param charset"
printf 'a, b' | "$tool" word encode --encode-commas | grep -qx '=?utf-8?Q?a=2C_b?=' || fail "commas"
printf '=?us-ascii?Q?=E9?=' >faulty
status 0 "a word with faults" "$tool" header decode faulty && says "faulty: " && says "Errors in decoding"
status 2 "unknown charset" "$tool" header encode --charset nope folded && says "unknown charset: nope"
"$tool" charsets | grep -q "^65001$(printf '\t')" || fail "charsets"

head -c 999 in >short
for format in base32 base58 ascii85 "ascii85 --frame" eda; do
    # shellcheck disable=SC2086
    "$tool" encode $format short -o out && { cat out && echo; } | "$tool" decode ${format% *} | cmp - short ||
        fail "$format and back"
    printf 'one\r\n\ntwo' >lines
    # shellcheck disable=SC2086
    "$tool" encode $format --each-line lines | "$tool" decode ${format% *} --each-line | cmp - lines || fail "$format lines"
done
printf 'Hello World!' | "$tool" encode base58 | grep -qx 2NEpo7TZRRrLZSi2U || fail "base58"
printf 'Man ' | "$tool" encode ascii85 --frame | grep -qxF '<~9jqo^~>' || fail "ascii85"
printf 'ab\n0' >bad
status 1 "base58" "$tool" decode base58 --each-line bad && says "bad:2: base58 decode error 2"
printf 'uuuuu' >bad
status 1 "ascii85" "$tool" decode ascii85 bad -o none && says "bad: Invalid ascii85 input: integer overflow."
printf 'a\0b' >bad
status 1 "a NUL" "$tool" decode base32 bad -o none && says "bad: there is a NUL"

printf '{"documents": [{"a": 1.50}, {}]}\n' >invoice
"$tool" itida invoice | grep -qxF '"DOCUMENTS""DOCUMENTS""A""1.50""DOCUMENTS"' || fail "itida"
"$tool" itida --first-document <invoice -o out && printf '"A""1.50"' | cmp - out || fail "first document"
printf '{\n  "documents": [1]}' >bad
status 1 "no first document" "$tool" itida --first-document bad -o none &&
    says 'bad: the first element of "documents" is missing or not an object'
printf '{\n  "a": [1 2]}' >bad
status 1 "not JSON" "$tool" itida bad -o none && says 'bad:2:11: expected "," or "]"'
# 186 KB that would make 4 GB, and a form at its limit.
{ printf '{"%090000d":[1' 0 && head -c 48000 /dev/zero | sed 's/\x0/,1/g' && printf ']}'; } >hostile
while read -r limit option; do
    # shellcheck disable=SC2086
    status 1 "a form over $limit" "$tool" itida $option hostile -o none &&
        says "hostile: the canonical form would be longer than $limit bytes (see --max-output)"
done <<'END'
268435456
67108864 --max-output 64M
92160 --max-output=90K
0 --max-output 0
4294967295 --max-output 4GiB
END
status 0 "a form at its limit" "$tool" itida invoice --max-output 42
status 1 "a form over its limit" "$tool" itida invoice --max-output 41 -o none

cp in kept && "$tool" encode base64 kept -o kept && base64 -d -i kept | cmp - in || fail "in place"
ln -s target link && "$tool" encode base64 in -o link
[ -L link ] && fail "a dangling link is replaced"
: >target && chmod 640 target && ln -sf target link && "$tool" encode base64 in -o link
[ -L link ] && [ -s target ] && [ "$(stat -c %a target)" = 640 ] || fail "a link's target is replaced"

status 0 "Base64 text" "$tool" check base64 target
printf 'QQ-=' >bad
status 1 "other text" "$tool" check base64 bad && says "bad: not Base64 text"
status 0 "in range" "$tool" check base64 --range bad
printf '\377\376Q\0=\0' >utf16
status 0 "UTF-16" "$tool" check base64 --utf16le utf16
truncate -s 1431655766 long
status 1 "too long" "$tool" decode base64 long -o none && says "long: too long"

status 0 "help" "$tool" encode base64 --help
grep -q -- --wrap out || fail "help tells the options"
status 0 "version" "$tool" --version
status 0 "formats" "$tool" formats
grep -q '^base64' out || fail "formats lists base64"
for wrong in "" "encode" "encode nothing" "encode base64 --wrap 9" "encode base64 --break cr" \
    "encode base64 --url --wrap 80" "encode base64 --break none --wrap 80" "encode base64 a b" "formats x" "encode qp --wrap 9" "header" "header encode --fold --each-line" \
    "itida --max-output -1" "itida --max-output 5G" "itida --max-output 1X" "itida --max-output"; do
    # shellcheck disable=SC2086
    status 2 "usage: $wrong" "$tool" $wrong
    [ -s err ] || fail "a message for: $wrong"
done

status 3 "no such file" "$tool" encode base64 missing -o none && says "missing: No such file"
status 3 "a folder to read" "$tool" decode base64 . -o none
status 3 "a folder to write" "$tool" encode base64 in -o . && says ".: Is a directory"
status 3 "no folder to write in" "$tool" encode base64 in -o no/file && says "no/file: No such file"
status 3 "a full disk" "$tool" encode base64 in -o /dev/full && says "/dev/full: No space left"
"$tool" encode base64 in >/dev/full 2>err && fail "a full standard output"
says "standard output: No space left"
"$tool" --help >/dev/full 2>err && fail "help to a full standard output"
yes | "$tool" encode base64 2>err | head -c 1 >/dev/null
[ "${PIPESTATUS[1]}" = 3 ] || fail "a reader that went away: ${PIPESTATUS[*]}"
says "Broken pipe"

status 3 "closed standard input" bash -c '"$1" encode base64 -o none <&-' - "$tool" && says "standard input: Bad file"
(ulimit -f 10 && "$tool" encode base64 in -o none 2>err)
[ $? = 3 ] && says "none: File too large" || fail "a file at its limit"
truncate -s 3000000000 sparse && printf 'QQ==' >>sparse
{ dd iflag=skip_bytes skip=3000000000 count=0 status=none && "$tool" decode base64; } <sparse >out
[ "$(cat out)" = A ] || fail "what is left of a file"

mkfifo pipe
exec 9<>pipe
"$tool" encode base64 pipe -o interrupted &
head -c 300000 /dev/zero >&9
until [ -n "$(find . -name '.contentcode-*')" ]; do sleep 0.01; done
kill -TERM $!
wait $!
[ $? = 143 ] || fail "interrupted: status $?"
exec 9>&-
left=$(find . -name none -o -name interrupted -o -name '.contentcode-*')
[ -z "$left" ] || fail "left behind: $left"

[ $failures = 0 ] && echo "all fine"
exit $((failures > 0))
