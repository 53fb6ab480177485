#!/usr/bin/env bash
# The tool from a shell's side: what it writes, what it leaves behind, how it ends.
# usage: test.sh CONTENTCODE
#        test.sh CONTENTCODE heavy      what takes gigabytes of memory
set -uo pipefail
tool=$1
work=$(mktemp -d)
trap 'chmod -R u+w "$work"; rm -rf "$work"' EXIT
chmod 711 "$work"
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
skip() { echo "skipped: $*"; }

if [ "${2-}" = heavy ]; then
    # Any length, both ways, in little memory.
    (ulimit -v 300000 && head -c 5G /dev/zero | "$tool" base64 | "$tool" base64 -d | cmp -n 5368709120 - /dev/zero) || fail "5 GiB by a pipe"
    exit $((failures > 0))
fi

# As somebody who may not change /dev, nor what others own: a faulty tool must not replace a device.
mine=()
if [ "$(id -u)" = 0 ]; then mine=(setpriv --reuid=65534 --regid=65534 --clear-groups); fi
"${mine[@]}" "$tool" --version >/dev/null || { skip "what needs an ordinary user: cannot be run as one" && mine=(false); }

# Around a group, a line, and the pieces that the tool reads (262144 bytes).
for n in 0 1 2 3 56 57 58 114 262142 262143 262144 262145 1048577; do
    head -c $n /dev/urandom >in
    base64 -w 0 in >flat
    "$tool" encode base64 --break none in | cmp - flat || fail "unwrapped, $n bytes"
    "$tool" encode base64 -w0 in | cmp - flat || fail "without lines, $n bytes"
    "$tool" base64url <in | cmp - <(tr -d = <flat | tr +/ -_) || fail "URL-safe, $n bytes"
    base64 in >lines
    "$tool" encode base64 in -o out && same "wrapped, $n bytes" out lines
    "$tool" base64 --no-newline in | cmp - <(head -c -1 lines) || fail "without the last line end, $n bytes"
    sed 's/$/\r/' lines | cmp - <("$tool" encode base64 --crlf in) || fail "CRLF, $n bytes"
    base64 -w 16 in | sed 's/$/\&#xD;\r/' >lines
    "$tool" encode base64 --wrap 17 --break entity in | cmp - lines || fail "entities, $n bytes"
    base64 in | "$tool" decode base64 -o back && same "decoded, $n bytes" back in
    base64 -w 20 in | sed 's/$/-*/' | "$tool" base64 -d -i | cmp - in || fail "garbage ignored, $n bytes"
done
head -c 100000 /dev/urandom >in
cp in again
"$tool" base64url in | "$tool" base64url -d | cmp - in || fail "URL-safe and back"
for way in "base32 -w72" "basenc --base16 -w76" "basenc --base32hex -w72"; do
    name=${way% -w*} && name=${name#basenc --}
    "$tool" "$name" in | cmp - <($way in) || fail "$way"
done
base64 in again -w0 2>/dev/null || base64 -w0 in >both
base64 -w0 in >>both
"$tool" encode base64 -w0 in again | cmp - both || fail "two files"

# A fault has its place and its character, and nothing is written to a file.
while IFS='|' read -r format text place; do
    # shellcheck disable=SC2059
    printf "$text" >bad
    status 1 "$format $text" "$tool" decode "$format" bad -o none && says "contentcode: bad:$place"
    status 1 "check $format $text" "$tool" check "$format" bad && says "contentcode: bad:$place"
    grep -qF "$place" err && [ ! -e none ] || fail "$format $text leaves a file"
done <<'END'
base64|S=G=V|1:1: the last group is too short
base64|SGVs\nbG8!\n|2:4: a character that does not belong here: "!"
base64|SGVsbG8\n|2:1: padding is missing, surplus or misplaced (at the end)
base64|SGVsbG9=|1:7: the last character has bits that belong to no byte: "9"
base64url|ab+d|1:3: a character that does not belong here: "+"
base32|MFRGG\n0|2:1: a character that does not belong here: "0"
base16|4a4|1:3: the last group is too short
qp|a\nb=4x|2:2: an escape without two hexadecimal digits: "="
dkim-qp|a=4x|1:2: an escape
base58|123l4|1:4: a character that does not belong here: "l"
base58|1\n\377|2:1: a character that does not belong here
ascii85|uuuuu|1:1: a group of digits is larger
ascii85|abcde\nab\377|2:3: a character that does not belong here
eda|ABC!|1:4: a character that does not belong here: "!"
base32|a\0b|1:1: a letter in the wrong case
END
{ head -c 600000 in | base64 && printf '\303\251!'; } >bad
status 1 "a fault far inside" "$tool" base64 -d bad -o none && says 'bad:1756:1: the text goes on after its end: "é"'
printf 'SGVs\nbG8!\n' >bad
status 0 "lenient" "$tool" base64 -d --lenient bad && says 'bad:2:4: a character that does not belong here: "!" (forgiven, and perhaps more)'
[ "$(cat out)" = Hello ] || fail "lenient: $(cat out)"
status 0 "lenient about nothing" "$tool" base64 -d --lenient --text SGk= && [ ! -s err ] || fail "forgiven without need"
[ "$("$tool" base32 --text hi)" = NBUQ==== ] || fail "a text on the command line"
head -c 70000 /dev/zero >long
status 1 "long Base58" "$tool" base58 long && says "long: the input is over its limit"
status 0 "longer Base58" "$tool" base58 --max-input 100K long

cat >mail <<'END'
From the start: Größe, naïve, "€ 5 = 5" and a tab at the end	
.hidden dot, trailing blanks   

END
{ cat mail; head -c 3000 /dev/zero | tr '\0' x; printf ' \nFrom here\n'; } >letter
"$tool" qp letter -o out && grep -q '^=46rom the start: Gr=C3=B6=C3=9Fe' out && grep -q '^=2Ehidden' out || fail "qp"
[ "$(wc -L <out)" = 76 ] && ! grep -q $'\r' out || fail "qp lines"
"$tool" qp -d out | cmp - letter || fail "qp and back"
"$tool" qp --crlf letter | "$tool" decode qp --crlf | cmp - <(sed 's/$/\r/' letter) || fail "qp with CRLF and back"
"$tool" qp --binary in | "$tool" qp -d | cmp - in || fail "binary qp"
/usr/bin/python3 -m quopri -d out 2>/dev/null | cmp - letter || skip "quopri: no Python"
"$tool" encode qp --wrap 20 letter | "$tool" decode qp | cmp - letter || fail "short qp lines"
printf 'v=1; a' | "$tool" encode dkim-qp | grep -qF 'v=3D1=3B=20a' || fail "dkim-qp"
printf 'v =3D\n 1' | "$tool" decode dkim-qp | grep -qF 'v=1' || fail "dkim-qp decoded"
: | "$tool" decode qp >out && [ ! -s out ] || fail "empty qp"

# Header values in their charsets, to words and back to UTF-8.
while IFS='|' read -r charset text; do
    printf '%s\n' "$text" >utf8
    for scheme in b q auto; do
        "$tool" header encode --name Subject --scheme $scheme --charset "$charset" utf8 >out || fail "header encode $charset"
        LC_ALL=C grep -q '[^ -~]' out && fail "not ASCII: $charset $scheme"
        [ "$(wc -L <out)" -le 76 ] && grep -qi "=?$charset?" out || fail "header lines: $charset $scheme"
        tail -c +10 out | "$tool" header decode | cmp - utf8 || fail "header $charset $scheme"
    done
    "$tool" header encode --each-line <utf8 | "$tool" header decode --each-line | cmp - utf8 || fail "each line $charset"
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
printf 'a\r\n =?utf-8?Q?b?=\r\n\t=?utf-8?Q?c=C3=A9?=\n' >folded
"$tool" header decode folded | cmp - <(printf 'a bcé\n') || fail "unfolding"
printf 'plain\r\n\n=?x?B?Yw=?=' | "$tool" header decode --each-line 2>err | cmp - <(printf 'plain\r\n\nc') || fail "each line"
says "standard input:3:1:7: an unknown charset"
cat >message <<'END'
Subject: =?utf-8?Q?Gr=C3=BC?=
 =?utf-8?Q?=C3=9Fe?=
Content-Type: text/plain; charset=utf-8
CONTENT-transfer-encoding: Quoted-Printable

caf=C3=A9 =
au lait
END
"$tool" header decode message | head -n 2 | cmp - <(printf 'Subject: Grüße\nContent-Type: text/plain; charset=utf-8\n') || fail "a block"
head -n 2 message | "$tool" header decode --block | cmp - <(echo 'Subject: Grüße') || fail "a block of one"
"$tool" body message | cmp - <(printf 'café au lait\r\n') || fail "body"
sed 's/quoted-printable/base64/I; s/au lait/-/; s/caf.*/Y2Fm/' message | "$tool" body | cmp - <(printf caf) || fail "Base64 body"
sed 's/quoted-printable/uuencode/I' message >bad
status 1 "an unknown encoding" "$tool" body bad -o none && says "an unknown encoding"
sed 's/text.plain/multipart\/mixed/' message >bad
status 1 "several parts" "$tool" body bad -o none && says "bad: a message of several parts (multipart/mixed); this decodes the body of a message with one"
status 1 "no message" "$tool" body mail -o none && says "mail: not a message"
disposition="attachment; filename*0*=utf-8''Pr%C3%BC; filename*1*=fung.pdf; size=3"
"$tool" param decode --text "$disposition" | cmp - <(printf 'attachment\nfilename: Prüfung.pdf\nsize: 3\n') || fail "param decode"
[ "$("$tool" param decode --name FileName --text "$disposition")" = Prüfung.pdf ] || fail "one parameter"
status 1 "no such parameter" "$tool" param decode --name x --text "$disposition" && says "no parameter x"
for form in extended words twin; do
    "$tool" param encode --form $form --text 'Prüfung "1" %.pdf' | "$tool" param decode --name filename | grep -qxF 'Prüfung "1" %.pdf' || fail "param $form"
done
"$tool" address decode --text '=?utf-8?Q?M=C3=BCller=2C?= <a@b>, "x <y@z>" <c@d>' | cmp - <(printf 'a@b\tMüller,\nc@d\tx <y@z>\n') || fail "addresses"
[ "$("$tool" address encode --name 'Doe, John' --text j@d)" = '"Doe, John" <j@d>' ] || fail "address encode"
status 1 "a bad address" "$tool" address encode --text 'j@d>' -o none && says '--text:1:4: a syntax error'
printf '=?us-ascii?Q?=E9?=' >faulty
status 0 "a word with faults" "$tool" header decode faulty && says "faulty:1:14: bytes that are not text in their charset"
"$tool" header decode --json faulty | grep -qF '{"text":"é","defects":[{"offset":13,"message":"bytes that' || fail "JSON"
status 2 "unknown charset" "$tool" header encode --charset nope folded && says "unknown charset: nope"
"$tool" charsets | grep -qx KOI8-R || fail "charsets"

head -c 999 in >short
for format in base32 base32hex base16 base58 ascii85 "ascii85 --frame" eda; do
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
status 1 "base58" "$tool" decode base58 --each-line bad && says 'bad:2:1:1: a character that does not belong here: "0"'
"$tool" decode base58 < <(printf ab) | cmp - <(head -c -1 out) || fail "the lines before a bad one are written"
status 1 "a file with a bad line" "$tool" decode base58 --each-line bad -o none
for end in '\n' '\r'; do
    # shellcheck disable=SC2059
    printf "a${end}b" | "$tool" encode base32 >bad
    status 1 "a line end in a line" "$tool" decode base32 --each-line bad && says "bad:1: the result holds a line end"
    [ -s out ] && fail "a line end in a line is written"
done

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
status 0 "help" "$tool" encode base64 --help
grep -q -- '--wrap N.*=76' out && grep -q -- '--break KIND.*=lf' out || fail "help lists the options"
grep -q '141 (SIGPIPE' out || fail "help lists the statuses"
for command in {encode,decode,check}\ {base64,base64url,qp,dkim-qp,base32,base32hex,base16,base58,ascii85,eda} \
    base64 base64url qp dkim-qp base32 base32hex base16 base58 ascii85 eda {header,param,address}\ {encode,decode} \
    body itida charsets formats encode decode check header param address; do
    # shellcheck disable=SC2086
    examples=$("$tool" $command --help | grep '^  .*contentcode ') || fail "an example of $command"
    grep -v "contentcode $command\( \|$\)" <<<"$examples" && fail "examples of others: $command"
done
while IFS='|' read -r wrong group nearest; do
    # shellcheck disable=SC2086
    status 2 "wrong: $wrong" "$tool" $wrong in
    says "\"${wrong##* }\" is not a command of \"contentcode$group\"; the nearest is \"contentcode $nearest\""
done <<'END'
encdoe||encode
Base58||encode base58
decode asci85| decode|decode ascii85
header decoed| header|header decode
END
status 0 "version" "$tool" --version
status 0 "formats" "$tool" formats
grep -q '^base64' out || fail "formats lists base64"
for wrong in "" "encode" "encode nothing" "encode base64 --wrap -1" "encode base64 --break cr" \
    "encode base64 --crlf --break lf" "base64 -d --check" "base64 -d -i --lenient" "formats x" "check base64 -o x" "header" "header decode --block --each-line" \
    "itida --max-output -1" "itida --max-output 5G" "itida --max-output 1X" "itida --max-output"; do
    # shellcheck disable=SC2086
    status 2 "usage: $wrong" "$tool" $wrong
    [ -s err ] || fail "a message for: $wrong"
done

status 3 "no such file" "$tool" encode base64 missing -o none && says "missing: No such file"
status 3 "a folder to read" "$tool" decode base64 . -o none
status 3 "a folder to write" "$tool" encode base64 in -o . && says ".: Is a directory"
status 3 "no folder to write in" "$tool" encode base64 in -o no/file && says "no/file: No such file"
(trap '' PIPE && yes 2>out | "$tool" encode base64 2>err | head -c 1 >/dev/null
[ "${PIPESTATUS[1]}" = 141 ]) || fail "a reader that went away"
[ -s err ] && fail "a message about a reader that went away"

# Untrusted text in messages.
while IFS='|' read -r raw shown; do
    # shellcheck disable=SC2059
    { printf -v name "$raw"; printf "contentcode: $shown: No such file or directory\n" >wanted; }
    status 3 "the name $raw" "$tool" encode base64 "$name" && same "the name $raw" err wanted
done <<'END'
a\nb\rc\td\e[31m\x01\x1f\x7f|a\\x0Ab\\x0Dc\\x09d\\x1B[31m\\x01\\x1F\\x7F
\xc2\x80\xc2\x9b\xc2\x9f\xc2\xa0|\\u0080\\u009B\\u009F\xc2\xa0
\xe2\x80\xa7\xe2\x80\xa8\xe2\x80\xa9\xe2\x80\xaa\xe2\x80\xae\xe2\x80\xaf|\xe2\x80\xa7\\u2028\\u2029\\u202A\\u202E\xe2\x80\xaf
\xe2\x80\x8d\xe2\x80\x8e\xe2\x80\x8f\xd8\x9b\xd8\x9c|\xe2\x80\x8d\\u200E\\u200F\xd8\x9b\\u061C
\xe2\x81\xa5\xe2\x81\xa6\xe2\x81\xa9\xe2\x81\xaa|\xe2\x81\xa5\\u2066\\u2069\xe2\x81\xaa
~ \\ \xc3\xa9\xe2\x82\xac\xf0\x9f\x99\x82\xf4\x8f\xbf\xbf|~ \\ \xc3\xa9\xe2\x82\xac\xf0\x9f\x99\x82\xf4\x8f\xbf\xbf
\x9b1m\xe9t\xe9|\\x9B1m\xe9t\xe9
\xc0\x9b\xe0\x82\x9b\xed\xa0\x80\xf4\x90\x80\x80\xf8\x88\x80|\xc0\\x9B\xe0\\x82\\x9B\xed\xa0\\x80\xf4\\x90\\x80\\x80\xf8\\x88\\x80
\xe2\x80|\xe2\\x80
END
for where in "encode base64 in -o no/" "encode " "encode base64 in " "encode base64 --wrap=" "encode base64 --" "header encode --charset="; do
    # shellcheck disable=SC2086
    "$tool" $where$'\e[31m\302\233\nfine' <in >out 2>err
    grep -qF '\x1B[31m\u009B\x0Afine' err && ! LC_ALL=C grep -q $'[\001-\037\302]' err || { fail "raw: $where"; cat -v err; }
done

# On a terminal: controls in decoded text, and the progress line, which Ctrl-C removes.
printf '=?utf-8?Q?a=1B=0A=E2=80=AE=09b?=\n' >value
printf 'a\tb\n' >raw
"$tool" header decode value 2>err | cmp - raw && says "value:1:11: a control character" || fail "controls in decoded text"
mkfifo pipe keys
exec 9<>pipe 8<>keys
if script -qec true /dev/null </dev/null >/dev/null 2>&1; then
    timeout 30 script -qfec "'$tool' encode base64 pipe -o interrupted" typescript <&8 >/dev/null &
    run=$!
    for ((i = 0; i < 1000; ++i)); do
        grep -qs '0 MiB' typescript && break
        printf x >&9
        sleep 0.01
    done
    printf '\003' >&8
    wait $run # which "timeout" ends
    grep -q '0 MiB' typescript && grep -qF $'\r\e[K' typescript || { fail "the progress line"; cat -v typescript; }
else
    skip "what is shown on a terminal: \"script\" does not run"
fi
exec 8>&- 9>&-
exec 9<>pipe

# Files that are there already, and open descriptors.
(umask 027 && "$tool" encode base64 in -o new) && [ "$(stat -c %a new)" = 640 ] || fail "the mode of a new file"
printf old >special && { [ "$(id -u)" != 0 ] || chown 65534:65534 special; } && chmod 6754 special
owner=$(stat -c %u:%g special)
"$tool" encode base64 in -o special && [ "$(stat -c '%u:%g %a' special)" = "$owner 754" ] || fail "owner and mode: $(stat -c '%u:%g %a' special)"
ln -s /proc/self/fd/1 standard
for way in standard ./standard /proc/self/fd/1 /dev/fd/1 /dev/stdout; do
    if [[ $way == /dev/* ]]; then as=("${mine[@]}"); else as=(); fi
    [ "${as[*]}" = false ] && continue
    echo kept >log
    printf a | "${as[@]}" "$tool" encode base32 -o $way >>log || fail "$way: status"
    [ "$(tr '\n' ' ' <log)" = "kept ME====== " ] || fail "$way: $(cat log)"
done
printf a | "$tool" encode base32 -o standard | grep -qx ME====== || fail "a descriptor that is a pipe"
printf a | "$tool" encode base32 -o /proc/self/fd/5 5>out && grep -qx ME====== out || fail "descriptor 5"
status 3 "a descriptor that is closed" "$tool" encode base64 in -o /proc/self/fd/77 && says "/proc/self/fd/77: "
printf a | "$tool" encode base32 -o pipe && [ "$(head -c 8 <&9)" = ME====== ] || fail "a pipe with a name"

if [ "${mine[*]}" != false ]; then
    mkdir -m 777 open && mkdir shut && mkdir -m 1777 sticky
    for file in open/protected open/group sticky/file shut/file; do printf old >$file; done
    chmod 444 open/protected && chmod 666 sticky/file shut/file && chmod 672 open/group && chmod 555 shut
    status 3 "a protected file" "${mine[@]}" "$tool" encode base64 short -o open/protected && says "open/protected: Permission denied"
    [ "$(cat open/protected)" = old ] || fail "a protected file is replaced"
    for file in shut/file sticky/file; do
        before=$(stat -c '%u %a' $file)
        status 1 "a bad input" "${mine[@]}" "$tool" decode base58 short -o $file && [ "$(cat $file)" = old ] || fail "$file: lost"
        status 0 "$file" "${mine[@]}" "$tool" encode base64 --break none $file -o $file
        [ "$(cat $file)" = b2xk ] && [ "$(stat -c '%u %a' $file)" = "$before" ] || fail "$file: $(cat $file)"
    done
    if [ "$(id -u)" = 0 ]; then
        "${mine[@]}" "$tool" encode base64 short -o open/group && [ "$(stat -c '%u %a' open/group)" = "65534 622" ] ||
            fail "another group: $(stat -c '%u %a' open/group)"
    else
        skip "files of other owners: not the superuser"
    fi
    chmod 755 shut
    status 3 "a full disk" "${mine[@]}" "$tool" encode base64 short -o /dev/full && says "/dev/full: No space left"
    "${mine[@]}" "$tool" encode base64 <in >/dev/full 2>err && fail "a full standard output"
    says "standard output: No space left"
    "${mine[@]}" "$tool" --help >/dev/full 2>err && fail "help to a full standard output"
fi

status 3 "closed standard input" bash -c '"$1" encode base64 -o none <&-' - "$tool" && says "standard input: Bad file"
(ulimit -f 10 && "$tool" encode base64 in -o none 2>err)
[ $? = 3 ] && says "none: File too large" || fail "a file at its limit"
truncate -s 3000000000 sparse && printf 'QQ==' >>sparse
{ dd iflag=skip_bytes skip=3000000000 count=0 status=none && "$tool" decode base64; } <sparse >out
[ "$(cat out)" = A ] || fail "what is left of a file"

cp in cut && { cat >/dev/null && : >cut && "$tool" decode base64; } <cut >out && [ ! -s out ] || fail "a position behind the end"

# No other file takes the place of a closed descriptor.
"$tool" header decode faulty -o wanted 2>err && "$tool" header decode faulty -o out 2>&- && same "closed standard error" out wanted
"$tool" header decode faulty -o out <&- >&- 2>&- && same "all closed" out wanted
(exec 1>&- && "$tool" formats) 2>err
[ $? = 3 ] && says "standard output: Bad file" || fail "closed standard output"

# Starts a run that waits for input, until its temporary file is there.
begin() { # begin COMMAND-PREFIX...
    "$@" "$tool" encode base64 pipe -o interrupted &
    run=$!
    for ((i = 0; i < 1000; ++i)); do
        [ -n "$(find . -name '.contentcode-*')" ] && return
        kill -0 $run || break
        sleep 0.01
    done
    fail "no temporary file"
    kill -KILL $run
}
# Waits for the run, but not for ever; gives its status.
end() {
    for ((i = 0; i < 1000; ++i)); do
        kill -0 $run 2>/dev/null || break
        sleep 0.01
    done
    kill -KILL $run 2>/dev/null
    wait $run
}
for signal in HUP INT QUIT PIPE ALRM TERM USR1 USR2 XCPU VTALRM PROF; do
    begin env --default-signal
    kill -$signal $run
    end
    [ $? = $((128 + $(kill -l $signal))) ] || fail "$signal"
    left=$(find . -name '.contentcode-*')
    [ -z "$left" ] || { fail "$signal leaves $left" && rm "$left"; }
done 2>/dev/null
begin env --ignore-signal=HUP
kill -HUP $run
kill -TERM $run
end
[ $? = 143 ] || fail "an ignored signal is caught"
exec 9>&-
left=$(find . -name none -o -name interrupted -o -name '.contentcode-*')
[ -z "$left" ] || fail "left behind: $left"

# Files are on the disk before they get their names.
nm -D "$tool" | grep -q ' fsync' || fail "no fsync"

[ $failures = 0 ] && echo "all fine"
exit $((failures > 0))
