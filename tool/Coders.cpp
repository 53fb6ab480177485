#include "tool/Coders.h"

#include <type_traits>
#include <utility>

#include "contentcoding/ascii85.hpp"
#include "contentcoding/base16.hpp"
#include "contentcoding/base32.hpp"
#include "contentcoding/base58.hpp"
#include "contentcoding/base64.hpp"
#include "contentcoding/dkim.hpp"
#include "contentcoding/eda.hpp"
#include "contentcoding/quoted_printable.hpp"

namespace {

using namespace contentcoding;

// A coder of the library, which keeps views of its options.
template <class Stream>
class StreamCoder final : public Coder {
public:
    template <class Settings>
    StreamCoder(const CodingOptions& options, Settings settings)
        : m_options(options), m_stream(settings(m_options)) {}

    Result<void> feed(std::string_view piece, const Sink& sink) override {
        return resultOf(m_stream.feed(piece, sink));
    }
    Result<void> finish(const Sink& sink) override { return resultOf(m_stream.finish(sink)); }

private:
    static Result<void> resultOf(Result<void> result) { return result; }
    // No sink refuses.
    static Result<void> resultOf(bool) { return {}; }

    const CodingOptions m_options;
    Stream m_stream;
};

template <class Stream, class Settings>
std::unique_ptr<Coder> streamCoder(const CodingOptions& options, Settings settings) {
    return std::make_unique<StreamCoder<Stream>>(options, settings);
}

// Base58 is one number: it is collected first.
class Base58Coder final : public Coder {
public:
    Base58Coder(bool encodes, std::size_t maxInput) : m_encodes(encodes), m_maxInput(maxInput) {}

    Result<void> feed(std::string_view piece, const Sink&) override {
        if (piece.size() > m_maxInput - m_all.size()) return Error{Fault::kTooLong, m_maxInput};
        m_all.append(piece);
        return {};
    }
    Result<void> finish(const Sink& sink) override {
        if (m_encodes) {
            sink(base58::encode(m_all));
            return {};
        }
        const auto bytes = base58::decode(m_all, {.whiteSpace = true, .maxSize = 0});
        if (!bytes) return bytes.error();
        sink(*bytes);
        return {};
    }

private:
    const bool m_encodes;
    const std::size_t m_maxInput;
    std::string m_all;
};

// Line ends at the end of a file are not part of a text in a format without white space.
class TrimmingCoder final : public Coder {
public:
    explicit TrimmingCoder(std::unique_ptr<Coder> coder) : m_coder(std::move(coder)) {}

    Result<void> feed(std::string_view piece, const Sink& sink) override {
        const std::size_t end = piece.find_last_not_of("\r\n") + 1;
        if (end > 0) {
            if (auto fed = m_coder->feed(std::exchange(m_held, {}), sink); !fed) return fed;
            if (auto fed = m_coder->feed(piece.substr(0, end), sink); !fed) return fed;
        }
        m_held.append(piece.substr(end));
        return {};
    }
    Result<void> finish(const Sink& sink) override { return m_coder->finish(sink); }

private:
    std::unique_ptr<Coder> m_coder;
    std::string m_held;
};

template <class Accept>
Accept choose(Leniency leniency, const Accept& strict, const Accept& ignoring,
              const Accept& lenient) {
    return leniency == Leniency::kStrict   ? strict
           : leniency == Leniency::kIgnore ? ignoring
                                           : lenient;
}

template <base64::Alphabet alphabet, bool padded>
std::unique_ptr<Coder> encodeBase64(const CodingOptions& options) {
    return streamCoder<base64::Encoder>(options, [](const CodingOptions& o) {
        return base64::Format{alphabet, padded, o.columns, o.lineEnd};
    });
}

template <base64::Alphabet alphabet, base64::Padding padding>
std::unique_ptr<Coder> decodeBase64(const CodingOptions& options, Leniency leniency) {
    return streamCoder<base64::Decoder>(options, [leniency](const CodingOptions&) {
        base64::Accept strict{.alphabet = alphabet, .padding = padding, .whiteSpace = true};
        base64::Accept ignoring = strict, lenient = base64::kAnything;
        ignoring.foreign = true;
        lenient.alphabet = alphabet;
        return choose(leniency, strict, ignoring, lenient);
    });
}

template <base32::Alphabet alphabet>
std::unique_ptr<Coder> encodeBase32(const CodingOptions& options) {
    return streamCoder<base32::Encoder>(options, [](const CodingOptions& o) {
        return base32::Format{.alphabet = alphabet, .columns = o.columns, .lineEnd = o.lineEnd};
    });
}

template <base32::Alphabet alphabet>
std::unique_ptr<Coder> decodeBase32(const CodingOptions& options, Leniency leniency) {
    return streamCoder<base32::Decoder>(options, [leniency](const CodingOptions&) {
        base32::Accept strict{.alphabet = alphabet, .whiteSpace = true};
        base32::Accept ignoring = strict, lenient = base32::kAnything;
        ignoring.anyCase = true;
        lenient.alphabet = alphabet;
        return choose(leniency, strict, ignoring, lenient);
    });
}

std::unique_ptr<Coder> encodeBase16(const CodingOptions& options) {
    return streamCoder<base16::Encoder>(options, [](const CodingOptions& o) {
        return base16::Format{.columns = o.columns, .lineEnd = o.lineEnd};
    });
}

std::unique_ptr<Coder> decodeBase16(const CodingOptions& options, Leniency leniency) {
    return streamCoder<base16::Decoder>(options, [leniency](const CodingOptions&) {
        return choose(leniency, base16::kFromMime, base16::kAnything, base16::kAnything);
    });
}

std::unique_ptr<Coder> encodeBase58(const CodingOptions& options) {
    return std::make_unique<Base58Coder>(true, options.maxInput);
}

std::unique_ptr<Coder> decodeBase58(const CodingOptions& options, Leniency) {
    return std::make_unique<Base58Coder>(false, options.maxInput);
}

std::unique_ptr<Coder> encodeAscii85(const CodingOptions& options) {
    return streamCoder<ascii85::Encoder>(options, [](const CodingOptions& o) {
        return ascii85::Format{o.isFramed, o.columns, o.lineEnd};
    });
}

std::unique_ptr<Coder> decodeAscii85(const CodingOptions& options, Leniency leniency) {
    return streamCoder<ascii85::Decoder>(options, [leniency](const CodingOptions&) {
        return choose(leniency, ascii85::kFromMime, ascii85::kFromMime, ascii85::kAnything);
    });
}

std::unique_ptr<Coder> encodeEda(const CodingOptions& options) {
    return streamCoder<eda::Encoder>(options, [](const CodingOptions&) { return eda::kPlain; });
}

std::unique_ptr<Coder> decodeEda(const CodingOptions& options, Leniency leniency) {
    return std::make_unique<TrimmingCoder>(
        streamCoder<eda::Decoder>(options, [leniency](const CodingOptions&) {
            return choose(leniency, eda::kStrict, eda::kStrict, eda::kAnything);
        }));
}

std::unique_ptr<Coder> encodeQp(const CodingOptions& options) {
    return streamCoder<quoted_printable::Encoder>(options, [](const CodingOptions& o) {
        using quoted_printable::Newlines;
        return quoted_printable::Format{o.isText ? Newlines::kText : Newlines::kBinary, o.columns,
                                        o.lineEnd};
    });
}

std::unique_ptr<Coder> decodeQp(const CodingOptions& options, Leniency leniency) {
    return streamCoder<quoted_printable::Decoder>(options, [leniency](const CodingOptions& o) {
        quoted_printable::Accept accept = quoted_printable::kFromMime;
        accept.badEscapes = leniency != Leniency::kStrict;
        accept.lineEnd = o.lineEnd;
        return accept;
    });
}

std::unique_ptr<Coder> encodeDkim(const CodingOptions& options) {
    return streamCoder<dkim::Encoder>(
        options, [](const CodingOptions& o) { return dkim::Format{.columns = o.columns}; });
}

std::unique_ptr<Coder> decodeDkim(const CodingOptions& options, Leniency leniency) {
    return streamCoder<dkim::Decoder>(options, [leniency](const CodingOptions&) {
        return choose(leniency, dkim::kFromMime, dkim::kAnything, dkim::kAnything);
    });
}

constexpr auto kStandard = base64::Alphabet::kStandard;
constexpr auto kUrlSafe = base64::Alphabet::kUrlSafe;

}  // namespace

const TextFormat kTextFormats[] = {
    {"base64", "Base64", 76, true, encodeBase64<kStandard, true>,
     decodeBase64<kStandard, base64::Padding::kRequired>},
    {"base64url", "Base64 for URLs and file names, without padding", 0, true,
     encodeBase64<kUrlSafe, false>, decodeBase64<kUrlSafe, base64::Padding::kOptional>},
    {"qp", "Quoted-printable", 76, true, encodeQp, decodeQp},
    {"dkim-qp", "Quoted-printable as in DKIM signatures", 76, true, encodeDkim, decodeDkim},
    {"base32", "Base32", 76, true, encodeBase32<base32::Alphabet::kStandard>,
     decodeBase32<base32::Alphabet::kStandard>},
    {"base32hex", "Base32 that sorts like its bytes", 76, true,
     encodeBase32<base32::Alphabet::kHex>, decodeBase32<base32::Alphabet::kHex>},
    {"base16", "Base16, hexadecimal", 76, true, encodeBase16, decodeBase16},
    {"base58", "Base58, one big number, for short values", 0, false, encodeBase58, decodeBase58},
    {"ascii85", "Ascii85, framed or not", 76, true, encodeAscii85, decodeAscii85},
    {"eda", "EDA, base 43", 0, false, encodeEda, decodeEda},
};
const std::size_t kTextFormatCount = std::size(kTextFormats);
