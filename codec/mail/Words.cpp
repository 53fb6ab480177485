#include "codec/mail/Words.h"

#include "codec/Alphabet.h"
#include "codec/Bytes.h"
#include "codec/Window.h"
#include "contentcoding/base64.hpp"
#include "support/Ascii.h"

namespace contentcoding::mail {
namespace {

constexpr auto kNone = std::string_view::npos;

constexpr bool isBlankChar(char c) { return isBlank(static_cast<unsigned char>(c)); }
constexpr bool isLineEndChar(char c) { return c == '\r' || c == '\n'; }
constexpr bool isSpaceChar(char c) { return isBlankChar(c) || isLineEndChar(c); }

// ---- Where words are ----

// Longer than any name of a charset with a language.
constexpr std::size_t kLongestLabel = 100;

// Reads a field of a word up to its "?" into `field`, without what folds it and without blanks at
// its ends. Returns where the "?" is; kNone for what cannot be a field.
std::size_t readField(std::string_view value, std::size_t at, std::string& field) {
    bool ended = false;  // by a blank
    for (const std::size_t start = at; at < value.size() && at - start < kLongestLabel; ++at) {
        const char c = value[at];
        if (c == '?') return at;
        if (isLineEndChar(c)) {
            while (at + 1 < value.size() && isSpaceChar(value[at + 1]))
                ++at;
        } else if (isBlankChar(c)) {
            ended = !field.empty();
        } else if (ended || c == '=' || c < '!' || c > '~') {
            return kNone;
        } else {
            field.push_back(c);
        }
    }
    return kNone;
}

// Where the text of a word ends that starts at `at`: the first "?=". A word that starts inside it
// shows that this one never ends; `resume` is where that is.
std::size_t endOfText(std::string_view value, std::size_t at, std::size_t& resume) {
    for (std::size_t mark = value.find('?', at); mark != kNone; mark = value.find('?', mark + 1)) {
        if (value.substr(mark + 1).starts_with('=')) return mark;
        if (mark > at && value[mark - 1] == '=') {
            resume = mark - 1;
            return kNone;
        }
    }
    resume = value.size();
    return kNone;
}

// ---- Reading neighbouring words ----

constexpr ByteClass kBase64Digits =
    byteClass([](unsigned char b) { return isAlphanumeric(b) || b == '+' || b == '/'; });

// Line ends are folding: they are dropped.
constexpr UnescapeRules kQRules = {.kept = byteClass([](unsigned char b) {
                                       return b != '=' && b != '_' && b != '\r' && b != '\n';
                                   }),
                                   .replaced = '_',
                                   .replacement = ' '};

const unsigned char* bytesOf(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

// Where the first "=" is that no two hexadecimal digits follow; the length if there is none.
std::size_t firstBadEscape(std::string_view text) {
    for (std::size_t at = text.find('='); at != kNone; at = text.find('=', at + 3)) {
        const bool isEscape = text.size() - at > 2 && hexDigitValue(text[at + 1]) != kNoHexDigit &&
                              hexDigitValue(text[at + 2]) != kNoHexDigit;
        if (!isEscape) return at;
    }
    return text.size();
}

// Writes the bytes of a Q text whose escapes are sound.
void unescape(std::string_view text, Window& out) {
    while (!text.empty()) {
        const std::size_t wanted = std::min(text.size(), Window::kMostAsked - kOverwrite);
        const std::span<char> room = out.room(wanted + kOverwrite);
        const auto done = kernels().unescape(text.data(), text.size(), kQRules, room.data(),
                                             room.size() - kOverwrite);
        out.wrote(done.written);
        text.remove_prefix(done.read);
    }
}

// The bytes of words in one charset that follow one another.
class WordRun {
public:
    explicit WordRun(TextReader& reader) : m_reader(reader) {}

    bool isEmpty() const { return m_places.empty(); }

    // Adds a word, whose text starts at `offset`; what is in another charset is written first.
    void add(const EncodedWord& word, std::string_view text, std::uint64_t offset,
             std::string& out);

    // Writes what is there.
    void flush(std::string& out);

private:
    bool isJoined(const std::string& label) const;
    void addQ(std::string_view text, std::uint64_t offset);
    void addB(std::string_view text, std::uint64_t offset);
    void endBase64();
    bool continuesGroup(std::string_view text) const;
    std::size_t takePads(std::string_view text, std::uint64_t offset);
    void closeGroup();

    TextReader& m_reader;
    std::string m_label;
    std::string m_bytes;
    std::vector<Place> m_places;
    std::string m_base64;         // of the last words, whole groups but for the last one
    std::size_t m_digits = 0;     // in the last group, if it is not whole
    std::uint64_t m_textEnd = 0;  // of the last of these words
    bool m_splitsGroups = false;
};

bool WordRun::isJoined(const std::string& label) const {
    if (equalIgnoringCase(label, m_label)) return true;
    const auto a = charsetOfSenders(label), b = charsetOfSenders(m_label);
    return a && b && std::string_view(a->name) == b->name;
}

void WordRun::add(const EncodedWord& word, std::string_view text, std::uint64_t offset,
                  std::string& out) {
    if (!isEmpty() && !isJoined(word.label)) flush(out);
    if (isEmpty()) m_label = word.label;
    if (word.encoding == 'B') {
        if (m_digits > 0 && !continuesGroup(text)) closeGroup();
        m_places.push_back({m_bytes.size() + m_base64.size() / 4 * 3, offset});
        addB(text, offset);
    } else {
        endBase64();
        m_places.push_back({m_bytes.size(), offset});
        addQ(text, offset);
    }
}

void WordRun::flush(std::string& out) {
    if (isEmpty()) return;
    endBase64();
    m_reader.append(m_bytes, m_label, m_places, out);
    m_places.clear();
    m_bytes.clear();
    m_splitsGroups = false;
}

void WordRun::addQ(std::string_view text, std::uint64_t offset) {
    GrowingWindow out(detail::growthOf(m_bytes));
    while (!text.empty()) {
        const std::size_t bad = firstBadEscape(text);
        unescape(text.substr(0, bad), out);
        if (bad == text.size()) break;
        text.remove_prefix(bad);
        offset += bad;
        // Before a line end it is a soft line break.
        std::size_t n = std::min(text.find_first_not_of(" \t", 1), text.size());
        if (n < text.size() && isLineEndChar(text[n])) {
            n = std::min(text.find_first_not_of(" \t\r\n", n), text.size());
        } else {
            n = 1;
            (void)out.put('=');
            m_reader.defects().add(Fault::kBadEscape, offset);
        }
        text.remove_prefix(n);
        offset += n;
    }
    (void)out.finish();
}

// Whether a word goes on with the group that the one before it did not finish, rather than that one
// lacking its padding.
bool WordRun::continuesGroup(std::string_view text) const {
    const auto isPart = [](char c) {
        return c == '=' || kBase64Digits[static_cast<unsigned char>(c)];
    };
    const auto n = static_cast<std::size_t>(std::count_if(text.begin(), text.end(), isPart));
    if (m_digits == 1) return true;
    // Bits of the last digit that belong to no byte would be zero in a text that ends here.
    constexpr std::string_view kEndOfTwo = "AQgw", kEndOfThree = "AEIMQUYcgkosw048";
    const std::string_view ends = m_digits == 2 ? kEndOfTwo : kEndOfThree;
    if (ends.find(m_base64.back()) == kNone) return true;
    return n % 4 != 0 && (m_splitsGroups || (m_digits + n) % 4 == 0);
}

// Ends a group that lacks characters.
void WordRun::closeGroup() {
    if (m_digits == 0) return;
    const bool isCut = m_digits == 1;
    m_reader.defects().add(isCut ? Fault::kCutGroup : Fault::kPadding, m_textEnd);
    if (isCut)
        m_base64.pop_back();
    else
        m_base64.append(4 - m_digits, '=');
    m_digits = 0;
}

// Reads the "=" that `text` starts with, and returns how many they are.
std::size_t WordRun::takePads(std::string_view text, std::uint64_t offset) {
    const std::size_t n = std::min(text.find_first_not_of('='), text.size());
    m_textEnd = offset;
    if (m_digits > 1 && n == 4 - m_digits) {
        m_base64.append(n, '=');
        m_digits = 0;
    } else if (m_digits > 0) {
        closeGroup();
    } else {
        m_reader.defects().add(Fault::kPadding, offset);
    }
    return n;
}

void WordRun::addB(std::string_view text, std::uint64_t offset) {
    if (m_digits > 0) m_splitsGroups = true;
    while (!text.empty()) {
        std::size_t n = runLength(bytesOf(text), text.size(), kBase64Digits);
        m_base64.append(text, 0, n);
        m_digits = (m_digits + n) % 4;
        text.remove_prefix(n);
        offset += n;
        if (text.empty()) break;
        n = 1;
        if (text.front() == '=')
            n = takePads(text, offset);
        else if (!isSpaceChar(text.front()))
            m_reader.defects().add(Fault::kForeignCharacter, offset);
        text.remove_prefix(n);
        offset += n;
    }
    m_textEnd = offset;
}

// Decodes the Base64 that there is, which is sound by now.
void WordRun::endBase64() {
    if (m_base64.empty()) return;
    closeGroup();
    constexpr base64::Accept kAccept{.leftoverBits = true, .concatenated = true};
    (void)base64::decodeAppend(m_bytes, m_base64, kAccept);
    m_base64.clear();
}

// Tells whether places of a value are between quotation marks. Asked in ascending order.
class Quotes {
public:
    explicit Quotes(std::string_view value) : m_value(value) {}

    bool contain(std::size_t at) {
        for (; m_next < at; ++m_next) {
            if (m_value[m_next] == '\\' && m_open)
                ++m_next;
            else if (m_value[m_next] == '"')
                m_open = !m_open;
        }
        return m_open;
    }

private:
    std::string_view m_value;
    std::size_t m_next = 0;
    bool m_open = false;
};

}  // namespace

bool isWhiteSpaceOnly(std::string_view text) {
    return std::all_of(text.begin(), text.end(), isSpaceChar);
}

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && isSpaceChar(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isSpaceChar(text.back()))
        text.remove_suffix(1);
    return text;
}

std::optional<EncodedWord> wordAt(std::string_view value, std::size_t start, std::size_t& resume) {
    EncodedWord word;
    std::string encoding;
    resume = start + 2;
    const std::size_t labelEnd = readField(value, start + 2, word.label);
    if (labelEnd == kNone) return std::nullopt;
    const std::size_t encodingEnd = readField(value, labelEnd + 1, encoding);
    if (encodingEnd == kNone || encoding.empty()) return std::nullopt;
    word.text = encodingEnd + 1;
    word.end = endOfText(value, word.text, resume);
    if (word.end == kNone) return std::nullopt;
    const char letter = encoding.size() == 1 ? toUpperAscii(encoding[0]) : '\0';
    if (letter == 'B' || letter == 'Q') word.encoding = letter;
    return word;
}

void appendDecoded(std::string_view value, std::uint64_t offset, TextReader& reader,
                   std::string& out) {
    WordRun run(reader);
    Quotes quotes(value);
    std::size_t done = 0;
    for (std::size_t at = value.find("=?"); at < value.size(); at = value.find("=?", at)) {
        const std::size_t start = at;
        const auto word = wordAt(value, start, at);
        if (!word || (!reader.options().quotedWords && quotes.contain(start))) continue;
        at = word->end + 2;
        if (word->encoding == '\0') {
            reader.defects().add(Fault::kUnknownEncoding, offset + start);
            continue;
        }
        if (!reader.takeWord()) {
            reader.defects().add(Fault::kTooLong, offset + start, "too many encoded words");
            break;
        }
        const std::string_view gap = value.substr(done, start - done);
        if (run.isEmpty() || !isWhiteSpaceOnly(gap)) {
            run.flush(out);
            reader.appendRaw(gap, offset + done, out);
        }
        run.add(*word, value.substr(word->text, word->end - word->text), offset + word->text, out);
        done = at;
    }
    run.flush(out);
    reader.appendRaw(value.substr(done), offset + done, out);
}

}  // namespace contentcoding::mail
