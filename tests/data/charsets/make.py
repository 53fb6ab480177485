#!/usr/bin/env python3
"""Writes vectors.txt: one line for each charset, with its name, bytes, and the same text in UTF-8.

The text is made by Python's codecs; where Python has none, by the iconv command of the C library.
Single-byte charsets are complete, of the others there is a sample. Characters
that do not survive a round trip are left out, and so are those listed below.
"""
import pathlib
import subprocess

# Left out: characters that Python or iconv map in another way than the tables in use, and why.
LEFT_OUT = {
    # The tables permute the controls SUB, FS and DEL, as IBM's graphic set does.
    "dos": "\x1a\x1c\x7f",
    # E6 is the Greek letter in IBM's tables, the micro sign in Python's.
    "dos-mu": "\u00b5",
    "IBM852": "\u00ac",  # AA is unassigned in IBM's table
    "IBM864": "\u066a\ufec1\ufec5\u0651",  # 25 and isolated Arabic forms: an older IBM table
    "IBM869": "\u00b7\u0384",  # the ano teleia and the plain acute in IBM's table
    "DOS-720": "\x80\x81\x84\x86\x8d\x8e\x8f\x90",  # unassigned, Python has controls
    "IBM1026": "\u00aa",  # the place of the Turkish lira sign since 2012
    "IBM273": "\u203e",  # macron in IBM's table
    "IBM424": "\u00b7\u00af",  # bullet and overline in IBM's table
    "IBM278": "\u00c9\\",  # the C library has the two exchanged
    "IBM285": "\u203e",  # macron in IBM's table
    "IBM870": "\u00b7",  # the dot above in IBM's table
    "IBM871": "\u00fe\u00de",  # the C library has the two exchanged
    "cp875": "\x1a",  # what Python has for unassigned bytes
    # Windows reads these as the full-width forms next to the JIS characters, and so do the tables.
    "EUC-JP": "\u00a2\u00a3\u00ac\u00a6\u2016\u2116\u2212\u301c",
    "ISO-2022-JP": "\u00a2\u00a3\u00ac\u2016\u2212\u301c",
    "EUC-CN": "\uff07",  # the acute accent in IBM's table
    "HZ-GB-2312": "\u2015\u30fb",  # dash and middle dot as in GBK
    "GB18030": "\u1e3f\ue7c7",  # exchanged by the revision of 2005, which Python does not have
    # Signs added to KS X 1001 in 1998, and signs with two equivalents in Unicode.
    "EUC-KR": "\u00ae\u20ac",
    "ISO-2022-KR": "\u00ad\u00ae\u00b7\u2015\u20ac\u223c\u2299\uff5e",
    "EUC-TW": "\u2016",  # parallel-to sign in the table
}

# Left out by their bytes.
LEFT_OUT_BYTES = {
    # Python writes the IBM extensions as NEC-selected bytes, Windows as IBM's own.
    "Shift_JIS": lambda b: b[0] in (0x80, 0xA0) or b[0] >= 0xED,
    # The ETEN extensions C6A1 to C8FE and F9D6 to F9FE are private use in Windows.
    "Big5": lambda b: 0xC6A1 <= int.from_bytes(b, "big") <= 0xC8FE or b[0] >= 0xF9 or len(b) < 2,
    # Rows 9 to 15 have NEC's and IBM's characters, which Python writes through JIS X 0212.
    "EUC-JP": lambda b: b[0] == 0x8F,
    # Syllables without a code of their own: Python writes their letters.
    "EUC-KR": lambda b: len(b) > 2,
}

SINGLE = {"US-ASCII": "ascii", "KOI8-R": "koi8_r", "KOI8-U": "koi8_u", "windows-874": "cp874"}
SINGLE |= {f"ISO-8859-{n}": f"iso8859_{n}" for n in range(1, 17) if n != 12}
SINGLE |= {f"windows-{n}": f"cp{n}" for n in range(1250, 1259)}
SINGLE |= {"macintosh": "mac_roman", "x-mac-greek": "mac_greek", "x-mac-cyrillic": "mac_cyrillic"}
SINGLE |= {"x-mac-ce": "mac_latin2", "x-mac-turkish": "mac_turkish"}
DOS = [437, 737, 775, 850, 852, 855, 857, 860, 861, 862, 863, 864, 865, 866, 869]
SINGLE |= {f"IBM{n}": f"cp{n}" for n in DOS}
SINGLE |= {"IBM00858": "cp858", "DOS-720": "cp720"}
DOS_CODECS = {f"cp{n}" for n in DOS + [720, 858]}
SINGLE |= {"IBM037": "cp037", "IBM500": "cp500", "IBM1026": "cp1026", "IBM01140": "cp1140"}
SINGLE |= {"IBM273": "cp273", "IBM424": "cp424", "cp875": "cp875"}
ICONV = {f"IBM{n}": f"IBM{n}" for n in (277, 278, 280, 284, 285, 297, 420, 870, 871, 1047)}
ICONV |= {f"IBM0{n}": f"IBM{n}" for n in range(1141, 1150)}
ICONV |= {"cp1025": "CP1025"}

MULTI = {
    "Shift_JIS": "cp932", "GBK": "gbk", "ks_c_5601-1987": "cp949", "Big5": "cp950",
    "EUC-JP": "euc_jp", "EUC-CN": "gb2312", "EUC-KR": "euc_kr", "GB18030": "gb18030",
    "HZ-GB-2312": "hz", "ISO-2022-JP": "iso2022_jp", "ISO-2022-KR": "iso2022_kr",
    "UTF-7": "utf_7", "UTF-8": "utf_8", "UTF-16LE": "utf_16_le", "UTF-16BE": "utf_16_be",
    "UTF-32LE": "utf_32_le", "UTF-32BE": "utf_32_be",
}  # fmt: skip
SAMPLE = 150  # characters of each


def iconv(data, source, target):
    command = ["iconv", "-f", source, "-t", target]
    done = subprocess.run(command, input=data, capture_output=True, check=False)
    return done.stdout if done.returncode == 0 else None


def kept(name, character, data):
    left_out = LEFT_OUT.get(name, "")
    if SINGLE.get(name) in DOS_CODECS:
        left_out += LEFT_OUT["dos"]
    if name in ("IBM437", "IBM860", "IBM861", "IBM862", "IBM863", "IBM865"):
        left_out += LEFT_OUT["dos-mu"]
    by_bytes = LEFT_OUT_BYTES.get(name, lambda b: False)
    return character not in left_out and not by_bytes(data)


def python_pairs(name, codec, characters):
    for character in characters:
        try:
            data = character.encode(codec)
            if data.decode(codec) == character and kept(name, character, data):
                yield character, data
        except UnicodeError:
            pass


def sampled(pairs):
    pairs = list(pairs)
    step = max(1, len(pairs) // SAMPLE)
    return pairs[::step]


def lines():
    for name, codec in SINGLE.items():
        characters = [bytes([b]).decode(codec, "ignore") for b in range(256)]
        yield name, list(python_pairs(name, codec, filter(None, characters)))
    for name, charset in ICONV.items():
        pairs = []
        for value in range(256):
            utf8 = iconv(bytes([value]), charset, "UTF-8")
            if utf8 and iconv(utf8, "UTF-8", charset) == bytes([value]):
                pairs.append((utf8.decode(), bytes([value])))
        yield name, [p for p in pairs if kept(name, *p)]
    every = [chr(c) for c in range(0x80, 0x30000) if not 0xD800 <= c < 0xE000]
    for name, codec in MULTI.items():
        pairs = sampled(python_pairs(name, codec, every))
        text = "".join(c for c, _ in pairs)
        yield name, [(text, text.encode(codec))]
    chinese = bytes(b for row in range(0xA4, 0xFE) for b in (row, 0xA1 + row % 90))
    rows = [chinese[i : i + 2] for i in range(0, len(chinese), 2)]
    rows += [b"\x8e\xa2" + row for row in rows]
    utf8 = [(iconv(row, "EUC-TW", "UTF-8"), row) for row in rows]
    yield "EUC-TW", [(u.decode(), row) for u, row in utf8 if u and kept("EUC-TW", u.decode(), row)]


with open(pathlib.Path(__file__).with_name("vectors.txt"), "w", encoding="ascii") as out:
    for name, pairs in lines():
        data = b"".join(b for _, b in pairs)
        text = "".join(c for c, _ in pairs)
        out.write(f"{name} {data.hex()} {text.encode().hex()}\n")
