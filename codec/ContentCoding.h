#ifndef CODEC_CONTENTCODING_H
#define CODEC_CONTENTCODING_H

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
//   destination  appended to, never cleared; what was appended before a failure stays
//   returns      true for success, false when the destination refused bytes or memory was short
//   arrays       an array returned belongs to the caller, who releases it with array delete
//   log          nothing is logged
class [[gnu::visibility("default")]] ContentCoding {
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
    bool encodeBase64(const void* data, unsigned int len, StringBuffer& out) const;

    // As encodeBase64, for text inside XML: every line but the last ends with "&#xD;" and CRLF,
    // so that an XML reader gives the carriage return back.
    bool encodeBase64_crEntity(const void* data, unsigned int len, StringBuffer& out) const;

    // As encodeBase64, but written to a sink in blocks of 256 to 261 bytes, a rest, and a last
    // block of 2 or 6 bytes; memory use does not grow with the input. Nothing is reserved.
    //   lines    an input of whole groups of 3 bytes whose last line is full is followed by an
    //            empty line, CRLF CRLF: what a sink has taken cannot be mended
    //   returns  false after the first block that was refused
    //   log      handed to the sink with `ioParams`
    bool encodeBase64ToOutput(const void* data, unsigned int len, _zqOutput& out,
                              _zqIoParams& ioParams, LogBase& log) const;

    // Appends the Base64 text of `len` bytes without line breaks, padded with "=".
    //   table    the 64 digits, in the order of their values; null is a failure
    //   returns  as encodeBase64, but empty input reserves nothing and is always a success
    static bool encodeBase64_noCrLf_inner(const void* data, unsigned int len, const char* table,
                                          StringBuffer& out);

    // The same with the standard alphabet, and with the URL-safe one ("-" and "_" in place of
    // "+" and "/"). Both pad with "=".
    static bool encodeBase64_noCrLf(const void* data, unsigned int len, StringBuffer& out);
    static bool encodeModBase64_noCrLf(const void* data, unsigned int len, StringBuffer& out);

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
    static unsigned char* decodeBase64a(const char* text, unsigned int len,
                                        const unsigned char* table, unsigned int* outLen);

    // The same for the standard alphabet.
    static unsigned char* decodeBase64(const char* text, unsigned int len, unsigned int* outLen);

    // As decodeBase64a and decodeBase64; `ok` tells an empty text (null, true) from a failure
    // (null, false). A null outLen is a failure.
    static unsigned char* decodeBase64_2a(const char* text, unsigned int len,
                                          const unsigned char* table, unsigned int* outLen,
                                          bool& ok);
    static unsigned char* decodeBase64_2(const char* text, unsigned int len, unsigned int* outLen,
                                         bool& ok);

    // As decodeBase64, into `out`, whose earlier contents are replaced; empty text empties it.
    //   returns  false, with `out` as it was, when memory is short and for 1,431,655,766
    //            characters or more
    static bool decodeBase64ToDb(const char* text, unsigned int len, DataBuffer& out);

    // Decodes a NUL-terminated Base64 text, as decodeBase64, and appends the bytes to `out`.
    bool appendBase64(StringBuffer & out, const char* text);

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
    bool encodeQuotedPrintable(const void* data, unsigned int len, StringBuffer& out) const;

    // The same as a new NUL-terminated array.
    //   outLen   receives the length of the text, without the NUL; 0 where null is returned
    //   returns  null for empty input, for a null outLen, and when memory is short; of the
    //            appends, no result is looked at
    char* encodeQuotedPrintable(const void* data, unsigned int len, unsigned int* outLen) const;

    // The same, written to a sink; memory use does not grow with the input.
    //   returns  false after the first block that was refused
    //   log      handed to the sink with `ioParams`
    bool encodeQpToOutput(const void* data, unsigned int len, _zqOutput& out, _zqIoParams& ioParams,
                          LogBase& log) const;

    // Decodes quoted-printable text and appends the bytes. Every text that is not empty is
    // accepted; it ends at its first NUL. Forgiven, or understood beyond the RFC, are:
    //   - line ends LF, CRLF and CR CR LF: all give CRLF
    //   - white space at the end of a line, also after the "=" of a soft line break: dropped. A
    //     line of nothing but spaces and tabs keeps them.
    //   - "=" without two hexadecimal digits: kept as it is; at the end of the text: dropped
    //   - digits "a" to "f"
    //   - characters with the high bit set: taken for what their low seven bits are, except as
    //     NUL and as the LF that ends a line; they are written unchanged
    //   - "=FFFFFF" and two digits: the byte of these two; a digit that is none counts as 0. So
    //     byte 0xFF followed by the text "FFFF" is the one input that does not come back.
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
    bool encodeDkimQuotedPrintable(const void* data, unsigned int len, StringBuffer& out) const;

    // Decodes DKIM quoted-printable text and appends the bytes. Spaces, tabs, CR and LF mean
    // nothing. Forgiven are:
    //   - "=" without two hexadecimal digits right after it: kept as it is. So is that of a soft
    //     line break: only lines folded between escapes and characters come back.
    //   - digits "a" to "f", and ones with the high bit set
    //   - NUL and other characters that should be escaped: kept
    //   returns  false after the first append that failed
    static bool decodeDkimQuotedPrintable(const char* text, unsigned int len, DataBuffer& out);
};

#endif
