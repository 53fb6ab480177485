#ifndef CODEC_CONTENTCODING_H
#define CODEC_CONTENTCODING_H

#include "contentcoding/export.hpp"
#include "support/DataBuffer.h"
#include "support/Log.h"
#include "support/Memory.h"
#include "support/Output.h"
#include "support/StringBuffer.h"

// Converts bytes to and from text encodings.
//
// An object holds three settings and nothing else. Conversions read them and keep no state, so
// one object serves any number of conversions, on any number of threads at once, as long as
// each has its own destination and nobody changes a setting meanwhile.
//
// For every operation, unless its own comment says otherwise:
//   lengths      are in bytes, of data and of text. A text ends at its length; NUL bytes are data.
//   null, empty  null data or text counts as empty, whatever its length. Empty input appends
//                nothing and is a success.
//   destination  appended to, never cleared; what was appended before a failure stays. The
//                input must not lie in its memory, used or spare: debug builds assert it.
//                Only decodeBase64ToDb allows it.
//   returns      true for success, false if the destination refused bytes or memory was short. A
//                buffer refuses bytes beyond its greatest length (support/DataBuffer.h).
//   arrays       a returned array belongs to the caller, who releases it with delete[]
//   log          nothing is logged
class CONTENTCODING_EXPORT ContentCoding {
public:
    // Starts with lines of 76 characters and both switches off.
    ContentCoding() = default;
    ContentCoding(const ContentCoding&) = default;
    ContentCoding& operator=(const ContentCoding&) = default;
    virtual ~ContentCoding();

    // The length of lines, in characters, for the encoders that wrap; each says how it counts.
    unsigned int m_lineLength = 76;

    // Whether qEncodeData2, and what uses it, escapes "," and ":" too.
    bool m_qEncodeCommaToo = false;

    // Whether the quoted-printable decoder turns "=00" hhhh ";" into a character reference.
    bool m_qpDecodeUnicodeEscapes = false;

    // Sets m_lineLength to `n`, or to 10 if `n` is less.
    void setLineLength(unsigned int n) { m_lineLength = n < 10 ? 10 : n; }

    // ---- Base64 -------------------------------------------------------------------------
    // Source: RFC 4648, sections 4 and 5; line breaks after RFC 2045, section 6.8. A group of 3
    // bytes is written as a quantum of 4 digits.

    // The number of bytes reserved before encoding `n` bytes in lines of `lineLength` characters,
    // or without line breaks if that is 0. It is enough for lines that end with CRLF; the text of
    // encodeBase64_crEntity can be longer. It is computed modulo 2^32 and too low for `n` from
    // 1,073,741,822 on.
    static unsigned int computeBase64Size(unsigned int n, unsigned int lineLength);

    // Appends the Base64 text of `len` bytes in lines that end with CRLF.
    //   lines    hold the smallest multiple of 4 characters that is at least m_lineLength. The
    //            text ends with one CRLF, never with an empty line.
    //   returns  false also, with nothing appended, if computeBase64Size() bytes cannot be
    //            reserved, even for empty input; and if `out` would become too long
    [[nodiscard]] bool encodeBase64(const void* data, unsigned int len, StringBuffer& out) const;

    // As encodeBase64, for text inside XML: every line but the last ends with "&#xD;" and CRLF, so
    // that an XML reader restores the carriage return.
    [[nodiscard]] bool encodeBase64_crEntity(const void* data, unsigned int len,
                                             StringBuffer& out) const;

    // As encodeBase64, but writes to a sink and reserves nothing; memory use does not grow with the
    // input. The sink sees blocks of 256 to 261 bytes, a shorter one with the rest of the whole
    // groups (if any), and a last one of 2 or 6 bytes. Empty input writes nothing.
    //   lines    if `len` is a multiple of 3 and the last line is full, an empty line follows it
    //            (CRLF CRLF): blocks already written cannot be changed
    //   returns  false after the first refused block, which is the last one that the sink sees
    //   log      passed to the sink, as is `ioParams`
    [[nodiscard]] bool encodeBase64ToOutput(const void* data, unsigned int len, _zqOutput& out,
                                            _zqIoParams& ioParams, LogBase& log) const;

    // Appends the Base64 text of `len` bytes without line breaks, padded with "=".
    //   table    the 64 digits in the order of their values; null is a failure
    //   returns  as encodeBase64, except that empty input reserves nothing and is always a
    //            success
    [[nodiscard]] static bool encodeBase64_noCrLf_inner(const void* data, unsigned int len,
                                                        const char* table, StringBuffer& out);

    // The same with the standard alphabet, and with the URL-safe one ("-" and "_" instead of "+"
    // and "/"). Both pad with "=".
    [[nodiscard]] static bool encodeBase64_noCrLf(const void* data, unsigned int len,
                                                  StringBuffer& out);
    [[nodiscard]] static bool encodeModBase64_noCrLf(const void* data, unsigned int len,
                                                     StringBuffer& out);

    // Decodes Base64 text into a new array. Every text is accepted:
    //   - characters that are not digits are skipped, even inside a quantum
    //   - the text ends at its first "=" or NUL: padding may be missing, surplus or early
    //   - an incomplete last quantum of 2 digits gives one byte, one of 3 digits two, and a single
    //     digit nothing; leftover bits are dropped, zero or not
    // The parameters:
    //   text     at most `len` characters
    //   table    the values of the 80 characters "+" (0x2B) to "z" (0x7A): 0 to 63 for digits,
    //            0x7F (or anything else above 63) for the others; "=" and "." are never digits.
    //            Null is a failure.
    //   outLen   receives the number of bytes decoded, 0 if null is returned; null is a failure
    //   returns  an array also if a text that is not empty gives no bytes. Two more bytes follow
    //            the *outLen decoded ones: the leftover bits, in the high bits of a byte, and a 0.
    //            Null for empty text, for a failure as above, if memory is short, and for
    //            1,431,655,766 characters or more.
    [[nodiscard]] static unsigned char* decodeBase64a(const char* text, unsigned int len,
                                                      const unsigned char* table,
                                                      unsigned int* outLen);

    // The same for the standard alphabet.
    [[nodiscard]] static unsigned char* decodeBase64(const char* text, unsigned int len,
                                                     unsigned int* outLen);

    // As decodeBase64a and decodeBase64. `ok` distinguishes empty text (null, true) from a failure
    // (null, false); a null outLen is a failure even then.
    [[nodiscard]] static unsigned char* decodeBase64_2a(const char* text, unsigned int len,
                                                        const unsigned char* table,
                                                        unsigned int* outLen, bool& ok);
    [[nodiscard]] static unsigned char* decodeBase64_2(const char* text, unsigned int len,
                                                       unsigned int* outLen, bool& ok);

    // As decodeBase64, but replaces the contents of `out`. Empty text empties it. The text may lie
    // in `out`.
    //   returns  false, with `out` unchanged, if memory is short and for 1,431,655,766 characters
    //            or more
    [[nodiscard]] static bool decodeBase64ToDb(const char* text, unsigned int len, DataBuffer& out);

    // Decodes NUL-terminated Base64 text as decodeBase64 does and appends the bytes to `out`.
    //   returns  false also for 1,431,655,766 characters or more
    [[nodiscard]] bool appendBase64(StringBuffer& out, const char* text);

    // Whether each of the `len` bytes is a digit of the standard alphabet, "=", a space, a tab, CR
    // or LF. Their order and number are not checked.
    //   returns  false for null, true for empty text
    bool isBase64(const char* text, unsigned int len, LogBase& log);

    // As isBase64, for UTF-16LE text of `len` bytes. The first two bytes, where a byte-order mark
    // stands, are not checked.
    //   returns  false also for fewer than 3 bytes and for an odd number
    bool isBase64_utf16LE(const char* text, unsigned int len);

    // Whether each character before the first "=" or NUL lies in "+" (0x2B) to "z" (0x7A), the
    // range of the decode table, or is a space, a tab, CR or LF. Weaker than isBase64: "-", "_" and
    // ":" pass, and everything after the first "=".
    //   returns  false for null, true for empty text
    bool validateBase64(const char* text, unsigned int len) const;

    // ---- Quoted-printable ---------------------------------------------------------------
    // Source: RFC 2045, section 6.7; DKIM: RFC 6376, section 2.11. All of these write blocks of
    // 2000 bytes and a last, shorter one. An m_lineLength below 10 counts as 10.

    // Appends the quoted-printable text of `len` bytes.
    //   lines    have at most m_lineLength characters, including the "=" of a soft line break. If
    //            the last line is full, the text ends with a soft line break. Only CRLF is a line
    //            end of the input; a lone CR or LF is escaped.
    //   escapes  "=" and two upper-case hexadecimal digits, for every byte except printable ASCII,
    //            space, tab and CRLF; for "="; for a space or tab before CRLF or at the end of the
    //            input; and, at the start of an output line, for "." and the "F" of "From ", which
    //            have a meaning of their own for mail software
    //   returns  false also, with nothing appended, if `len` bytes cannot be reserved; otherwise
    //            the result of the last append, if it is of a shorter block. Those of full blocks
    //            are ignored.
    [[nodiscard]] bool encodeQuotedPrintable(const void* data, unsigned int len,
                                             StringBuffer& out) const;

    // The same as a new NUL-terminated array.
    //   outLen   receives the length without the NUL, 0 if null is returned
    //   returns  null for empty input, for a null outLen, and if `len` bytes cannot be reserved.
    //            Results of appends are ignored: if memory runs short later, text is missing.
    [[nodiscard]] char* encodeQuotedPrintable(const void* data, unsigned int len,
                                              unsigned int* outLen) const;

    // The same, written to a sink; memory use does not grow with the input. Empty input writes
    // nothing.
    //   returns  false after the first refused block, which is the last one that the sink sees
    //   log      passed to the sink, as is `ioParams`
    [[nodiscard]] bool encodeQpToOutput(const void* data, unsigned int len, _zqOutput& out,
                                        _zqIoParams& ioParams, LogBase& log) const;

    // Decodes quoted-printable text, which ends at its first NUL, and appends the bytes. Every text
    // that is not empty is accepted. Accepted beyond the RFC:
    //   - line ends LF, CRLF and CR CR LF: each gives CRLF
    //   - white space at the end of a line, also after the "=" of a soft line break: dropped. A
    //     line of white space only keeps it, except CRs at its end.
    //   - "=" without two hexadecimal digits: kept; at the end of the text: dropped
    //   - digits "a" to "f"
    //   - characters with the high bit set: compared by their low seven bits, except with NUL, with
    //     the LF that ends a line and with the four digits of a character reference; written
    //     unchanged
    //   - "=FFFFFF" (the last four in upper case) and two digits: the byte of these two digits,
    //     which may lie after the end of the line and are then decoded again. A character that is
    //     not a digit counts as 0.
    //   - with m_qpDecodeUnicodeEscapes, "=00", four hexadecimal digits and ";": "&#", the number
    //     in decimal, and ";". If the four are not all digits, "=00" is the byte 0.
    // Because of the last two, some input does not survive encoding and decoding: byte 0xFF before
    // the text "FFFF", and with m_qpDecodeUnicodeEscapes byte 0 before text such as "00E9;".
    //   returns  false for null or empty text and for text that starts with a NUL; otherwise the
    //            result of the last append, if it is of a shorter block. Those of full blocks are
    //            ignored.
    bool decodeQuotedPrintable(const char* text, unsigned int len, DataBuffer& out) const;

    // Appends the DKIM quoted-printable text of `len` bytes. Everything except printable ASCII is
    // escaped, and so are "=", ";" and space.
    //   lines    a soft line break is inserted once a line holds m_lineLength - 1 characters; if
    //            CRLF follows in the input, after its escaped CR. So a line has at most
    //            m_lineLength + 5 characters, including the "=".
    //   returns  as encodeQuotedPrintable into a buffer
    [[nodiscard]] bool encodeDkimQuotedPrintable(const void* data, unsigned int len,
                                                 StringBuffer& out) const;

    // Decodes DKIM quoted-printable text and appends the bytes. Spaces, tabs, CR and LF are
    // ignored. Accepted beyond the RFC:
    //   - "=" without two hexadecimal digits directly after it: kept. This includes soft line
    //     breaks, so wrapped output does not decode to its input; text folded without "=", between
    //     characters or escapes, does.
    //   - digits "a" to "f", and digits with the high bit set
    //   - NUL and other characters that should be escaped: kept
    //   returns  false after the first append that fails
    [[nodiscard]] static bool decodeDkimQuotedPrintable(const char* text, unsigned int len,
                                                        DataBuffer& out);

    // ---- MIME header words --------------------------------------------------------------
    // Source: RFC 2047; parameter values: RFC 2231, section 4. Code pages have the numbers of
    // Windows; 0 means none. Charset names are NUL-terminated.

    // The text of a B word or of a Q word, without its frame, as a new NUL-terminated array. Q
    // words keep printable ASCII except "=", "?" and "_", and write a space as "_";
    // Q_EncodeCommaToo escapes "," and ":" too.
    //   outLen   receives the length without the NUL, 0 if null is returned
    //   returns  null for empty input and for a null outLen. B_Encode: null also if memory is
    //            short, and for 858,993,460 bytes or more. The Q forms ignore the results of
    //            appends: if memory is short, text is missing, or null is returned.
    [[nodiscard]] char* B_Encode(const void* data, unsigned int n, unsigned int* outLen) const;
    [[nodiscard]] char* Q_Encode(const void* data, unsigned int n, unsigned int* outLen) const;
    [[nodiscard]] char* Q_EncodeCommaToo(const void* data, unsigned int n,
                                         unsigned int* outLen) const;

    // Append one encoded word, however long, for bytes that are in the named charset: "=?",
    // the name as given, "?B?" or "?Q?", the text, "?=". qEncodeData2 escapes "," and ":" too if
    // m_qEncodeCommaToo is set.
    //   charset  null or empty means "utf-8" for qEncodeData2; with null, bEncodeData2 appends
    //            nothing
    //   returns  true. Results of appends are ignored; if there is no memory for the text, its
    //            frame is empty.
    bool bEncodeData2(const void* data, unsigned int n, const char* charset,
                      StringBuffer& out) const;
    bool qEncodeData2(const void* data, unsigned int n, const char* charset,
                      StringBuffer& out) const;

    // Appends the data unchanged if its first 100 bytes, up to a NUL, contain the middle of an
    // encoded word ("?Q?", "?B?", "?q?", "?b?"); otherwise one word, B-encoded for East Asian,
    // Thai, Turkish and Arabic charsets by their usual names, Q-encoded for all others.
    //   charset  as for qEncodeData2
    //   returns  false if the data was to be appended unchanged and could not be, else true
    bool qbEncodeData(const void* data, unsigned int n, const char* charset,
                      StringBuffer& out) const;

    // Append a header value, which is in `codePage`, as encoded words that name `charset`. Words
    // are not limited to 75 characters.
    //   unchanged   a value of spaces and tabs only. For bEncodeForMimeField also one of at most
    //               900 bytes without CR, LF and bytes from 0x80 up; with a code page from 50220
    //               to 50225 instead one of any length without bytes from 0x80 up, ESC, "[" and
    //               "$".
    //   folding     with `foldLongValues`, a value of more than 60 bytes is cut into pieces of 72
    //               characters (B) or at most 50 UTF-16 units (Q; a surrogate pair is never cut).
    //               Each piece becomes a word, with CRLF and a space between the words. Otherwise
    //               the value becomes one word.
    //   codePage    0, or a null charset, means code page 65001 with the name "utf-8"
    //   returns     false if an unchanged value could not be appended, else true. Of a folded value
    //               that cannot be converted nothing is appended, of a piece only its line break.
    //   log         faults of the conversions in bEncodeForMimeField
    bool bEncodeForMimeField(const void* data, unsigned int n, bool foldLongValues, int codePage,
                             const char* charset, StringBuffer& out, LogBase& log) const;
    bool qEncodeForMimeField(const void* data, unsigned int n, bool foldLongValues, int codePage,
                             const char* charset, StringBuffer& out) const;

    // Decodes the text of a Q word into a new NUL-terminated array. Every text is accepted: "_" and
    // spaces give spaces; digits may have either case; "=" without two of them is kept, as are
    // bytes from 0xA0 up; control characters, "?" and bytes 0x7F to 0x9F are dropped.
    //   n        the length of the text, or 0 for text that ends with a NUL
    //   outLen   receives the length without the NUL if an array is returned; may be null
    //   returns  null for null or empty text and if memory is short
    [[nodiscard]] static unsigned char* Q_Decode(const char* text, unsigned int n,
                                                 unsigned int* outLen);

    // Decode a header value, which must be unfolded. QB_Decode appends the bytes of its words and
    // of the text around them to `out`, whatever the charsets; QB_DecodeToUtf8 converts each word
    // to UTF-8 and replaces the value.
    //   value    ends at its first NUL; QB_Decode does not change it
    //   words    "=?" charset "?" letter "?" text "?=". "B" and "b" mean Base64, every other letter
    //            means Q.
    //   around   text before, between or after words is kept, but dropped if it is spaces and tabs
    //            only. QB_Decode also drops spaces and tabs at the start of such text.
    //   broken   a "=?" that does not begin a complete word ends the value: it and the rest are
    //            dropped
    //   charsets "8bit" means utf-8. Words in utf-8 or in an unknown charset are not converted but
    //            lose their NUL bytes.
    //   returns  true
    //   log      if a word does not fit its charset, the faults of the conversion, "Errors in
    //            decoding from the specified charset." and the value "charset"; with
    //            m_verboseLogging the values "QB_DecodeToUtf8_input", for an unknown charset
    //            "invalidBCharset" or "invalidQCharset", and "QB_DecodeToUtf8_output"
    static bool QB_Decode(StringBuffer& value, DataBuffer& out);
    static bool QB_DecodeToUtf8(StringBuffer& value, LogBase& log);

    // Appends the UTF-8 text of an extended parameter value (charset, "''", percent-encoded text)
    // to `decodedValue`. A value without "''", such as one with a language between its apostrophes,
    // is percent-decoded whole and converted from `defaultCharset`.
    //   value           not changed. In a value with "''", a NUL ends the text; a NUL before the
    //                   "''" leaves no text.
    //   defaultCharset  null means "utf-8". Text in an unknown charset is not converted.
    //   charset         replaced by the value's own charset, in lower case: what comes before its
    //                   first "'" if it has a "''"; emptied if it has none
    //   returns         the result of the append
    //   log             a context "decodeStarEncoded" with the faults of the conversion
    [[nodiscard]] static bool decodeStarEncoded(StringBuffer& value, const char* defaultCharset,
                                                StringBuffer& decodedValue, StringBuffer& charset,
                                                LogBase& log);

    // ---- Base32 -------------------------------------------------------------------------
    // Source: RFC 4648, section 6. A group of 5 bytes is written as a quantum of 8 characters.

    // The number of characters that encodeBase32_noCrLf writes for `n` bytes, modulo 2^32.
    static unsigned int computeBase32Size(unsigned int n);

    // Appends the Base32 text of `len` bytes, padded with "=", without line breaks.
    //   returns  false after the first append that fails
    [[nodiscard]] static bool encodeBase32_noCrLf(const unsigned char* data, unsigned int len,
                                                  StringBuffer& out);

    // Decodes NUL-terminated Base32 text and appends the bytes. Every text is accepted:
    //   - spaces, tabs, CR and LF are skipped anywhere
    //   - lower case counts as upper case; the high bit is ignored
    //   - missing padding at the end is supplied
    //   - "=" inside the text ends only its own quantum
    //   - misplaced padding: the first of positions 7, 5, 4 and 2 (counted from 0) that is not "="
    //     decides whether the quantum gives 5, 4, 3 or 2 bytes; if all are "=", it gives 1. A "="
    //     counts as zero bits.
    //   - characters outside the alphabet count as "7"
    //   returns  false after the first append that fails
    [[nodiscard]] static bool decodeBase32(const char* text, DataBuffer& out, LogBase& log);

    // ---- Base58 -------------------------------------------------------------------------
    // The bytes as one big-endian number in base 58, with the alphabet of Bitcoin (no "0", "O", "I"
    // and "l"). Time grows with the square of the length: on typical hardware, encoding takes about
    // 1 ms for 8 KB and 0.3 s for 128 KB, and decoding about 40 % of that. Limit the length of
    // input from others.

    // Appends the Base58 text of `len` bytes: a "1" for each leading zero byte, then the digits.
    //   returns  false, with nothing appended, if memory is short or `out` would become too long
    [[nodiscard]] static bool encodeBase58(const void* data, unsigned int len, StringBuffer& out,
                                           LogBase& log);

    // Decodes NUL-terminated Base58 text and appends the bytes: a zero byte for each leading "1",
    // then those of the number.
    //   returns  false, with nothing appended, for a character outside the alphabet (white space is
    //            outside) and if there is no memory to work in; the result of the append is ignored
    //   log      for the first bad character, "base58 decode error 1" if its high bit is set, else
    //            "base58 decode error 2"
    [[nodiscard]] static bool decodeBase58(const char* text, DataBuffer& out, LogBase& log);

    // ---- Ascii85 ------------------------------------------------------------------------
    // Source: ISO 32000-1, 7.4.3. The text is written without a frame and without line breaks.

    // Appends the Ascii85 text of `len` bytes: 5 characters for each group of 4 bytes, or "z" if
    // all 4 are zero, and for 1 to 3 bytes at the end one character more than bytes.
    //   returns  false after the first append that fails
    [[nodiscard]] static bool encodeAscii85(const void* data, unsigned int len, StringBuffer& out,
                                            LogBase& log);

    // Decodes Ascii85 text and appends the bytes.
    //   text     groups of 5 digits "!" to "u", or "z" for 4 zero bytes; an optional "<~" before
    //            them; and an optional "~>" after them, which ends the text. White space (space,
    //            tab, CR, LF) may stand anywhere but inside these two. "z" is a group directly at
    //            the start or after another group; inside a group, or after white space that
    //            follows "<~" or a group, it counts as a digit of value 89. A last group of 2 to
    //            4 digits gives one byte less; a single digit gives none.
    //   returns  false for a character outside the alphabet (nothing is appended), for a group
    //            above 2^32 - 1 (the groups before it are appended in blocks of 256 to 259 bytes;
    //            blocks that were complete stay) and if an append fails
    //   log      "Invalid ascii85 input: char not in ascii85 alphabet."; "Invalid ascii85 input:
    //            integer overflow." if the first four digits are too large, with two full stops if
    //            the fifth makes the group too large; for a last, short group the same with
    //            "Invalid ascii85 input in final chunk:"
    [[nodiscard]] static bool decodeAscii85(const StringBuffer& text, DataBuffer& out,
                                            LogBase& log);

    // ---- EDA ----------------------------------------------------------------------------
    // Base 43, with digits, upper-case letters and "(),-./=". Two bytes, big-endian, become three
    // characters; a trailing odd byte becomes two.

    // Appends the EDA text of `len` bytes.
    //   returns  true; results of appends are ignored
    static bool encodeEda(const void* data, unsigned int len, StringBuffer& out);

    // Decodes `len` characters of EDA text and appends the bytes. Every text is accepted:
    //   - "*", "+", ":", ";", "<", ">", "?" and "@" count as "0"
    //   - all other characters outside the alphabet, including lower case, count as "("
    //   - numbers are taken modulo 2^16, those of two characters modulo 2^8
    //   - a single character at the end is ignored
    //   returns  true; results of appends are ignored
    static bool decodeEda(const char* text, unsigned int len, DataBuffer& out);

    // ---- ITIDA --------------------------------------------------------------------------
    // The form of an e-invoice that is signed: its names and values, each in double quotes,
    // concatenated. Source of the document's grammar: RFC 8259.

    // Replaces the contents of `out` by the canonical form of the JSON document `json`, in UTF-8.
    //   json     as ClsJsonObject::loadJson takes it (support/Json.h)
    //   names    in upper case as by XString::toUpperCase, not escaped. The name of an array stands
    //            once for the array and again before each element; elements of an array that is
    //            itself an element have no name.
    //   values   strings without JSON's escapes, up to their first U+0000, but with a backslash
    //            before each backslash and double quote; numbers as the document writes them; true,
    //            false and null. An empty object or array has no value.
    //   option   if m_options of `log` contains "ItidaCanonFirstDoc", in any case, and the document
    //            has a member "documents", the form is that of its first element
    //   log      "Failed to load ITIDA JSON (1)" if `json` is not such a document or memory is
    //            short while it is read; "Failed to load ITIDA JSON (2)" if that first element is
    //            not an object
    //   returns  false, with `out` empty, in these cases, if memory is short, and if the form is
    //            too long. It can be far longer than the document: its size may grow with the
    //            square of the document's.
    [[nodiscard]] static bool canonicalizeItida(const DataBuffer& json, DataBuffer& out,
                                                LogBase& log);
};

#endif
