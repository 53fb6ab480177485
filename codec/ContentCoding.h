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
// Common to every operation, and said below only where it is otherwise:
//   lengths      of data and of text are bytes; the end of a text is where its length says,
//                not where a NUL stands
//   null, empty  null data or text, whatever its length, counts as empty; empty input is a
//                success that appends nothing
//   destination  appended to, never cleared; what was appended before a failure stays. The
//                input must not lie in its memory, used or spare: debug builds assert it.
//                Only decodeBase64ToDb allows it.
//   returns      true for success, false when the destination refused bytes or memory was short
//   arrays       an array returned belongs to the caller, who releases it with array delete
//   log          nothing is logged
class CONTENTCODING_EXPORT ContentCoding {
public:
    // The settings start as 76, false, false.
    ContentCoding() = default;
    ContentCoding(const ContentCoding&) = default;
    ContentCoding& operator=(const ContentCoding&) = default;
    virtual ~ContentCoding();

    // The number of encoded characters after which a wrapping encoder ends a line.
    unsigned int m_lineLength = 76;

    // Whether Q-encoded header words escape the comma too.
    bool m_qEncodeCommaToo = false;

    // Whether the quoted-printable decoder turns "=00" hhhh ";" into a character reference.
    bool m_qpDecodeUnicodeEscapes = false;

    // Sets m_lineLength, to 10 when `n` is less.
    void setLineLength(unsigned int n) { m_lineLength = n < 10 ? 10 : n; }

    // ---- Base64 -------------------------------------------------------------------------
    // Source: RFC 4648, sections 4 and 5; line breaks after RFC 2045, section 6.8.

    // The room that a destination is asked for ahead of encoding `n` bytes in lines of
    // `lineLength` characters, 0 meaning no lines: a hint, in bytes, a little above the need.
    // It is computed modulo 2^32 and too low from `n` of 1,073,741,822 on.
    static unsigned int computeBase64Size(unsigned int n, unsigned int lineLength);

    // Appends the Base64 text of `len` bytes in lines that end with CRLF.
    //   lines    the smallest multiple of 4 characters that is at least m_lineLength; the text
    //            ends with one CRLF and never with an empty line
    //   returns  false also, with nothing appended, when the room that computeBase64Size tells
    //            cannot be reserved, be the input empty or not; false when the text would pass
    //            2^32 - 1 bytes
    [[nodiscard]] bool encodeBase64(const void* data, unsigned int len, StringBuffer& out) const;

    // As encodeBase64, for text inside XML: every line but the last ends with "&#xD;" and CRLF,
    // so that an XML reader gives the carriage return back.
    [[nodiscard]] bool encodeBase64_crEntity(const void* data, unsigned int len,
                                             StringBuffer& out) const;

    // As encodeBase64, but written to a sink in blocks of 256 to 261 bytes, a rest, and a last
    // block of 2 or 6 bytes; memory use does not grow with the input. Nothing is reserved.
    //   lines    an input of whole groups of 3 bytes whose last line is full is followed by an
    //            empty line, CRLF CRLF: what a sink has taken cannot be mended
    //   returns  false after the first block that was refused
    //   log      handed to the sink with `ioParams`
    [[nodiscard]] bool encodeBase64ToOutput(const void* data, unsigned int len, _zqOutput& out,
                                            _zqIoParams& ioParams, LogBase& log) const;

    // Appends the Base64 text of `len` bytes without line breaks, padded with "=".
    //   table    the 64 digits, in the order of their values; null is a failure
    //   returns  as encodeBase64, but empty input reserves nothing and is always a success
    [[nodiscard]] static bool encodeBase64_noCrLf_inner(const void* data, unsigned int len,
                                                        const char* table, StringBuffer& out);

    // The same with the standard alphabet, and with the URL-safe one ("-" and "_" in place of
    // "+" and "/"). Both pad with "=".
    [[nodiscard]] static bool encodeBase64_noCrLf(const void* data, unsigned int len,
                                                  StringBuffer& out);
    [[nodiscard]] static bool encodeModBase64_noCrLf(const void* data, unsigned int len,
                                                     StringBuffer& out);

    // Decodes Base64 text. Every text is accepted. Forgiven are:
    //   - characters that are no digits, anywhere: skipped, also inside a group
    //   - missing, surplus or early padding: the text ends at its first "=" or NUL
    //   - a group cut short: 2 digits give one byte, 3 give two, a single one gives nothing
    //   - bits of a cut group that complete no byte: dropped, zero or not
    // The parameters:
    //   text     `len` characters at most
    //   table    the values of the 80 characters "+" (0x2B) to "z" (0x7A): 0 to 63, or 0x7F for
    //            a character that is no digit (so is any value above 63); "=" and "." never
    //            are; null is a failure
    //   outLen   receives the number of bytes decoded, 0 where null is returned
    //   returns  a new array, one byte longer than *outLen at least, also when nothing was
    //            decoded from a text that is not empty; null for empty text, for a null outLen,
    //            when memory is short, and for 1,431,655,766 characters or more
    [[nodiscard]] static unsigned char* decodeBase64a(const char* text, unsigned int len,
                                                      const unsigned char* table,
                                                      unsigned int* outLen);

    // The same for the standard alphabet.
    [[nodiscard]] static unsigned char* decodeBase64(const char* text, unsigned int len,
                                                     unsigned int* outLen);

    // As decodeBase64a and decodeBase64; `ok` tells an empty text (null, true) from a failure
    // (null, false). A null outLen is a failure.
    [[nodiscard]] static unsigned char* decodeBase64_2a(const char* text, unsigned int len,
                                                        const unsigned char* table,
                                                        unsigned int* outLen, bool& ok);
    [[nodiscard]] static unsigned char* decodeBase64_2(const char* text, unsigned int len,
                                                       unsigned int* outLen, bool& ok);

    // As decodeBase64, into `out`, whose earlier contents are replaced; empty text empties it. The
    // text may lie in `out`.
    //   returns  false, with `out` as it was, when memory is short and for 1,431,655,766
    //            characters or more
    [[nodiscard]] static bool decodeBase64ToDb(const char* text, unsigned int len, DataBuffer& out);

    // Decodes a NUL-terminated Base64 text, as decodeBase64, and appends the bytes to `out`.
    [[nodiscard]] bool appendBase64(StringBuffer& out, const char* text);

    // Whether every one of `len` bytes is a Base64 digit of the standard alphabet, "=", space,
    // tab, CR or LF. Order, count and padding are not looked at.
    //   null     false, empty text true
    bool isBase64(const char* text, unsigned int len, LogBase& log);

    // As isBase64 for UTF-16LE text of `len` bytes, of which the first two, the byte order
    // mark, are not looked at.
    //   returns  false also for fewer than 3 bytes and for half a unit at the end
    bool isBase64_utf16LE(const char* text, unsigned int len);

    // Whether every character before the first "=" or NUL lies in "+" (0x2B) to "z" (0x7A), the
    // range that the decoder looks up, or is a space, tab, CR or LF. Weaker than isBase64: "-",
    // "_" and ":" pass.
    //   null     false, empty text true
    bool validateBase64(const char* text, unsigned int len) const;

    // ---- Quoted-printable ---------------------------------------------------------------
    // Source: RFC 2045, section 6.7; DKIM: RFC 6376, section 2.11. All go through blocks of
    // 2000 bytes. A line length below 10 counts as 10.

    // Appends the quoted-printable text of `len` bytes.
    //   lines    at most m_lineLength characters, the "=" of a soft line break included. Only
    //            CRLF is a line end of the input; a lone CR or LF is escaped.
    //   escapes  with digits "A" to "F": all but printable ASCII, space and tab; "="; a space or
    //            tab at the end of a line or of the input; and at the start of every output
    //            line "." and the "F" of "From ", which mail software takes for its own
    //   returns  false also, with nothing appended, when room for `len` bytes cannot be reserved.
    //            Of the appends, only the last one's result is looked at.
    [[nodiscard]] bool encodeQuotedPrintable(const void* data, unsigned int len,
                                             StringBuffer& out) const;

    // The same as a new NUL-terminated array.
    //   outLen   receives the length of the text, without the NUL; 0 where null is returned
    //   returns  null for empty input, for a null outLen, and when room for `len` bytes cannot be
    //            reserved; of the appends, no result is looked at
    [[nodiscard]] char* encodeQuotedPrintable(const void* data, unsigned int len,
                                              unsigned int* outLen) const;

    // The same, written to a sink; memory use does not grow with the input.
    //   returns  false after the first block that was refused
    //   log      handed to the sink with `ioParams`
    [[nodiscard]] bool encodeQpToOutput(const void* data, unsigned int len, _zqOutput& out,
                                        _zqIoParams& ioParams, LogBase& log) const;

    // Decodes quoted-printable text and appends the bytes. Every text that is not empty is
    // accepted; it ends at its first NUL. Forgiven, or understood beyond the RFC, are:
    //   - line ends LF, CRLF and CR CR LF: all give CRLF
    //   - white space at the end of a line, also after the "=" of a soft line break: dropped. A
    //     line of nothing but spaces and tabs keeps them.
    //   - "=" without two hexadecimal digits: kept as it is; at the end of the text: dropped
    //   - digits "a" to "f"
    //   - characters with the high bit set: taken for what their low seven bits are, except as
    //     NUL, as the LF that ends a line, and as the four digits of a character reference; they
    //     are written unchanged
    //   - "=FFFFFF", the last four in upper case, and two digits: the byte of these two, which
    //     may stand past the end of the line and are then decoded again; one that is no digit
    //     counts as 0. So byte 0xFF followed by the text "FFFF" is the one input that does not
    //     come back.
    //   - with m_qpDecodeUnicodeEscapes, "=00", four hexadecimal digits and ";": "&#", the
    //     number in decimal, ";". When the four are not all digits, "=00" is the byte 0.
    //   returns  false for null or empty text and for one that starts with a NUL; otherwise the
    //            result of the last append, of all the only one that is looked at
    bool decodeQuotedPrintable(const char* text, unsigned int len, DataBuffer& out) const;

    // Appends the DKIM quoted-printable text of `len` bytes. All but printable ASCII is escaped,
    // and "=", ";" and space are.
    //   lines    a soft line break follows the character or escape that reaches m_lineLength - 1
    //            characters, or, where CRLF comes next in the input, the escaped CR
    //   returns  as encodeQuotedPrintable
    [[nodiscard]] bool encodeDkimQuotedPrintable(const void* data, unsigned int len,
                                                 StringBuffer& out) const;

    // Decodes DKIM quoted-printable text and appends the bytes. Spaces, tabs, CR and LF mean
    // nothing. Forgiven are:
    //   - "=" without two hexadecimal digits right after it: kept as it is. So is that of a soft
    //     line break: only lines folded between escapes and characters come back.
    //   - digits "a" to "f", and ones with the high bit set
    //   - NUL and other characters that should be escaped: kept
    //   returns  false after the first append that failed
    [[nodiscard]] static bool decodeDkimQuotedPrintable(const char* text, unsigned int len,
                                                        DataBuffer& out);

    // ---- MIME header words --------------------------------------------------------------
    // Source: RFC 2047; parameter values: RFC 2231, section 4. Code pages are numbered as Windows
    // numbers them, 0 meaning none. Charset names are NUL-terminated.

    // The text of a B word and of a Q word, without the frame around it, as a new
    // NUL-terminated array. Q words keep printable ASCII but "=", "?" and "_", and write "_"
    // for a space; Q_EncodeCommaToo escapes "," and ":" too.
    //   outLen   receives the length of the text, without the NUL; 0 where null is returned
    //   returns  null for empty input and for a null outLen; B_Encode also when memory is short
    //            and from 858,993,460 bytes on. The Q forms do not look at their appends.
    [[nodiscard]] char* B_Encode(const void* data, unsigned int n, unsigned int* outLen) const;
    [[nodiscard]] char* Q_Encode(const void* data, unsigned int n, unsigned int* outLen) const;
    [[nodiscard]] char* Q_EncodeCommaToo(const void* data, unsigned int n,
                                         unsigned int* outLen) const;

    // Append one encoded word, however long, for bytes that are in the named charset: "=?",
    // the name as given, "?B?" or "?Q?", the text, "?=". qEncodeData2 escapes "," and ":" when
    // m_qEncodeCommaToo is set.
    //   charset  null: bEncodeData2 appends nothing; qEncodeData2 takes "utf-8" for null and empty
    //   returns  true; the appends are not looked at, and a text for which memory is short is
    //            left out of its frame
    bool bEncodeData2(const void* data, unsigned int n, const char* charset,
                      StringBuffer& out) const;
    bool qEncodeData2(const void* data, unsigned int n, const char* charset,
                      StringBuffer& out) const;

    // Appends the data unchanged when its first 100 bytes, up to a NUL, hold the middle of an
    // encoded word ("?Q?", "?B?", "?q?", "?b?"); otherwise one word, B-encoded for the East Asian,
    // Thai, Turkish and Arabic charsets by their usual names, else Q-encoded.
    //   charset  as for qEncodeData2
    //   returns  false when the data could not be appended unchanged, else true
    bool qbEncodeData(const void* data, unsigned int n, const char* charset,
                      StringBuffer& out) const;

    // Append a header value, which is in `codePage`, as encoded words that name `charset`.
    //   unchanged   a value of spaces and tabs only; for bEncodeForMimeField also one that needs
    //               no encoding: without CR, LF and bytes from 0x80 up and of at most 900 bytes;
    //               with a code page of 50220 to 50225 without bytes from 0x80 up, ESC, "["
    //               and "$", of any length
    //   folding     with `foldLongValues`, a value of more than 60 bytes is cut into pieces of 72
    //               characters (B) or 50 UTF-16 units (Q; a surrogate pair is never cut), a word
    //               each, with CRLF and a space between the words. Otherwise it is one word.
    //   codePage    0, like a null charset, stands for 65001 and "utf-8" together
    //   returns     false when an unchanged value could not be appended, else true: a value
    //               that cannot be converted at all adds nothing, a piece no word but its break
    //   log         what the conversions of bEncodeForMimeField report
    bool bEncodeForMimeField(const void* data, unsigned int n, bool foldLongValues, int codePage,
                             const char* charset, StringBuffer& out, LogBase& log) const;
    bool qEncodeForMimeField(const void* data, unsigned int n, bool foldLongValues, int codePage,
                             const char* charset, StringBuffer& out) const;

    // Decodes the text of a Q word into a new NUL-terminated array. Forgiven are: a space, read
    // as "_"; "=" without two hexadecimal digits of either case, kept; bytes from 0xA0 up, kept;
    // control characters, "?" and bytes 0x7F to 0x9F, dropped.
    //   n        0 means up to the NUL
    //   outLen   receives the length, without the NUL, where an array is returned; may be null
    //   returns  null for null or empty text and when memory is short
    [[nodiscard]] static unsigned char* Q_Decode(const char* text, unsigned int n,
                                                 unsigned int* outLen);

    // Decode a header value, which must be unfolded: QB_Decode appends the bytes of its words and
    // of the text around them to `out`, whatever the charsets; QB_DecodeToUtf8 converts every
    // word to UTF-8 and replaces the value.
    //   value    up to its first NUL
    //   words    "=?" charset "?" letter "?" text "?=", where "B" and "b" mean Base64 and every
    //            other letter means Q
    //   around   blanks (spaces and tabs) before, between or after words with no other text
    //            among them are dropped. Other text is kept as it is; QB_Decode drops its
    //            leading blanks.
    //   broken   a "=?" that starts no complete word ends the value: the rest is dropped
    //   charsets "8bit" means utf-8. Words that name utf-8 or an unknown charset are not
    //            converted but lose their NUL bytes.
    //   returns  true
    //   log      for a word that does not fit its charset what the conversion reports, "Errors
    //            in decoding from the specified charset." and the value "charset"; with
    //            m_verboseLogging the values "QB_DecodeToUtf8_input", for an unknown charset
    //            "invalidBCharset" or "invalidQCharset", and "QB_DecodeToUtf8_output"
    static bool QB_Decode(StringBuffer& value, DataBuffer& out);
    static bool QB_DecodeToUtf8(StringBuffer& value, LogBase& log);

    // Appends the UTF-8 text of an extended parameter value to `decodedValue`: charset, "''",
    // percent-encoded text. A value without "''", one with a language among them, is
    // percent-decoded whole and taken for text in `defaultCharset`.
    //   value           read only
    //   defaultCharset  null means "utf-8"; text in a charset that is not known stays as it is
    //   charset         receives the value's own charset, in lower case: what stands before its
    //                   first "'" if it has a "''"; empty when it has none
    //   returns         the result of the append; text behind a NUL before "''" is dropped
    //   log             a context "decodeStarEncoded" with what the conversion reports
    [[nodiscard]] static bool decodeStarEncoded(StringBuffer& value, const char* defaultCharset,
                                                StringBuffer& decodedValue, StringBuffer& charset,
                                                LogBase& log);

    // ---- Base32 -------------------------------------------------------------------------
    // Source: RFC 4648, section 6.

    // The number of characters that encodeBase32_noCrLf writes for `n` bytes, modulo 2^32.
    static unsigned int computeBase32Size(unsigned int n);

    // Appends the Base32 text of `len` bytes, padded with "=", without line breaks.
    //   returns  false after the first append that failed
    [[nodiscard]] static bool encodeBase32_noCrLf(const unsigned char* data, unsigned int len,
                                                  StringBuffer& out);

    // Decodes NUL-terminated Base32 text and appends the bytes. Every text is accepted.
    // Forgiven are:
    //   - spaces, tabs, CR and LF anywhere: skipped
    //   - lower case, and characters with the high bit set: taken for what their low bits are
    //   - missing padding at the end: supplied
    //   - "=" inside the text: ends its group of 8 characters only
    //   - a group whose padding is no group's: its bytes are counted by the first of the places 7,
    //     5, 4 and 2 that has no pad; a pad counts as zero bits
    //   - characters outside the alphabet: count as "7"
    //   returns  false after the first append that failed
    [[nodiscard]] static bool decodeBase32(const char* text, DataBuffer& out, LogBase& log);

    // ---- Base58 -------------------------------------------------------------------------
    // The number that the bytes are, big-endian, in base 58, with the alphabet of Bitcoin. Time
    // grows with the square of the length, in both directions: a machine of today encodes 8 KB in
    // 2 ms, 128 KB in 0.7 s and a megabyte in three quarters of a minute, and decodes in a fifth of
    // that. Bound the length of what strangers send.

    // Appends the Base58 text of `len` bytes: a "1" for each leading zero byte, then the digits.
    //   returns  false, with nothing appended, when memory is short or the text would pass
    //            2^32 - 1 bytes
    [[nodiscard]] static bool encodeBase58(const void* data, unsigned int len, StringBuffer& out,
                                           LogBase& log);

    // Decodes NUL-terminated Base58 text and appends the bytes: a zero byte for each leading "1",
    // then those of the number.
    //   returns  false, with nothing appended, for a character outside the alphabet, white space
    //            among them, and when memory for the bytes is short; the append is not looked at
    //   log      for the first bad character "base58 decode error 1" when its high bit is set,
    //            else "base58 decode error 2"
    [[nodiscard]] static bool decodeBase58(const char* text, DataBuffer& out, LogBase& log);

    // ---- Ascii85 ------------------------------------------------------------------------
    // Source: ISO 32000-1, 7.4.3. The text is written without a frame and without line breaks.

    // Appends the Ascii85 text of `len` bytes: 5 characters for 4 bytes, "z" for 4 zero bytes, and
    // one character more than there are bytes for the rest.
    //   returns  false after the first append that failed
    [[nodiscard]] static bool encodeAscii85(const void* data, unsigned int len, StringBuffer& out,
                                            LogBase& log);

    // Decodes Ascii85 text and appends the bytes.
    //   text     digits "!" to "u", "z" as the first character of a group right after the one
    //            before, white space (space, tab, CR, LF) anywhere; bare, or after "<~", white
    //            space in front; it ends at "~>", whatever follows. A "z" anywhere else in a
    //            group, or after white space, counts as a digit of value 89.
    //   returns  false on a foreign character (nothing appended), on a group above 2^32 - 1
    //            (what was appended of the groups before, in chunks of 256 bytes or more, stays)
    //            and when an append fails
    //   log      "Invalid ascii85 input: char not in ascii85 alphabet."; "Invalid ascii85 input:
    //            integer overflow." when four digits are too much, with two full stops when
    //            the fifth is; the same with "input in final chunk:" for a last, short group
    [[nodiscard]] static bool decodeAscii85(const StringBuffer& text, DataBuffer& out,
                                            LogBase& log);

    // ---- EDA ----------------------------------------------------------------------------
    // Base 43: digits, upper-case letters and "(),-./=". Three characters are two bytes,
    // big-endian; two are a last odd one.

    // Appends the EDA text of `len` bytes.
    //   returns  true; the appends are not looked at
    static bool encodeEda(const void* data, unsigned int len, StringBuffer& out);

    // Decodes `len` characters of EDA text and appends the bytes. Every text is accepted. Forgiven
    // are:
    //   - "*", "+", ":", ";", "<", ">", "?" and "@": count as "0"
    //   - all others outside the alphabet, lower case among them: count as "("
    //   - numbers above 65535 (or 255, for two characters): taken modulo 2^16 (2^8)
    //   - a single character at the end: ignored
    //   returns  true; the appends are not looked at
    static bool decodeEda(const char* text, unsigned int len, DataBuffer& out);

    // ---- ITIDA --------------------------------------------------------------------------
    // The form of an e-invoice that is signed: names and values in a row, each in double quotes.

    // Replaces the contents of `out` by the canonical form of the JSON document `json`, in UTF-8.
    //   json     as ClsJsonObject::loadJson takes it (support/Json.h)
    //   names    in upper case as XString::toUpperCase does it, not escaped. That of an array
    //            stands once for the array and again before each element, except in arrays that
    //            lie directly in arrays.
    //   values   strings without what JSON escapes, but with backslashes doubled and a backslash
    //            before each double quote; numbers as the document has them; true, false, null
    //   log      read too: with "ItidaCanonFirstDoc" in its options, in letters of either case, the
    //            form is that of the first element of the member "documents", if there is such a
    //            member. Logged are "Failed to load ITIDA JSON (1)" when `json` is no document or
    //            memory is short for it, and "Failed to load ITIDA JSON (2)" when that first
    //            element is no object.
    //   returns  false, with `out` empty, after these, when memory is short, and when the form
    //            would pass 2^32 - 1 bytes
    [[nodiscard]] static bool canonicalizeItida(const DataBuffer& json, DataBuffer& out,
                                                LogBase& log);
};

#endif
