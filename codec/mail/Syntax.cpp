#include "codec/mail/Syntax.h"

#include "codec/Alphabet.h"
#include "codec/kernels/Kernels.h"
#include "support/Ascii.h"
#include "support/charset/Utf8.h"

namespace contentcoding::mail {

bool isAtomByte(unsigned char b) {
    constexpr ByteClass kAtom = byteClass([](unsigned char c) {
        return isAlphanumeric(c) || c >= 0x80 || isOneOf(c, "!#$%&'*+-/=?^_`{|}~");
    });
    return kAtom[b];
}

bool isSpecial(char c) {
    constexpr ByteClass kSpecial =
        byteClass([](unsigned char b) { return isWhiteSpace(b) || isOneOf(b, "()<>[]:;@,\""); });
    return kSpecial[static_cast<unsigned char>(c)];
}

std::size_t controlFreePrefix(std::string_view utf8) {
    std::size_t at = 0;
    while (at < utf8.size()) {
        const Decoded next = firstOfUtf8(utf8.substr(at));
        if (isControl(next.character)) break;
        at += next.length;
    }
    return at;
}

std::size_t quotedEnd(std::string_view value, std::size_t start) {
    for (std::size_t i = value.find_first_of("\"\\", start + 1); i < value.size();
         i = value.find_first_of("\"\\", i + 2)) {
        if (value[i] == '"') return i + 1;
    }
    return value.npos;
}

std::size_t commentEnd(std::string_view value, std::size_t start) {
    std::size_t depth = 0;
    for (std::size_t i = start; i < value.size(); ++i) {
        if (value[i] == '\\')
            ++i;
        else if (value[i] == '(')
            ++depth;
        else if (value[i] == ')' && --depth == 0)
            return i + 1;
    }
    return value.npos;
}

std::string withSingleSpaces(std::string_view text) {
    std::string single;
    std::size_t done = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const auto isSpace = [&](std::size_t i) {
            return i < text.size() && isWhiteSpace(static_cast<unsigned char>(text[i]));
        };
        if (!isSpace(at) || (text[at] == ' ' && !isSpace(at + 1))) continue;
        single.append(text, done, at - done).push_back(' ');
        while (isSpace(at + 1))
            ++at;
        done = at + 1;
    }
    if (done > 0) single.append(text, done);
    return single;
}

namespace {

// Drops each backslash before a character that it quotes.
template <class IsQuoted>
std::string unquoted(std::string_view text, IsQuoted isQuoted) {
    std::string plain;
    plain.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 1 < text.size() && isQuoted(text[i + 1])) ++i;
        plain.push_back(text[i]);
    }
    return plain;
}

}  // namespace

std::string withoutBackslashes(std::string_view text) {
    return unquoted(text, [](char) { return true; });
}

std::string withoutQuotedPairs(std::string_view text) {
    return unquoted(text, [](char c) { return c == '"' || c == '\\'; });
}

void appendDecodedQuoted(std::string_view quoted, std::uint64_t offset, TextReader& reader,
                         std::string& out) {
    const std::string text = withoutBackslashes(quoted.substr(1, quoted.size() - 2));
    if (reader.options().quotedWords)
        appendDecoded(text, offset + 1, reader, out);
    else
        reader.appendRaw(text, offset + 1, out);
}

}  // namespace contentcoding::mail
