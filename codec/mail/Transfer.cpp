#include "contentcoding/transfer.hpp"

#include "codec/Streams.h"
#include "codec/mail/Syntax.h"
#include "support/Ascii.h"

namespace contentcoding {

namespace detail {
namespace {

[[nodiscard]] bool putAll(std::string_view text, Window& out) {
    for (; !text.empty(); text.remove_prefix(std::min(text.size(), Window::kMostAsked))) {
        if (!out.put(text.substr(0, Window::kMostAsked))) return false;
    }
    return true;
}

}  // namespace

bool LineEnds::write(Bytes piece, Window& out) {
    for (std::string_view text = piece.text(); !text.empty();) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const bool hasCr = end > 0 ? text[end - 1] == '\r' : afterCr;
        const bool isWhole = end < text.size();
        if (!putAll(text.substr(0, end), out)) return false;
        if (isWhole && !out.put(hasCr ? "\n" : "\r\n")) return false;
        afterCr = hasCr && !isWhole;
        text.remove_prefix(end + (isWhole ? 1 : 0));
    }
    return true;
}

bool LineEnds::end(Window&) {
    afterCr = false;
    return true;
}

Result<void> AsItIs::write(Bytes piece, Window& out) {
    return putAll(piece.text(), out) ? Result<void>() : stopped();
}

}  // namespace detail

namespace transfer {
namespace {

// RFC 5322, section 2.1.1.
constexpr std::size_t kLongestLine = 998;

// What decode() says of any other name, that of uuencode too.
constexpr const char* kKnown = "not 7bit, 8bit, binary, quoted-printable or base64";

// Of the body, at once.
constexpr std::size_t kPiece = 8192;

// What a body has, as far as it is read.
class Survey {
public:
    void read(std::string_view piece) {
        for (const char c : piece) {
            if (m_afterCr && c != '\n') m_hasLoneCr = true;
            if (c == '\n') {
                m_column = 0;
            } else if (c != '\r') {
                m_isLong |= ++m_column > kLongestLine;
                m_is8Bit |= static_cast<unsigned char>(c) >= 0x80;
                m_hasNul |= c == '\0';
            }
            m_afterCr = c == '\r';
        }
    }
    bool isBinary() const { return m_hasNul || m_hasLoneCr || m_afterCr; }
    bool mayStay(Path path) const {
        return !isBinary() && !m_isLong && (!m_is8Bit || path == Path::k8Bit);
    }

private:
    std::size_t m_column = 0;
    bool m_afterCr = false;
    bool m_hasLoneCr = false;
    bool m_hasNul = false;
    bool m_isLong = false;
    bool m_is8Bit = false;
};

}  // namespace

Encoding suggest(Bytes body, Path path) {
    const std::size_t base64Size = base64::encodedSize(body.size(), base64::kMime);
    std::size_t quotedSize = 0;
    // More than that need not be counted.
    const auto count = [&](std::string_view block) {
        quotedSize += block.size();
        return quotedSize <= base64Size;
    };
    Survey survey;
    quoted_printable::Encoder encoder;
    bool isShorter = true;
    for (std::string_view left = body.text(); !left.empty() && !survey.isBinary();) {
        const std::string_view piece = left.substr(0, kPiece);
        survey.read(piece);
        isShorter = isShorter && encoder.feed(piece, count);
        left.remove_prefix(piece.size());
    }
    if (survey.mayStay(path))
        return survey.mayStay(Path::k7Bit) ? Encoding::k7Bit : Encoding::k8Bit;
    isShorter = isShorter && encoder.finish(count);
    return isShorter && !survey.isBinary() ? Encoding::kQuotedPrintable : Encoding::kBase64;
}

std::string_view name(Encoding encoding) {
    switch (encoding) {
        case Encoding::k8Bit:
            return "8bit";
        case Encoding::kQuotedPrintable:
            return "quoted-printable";
        case Encoding::kBase64:
            return "base64";
        case Encoding::k7Bit:
            break;
    }
    return "7bit";
}

std::optional<Encoding> encodingOf(std::string_view value) {
    std::string key;
    mail::Delimiters comments;
    for (std::size_t i = 0; i < value.size() && value[i] != ';';) {
        const std::size_t end = value[i] == '(' ? comments.end(value, i) : value.npos;
        if (end != value.npos) {
            i = end;
            continue;
        }
        const auto b = static_cast<unsigned char>(value[i++]);
        if (b >= 0x80) return std::nullopt;
        if (isAlphanumeric(b)) key.push_back(toLowerAscii(static_cast<char>(b)));
        if (key.size() > 20) return std::nullopt;
    }
    if (key.empty() || key == "7bit" || key == "7bits") return Encoding::k7Bit;
    if (key == "8bit" || key == "8bits" || key == "binary") return Encoding::k8Bit;
    if (key == "quotedprintable") return Encoding::kQuotedPrintable;
    if (key == "base64") return Encoding::kBase64;
    return std::nullopt;
}

std::string encode(Bytes body, Encoding encoding) {
    switch (encoding) {
        case Encoding::kQuotedPrintable:
            return quoted_printable::encode(body);
        case Encoding::kBase64:
            return base64::encode(body, base64::kMime);
        case Encoding::k7Bit:
        case Encoding::k8Bit:
            break;
    }
    std::string text;
    encodeAll(detail::LineEnds{}, body, body.size(), detail::growthOf(text));
    return text;
}

Result<std::string> decode(Bytes text, std::string_view name) {
    const auto encoding = encodingOf(name);
    if (!encoding) return Error{Fault::kUnknownEncoding, 0, kKnown};
    switch (*encoding) {
        case Encoding::kQuotedPrintable:
            return quoted_printable::decode(text, quoted_printable::kFromMime);
        case Encoding::kBase64:
            return base64::decode(text, base64::kFromMime);
        case Encoding::k7Bit:
        case Encoding::k8Bit:
            break;
    }
    return std::string(text.text());
}

// ---- In pieces ----

Encoder::Encoder(Encoding encoding) : m_encoding(encoding) {}

template <class Work>
bool Encoder::withCoder(detail::SinkRef sink, Work work) {
    return throughSink(sink, [&](Window& out) {
        if (m_encoding == Encoding::kQuotedPrintable) return work(m_quoted, out);
        if (m_encoding == Encoding::kBase64) return work(m_base64, out);
        return work(m_lines, out);
    });
}

bool Encoder::feedSink(Bytes piece, detail::SinkRef sink) {
    return withCoder(sink, [piece](auto& coder, Window& out) { return coder.write(piece, out); });
}

bool Encoder::finishSink(detail::SinkRef sink) {
    return withCoder(sink, [](auto& coder, Window& out) { return coder.end(out); });
}

Decoder::Decoder(std::string_view name) : m_encoding(encodingOf(name)) {}

template <class Work>
Result<void> Decoder::withCoder(detail::SinkRef sink, Work work) {
    if (!m_encoding) return Error{Fault::kUnknownEncoding, 0, kKnown};
    return throughSink(sink, [&](Window& out) {
        if (*m_encoding == Encoding::kQuotedPrintable) return work(m_quoted, out);
        if (*m_encoding == Encoding::kBase64) return work(m_base64, out);
        detail::AsItIs none;
        return work(none, out);
    });
}

Result<void> Decoder::feedSink(Bytes piece, detail::SinkRef sink) {
    return withCoder(sink, [piece](auto& coder, Window& out) { return coder.write(piece, out); });
}

Result<void> Decoder::finishSink(detail::SinkRef sink) {
    return withCoder(sink, [](auto& coder, Window& out) { return coder.end(out); });
}

}  // namespace transfer
}  // namespace contentcoding
