#include "contentcoding/parameter.hpp"

#include <charconv>

#include "codec/kernels/Kernels.h"
#include "codec/mail/HeaderWriter.h"
#include "codec/mail/Syntax.h"
#include "support/Ascii.h"
#include "support/Graphemes.h"

namespace contentcoding::parameter {
namespace {

constexpr auto kNone = std::string_view::npos;

// ---- Reading ----

// A parameter as it was written, or a section of one.
struct Section {
    enum class Kind : unsigned char { kPlain, kNumbered, kExtended };

    std::size_t parameter;  // the index of its parameter
    Kind kind;
    unsigned long number;  // of a numbered one
    bool isMarked;         // whether percent signs count
    bool isQuoted;
    std::string text;
    std::uint64_t offset;  // of the text
    std::uint64_t start;   // of the name
};

constexpr bool isNameCharacter(char c) {
    return c > ' ' && c != 0x7F && c != ';' && c != '=' && c != '"' && c != '(';
}

class Parser {
public:
    Parser(std::string_view value, const header::Decoding& options, Parsed& parsed)
        : m_value(value),
          m_options(options),
          m_parsed(parsed),
          m_defects(parsed.defects, options.limits.defects),
          m_reader(options, m_defects) {}

    void run();

private:
    char at(std::size_t i) const { return i < m_value.size() ? m_value[i] : '\0'; }
    bool isSpaceAt(std::size_t i) const { return mail::isWhiteSpaceOnly(m_value.substr(i, 1)); }
    void defect(Fault fault, std::uint64_t offset, const char* detail) {
        m_defects.add(fault, offset, detail);
    }

    std::size_t skip(std::size_t i);
    std::size_t takeFront();
    bool startsParameter(std::size_t i) const;
    std::size_t takeParameter(std::size_t i);
    std::size_t takeValue(std::size_t i, Section& section);
    std::size_t takeQuoted(std::size_t i, Section& section);
    std::size_t takeUnquoted(std::size_t i, Section& section);
    bool addSection(std::string_view name, Section section);
    std::size_t indexOf(std::string_view name);
    void assemble(std::span<const Section*> sections, std::string& out);
    void join(std::span<const Section*> sections, std::string& out);
    std::string unescaped(std::string_view text, std::uint64_t offset);

    const std::string_view m_value;
    const header::Decoding& m_options;
    Parsed& m_parsed;
    mail::Defects m_defects;
    mail::TextReader m_reader;
    mail::Delimiters m_delimiters;
    std::vector<Section> m_sections;
};

// Skips white space and comments.
std::size_t Parser::skip(std::size_t i) {
    while (i < m_value.size()) {
        const std::size_t end = at(i) == '(' ? m_delimiters.end(m_value, i) : kNone;
        if (end != kNone)
            i = end;
        else if (isSpaceAt(i))
            ++i;
        else
            break;
    }
    return i;
}

// Whether a name and "=" stand at `i`.
bool Parser::startsParameter(std::size_t i) const {
    const std::size_t start = i;
    while (i < m_value.size() && isNameCharacter(m_value[i]))
        ++i;
    return i > start && at(i) == '=' && at(i + 1) != '?';
}

// Reads what stands before the parameters, up to a semicolon.
std::size_t Parser::takeFront() {
    std::size_t i = skip(0);
    if (startsParameter(i)) {
        defect(Fault::kMissing, i, "a value before the parameters");
        return i;
    }
    std::string front;
    while (i < m_value.size() && at(i) != ';') {
        const std::size_t start = i;
        while (i < m_value.size() && at(i) != ';' && at(i) != '(' && !isSpaceAt(i))
            ++i;
        if (i == start) ++i;  // a parenthesis that is not closed
        if (!front.empty()) front.push_back(' ');
        m_reader.appendRaw(m_value.substr(start, i - start), start, front);
        i = skip(i);
        if (startsParameter(i)) {
            defect(Fault::kMissing, i, "a semicolon");
            break;
        }
    }
    m_parsed.value = std::move(front);
    return i;
}

void Parser::run() {
    std::size_t i = takeFront();
    while (i < m_value.size()) {
        i = skip(i + (at(i) == ';' ? 1 : 0));
        if (i < m_value.size() && at(i) != ';') i = takeParameter(i);
    }
    // In the order of parameters, and of their sections in these.
    std::vector<const Section*> order;
    order.reserve(m_sections.size());
    for (const Section& section : m_sections)
        order.push_back(&section);
    std::stable_sort(order.begin(), order.end(), [](const Section* a, const Section* b) {
        if (a->parameter != b->parameter) return a->parameter < b->parameter;
        if (a->kind != b->kind) return a->kind > b->kind;
        return a->number < b->number;
    });
    for (std::span<const Section*> left = order; !left.empty();) {
        std::size_t n = 1;
        while (n < left.size() && left[n]->parameter == left[0]->parameter)
            ++n;
        assemble(left.first(n), m_parsed.parameters[left[0]->parameter].value);
        left = left.subspan(n);
    }
    m_defects.sort();
}

std::size_t Parser::takeParameter(std::size_t i) {
    const std::size_t start = i;
    while (i < m_value.size() && isNameCharacter(at(i)))
        ++i;
    const std::string_view name = m_value.substr(start, i - start);
    i = skip(i);
    if (name.empty() || at(i) != '=') {
        defect(Fault::kSyntax, start, "a name and \"=\"");
        return std::min(m_value.find(';', std::max(i, start + 1)), m_value.size());
    }
    Section section{0, Section::Kind::kPlain, 0, false, false, {}, 0, start};
    i = takeValue(skip(i + 1), section);
    if (!addSection(name, std::move(section))) return m_value.size();
    i = skip(i);
    if (i < m_value.size() && at(i) != ';') defect(Fault::kMissing, i, "a semicolon");
    return i;
}

std::size_t Parser::takeValue(std::size_t i, Section& section) {
    section.offset = i;
    if (at(i) != '"') return takeUnquoted(i, section);
    section.isQuoted = true;
    ++section.offset;
    return takeQuoted(i, section);
}

// Reads a value in quotation marks. Senders forget to quote those inside it, and to close it.
std::size_t Parser::takeQuoted(std::size_t i, Section& section) {
    const std::size_t close = m_delimiters.end(m_value, i);
    std::size_t end = close;
    std::string_view text;
    if (close == kNone) {
        defect(Fault::kMissing, i, "the closing quotation mark");
        end = std::min(m_value.find(';', i), m_value.size());
        text = mail::trimmed(m_value.substr(i + 1, end - i - 1));
    } else {
        text = m_value.substr(i + 1, close - i - 2);
        const std::size_t next = skip(close);
        if (next < m_value.size() && at(next) != ';' && !startsParameter(next)) {
            end = std::min(m_value.find(';', next), m_value.size());
            const std::size_t last = m_value.find_last_not_of(" \t\r\n", end - 1);
            const bool isInside = m_value[last] == '"';
            if (isInside) text = m_value.substr(i + 1, last - i - 1);
            defect(Fault::kSyntax, close - 1,
                   isInside ? "a backslash before the quotation mark" : "a semicolon");
        }
    }
    section.text = mail::withoutQuotedPairs(text);
    return end;
}

// Reads a value that should be a token. A space in it is its end if a parameter follows.
std::size_t Parser::takeUnquoted(std::size_t i, Section& section) {
    const std::size_t start = i;
    std::size_t end = i;  // without white space and comments at the end
    while (i < m_value.size() && at(i) != ';') {
        const std::size_t next = skip(i);
        if (next > i) {
            if (next == m_value.size() || at(next) == ';' || startsParameter(next)) break;
            i = next;
            continue;
        }
        std::size_t resume = 0;
        const bool isWord = m_value.substr(i).starts_with("=?");
        const auto word = isWord ? mail::wordAt(m_value, i, resume) : std::nullopt;
        i = word ? word->end + 2 : i + 1;
        end = i;
    }
    section.text = m_value.substr(start, end - start);
    if (section.text.find_first_of(" \t\r\n") != kNone)
        defect(Fault::kSyntax, start, "quotation marks around white space");
    return end;
}

std::size_t Parser::indexOf(std::string_view name) {
    for (std::size_t i = 0; i < m_parsed.parameters.size(); ++i) {
        if (equalIgnoringCase(m_parsed.parameters[i].name, name)) return i;
    }
    if (m_parsed.parameters.size() == m_options.limits.parameters) return kNone;
    m_parsed.parameters.push_back({std::string(name), {}});
    return m_parsed.parameters.size() - 1;
}

// Files a section under its parameter. False when a limit is reached.
bool Parser::addSection(std::string_view name, Section section) {
    const std::size_t star = name.find('*');
    const std::string_view base = name.substr(0, star);
    if (star != kNone) {
        std::string_view after = name.substr(star + 1);
        section.isMarked = after.empty() || after.ends_with('*');
        if (after.ends_with('*')) after.remove_suffix(1);
        section.kind = after.empty() ? Section::Kind::kExtended : Section::Kind::kNumbered;
        const char* const end = after.data() + after.size();
        if (!after.empty() &&
            (after.size() > 9 || std::from_chars(after.data(), end, section.number).ptr != end)) {
            defect(Fault::kSyntax, section.start + star + 1, "the number of a section");
            return true;
        }
    }
    if (base.empty()) {
        defect(Fault::kSyntax, section.start, "a name");
        return true;
    }
    section.parameter = indexOf(base);
    if (section.parameter == kNone || m_sections.size() == m_options.limits.sections) {
        defect(Fault::kTooLong, section.start, "too many parameters");
        return false;
    }
    m_sections.push_back(std::move(section));
    return true;
}

// Decodes the best of the forms in which a parameter was written.
void Parser::assemble(std::span<const Section*> sections, std::string& out) {
    std::size_t n = 1;  // those of the first kind, without doubles
    for (std::size_t i = 1; i < sections.size(); ++i) {
        const auto isAsBefore = [&](const Section& before) {
            return sections[i]->kind == before.kind && sections[i]->number == before.number;
        };
        if (isAsBefore(*sections[i - 1]) || isAsBefore(*sections[n - 1]))
            defect(Fault::kDuplicate, sections[i]->start, "a parameter");
        else if (sections[i]->kind == sections[0]->kind)
            sections[n++] = sections[i];
    }
    sections = sections.first(n);
    if (sections[0]->kind == Section::Kind::kNumbered) {
        for (std::size_t i = 0; i < n; ++i) {
            const unsigned long expected = i == 0 ? 0 : sections[i - 1]->number + 1;
            if (sections[i]->number != expected)
                defect(Fault::kMissing, sections[i]->start, "a section before this one");
        }
    }
    join(sections, out);
}

void Parser::join(std::span<const Section*> sections, std::string& out) {
    const auto isMarked = [](const Section* section) { return section->isMarked; };
    const Section& first = *sections[0];
    if (std::none_of(sections.begin(), sections.end(), isMarked)) {
        std::string text;
        for (const Section* section : sections)
            text.append(section->text);
        if (m_options.quotedWords || !first.isQuoted)
            mail::appendDecoded(text, first.offset, m_reader, out);
        else
            m_reader.appendRaw(text, first.offset, out);
        return;
    }
    std::string label = "us-ascii", bytes;
    std::vector<mail::Place> places;
    for (const Section* section : sections) {
        std::string_view text = section->text;
        std::uint64_t offset = section->offset;
        if (section == &first && section->isMarked) {
            const std::size_t charsetEnd = text.find('\'');
            const std::size_t languageEnd =
                charsetEnd == kNone ? kNone : text.find('\'', charsetEnd + 1);
            if (languageEnd == kNone) {
                defect(Fault::kMissing, offset, "a charset and a language");
            } else {
                if (charsetEnd > 0) label = text.substr(0, charsetEnd);
                offset += languageEnd + 1;
                text.remove_prefix(languageEnd + 1);
            }
        }
        places.push_back({bytes.size(), offset});
        bytes.append(section->isMarked ? unescaped(text, offset) : std::string(text));
    }
    m_reader.append(bytes, label, places, out);
}

// The bytes that percent signs and two digits stand for.
std::string Parser::unescaped(std::string_view text, std::uint64_t offset) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isEscape = text[i] == '%' && text.size() - i > 2 &&
                              hexDigitValue(text[i + 1]) != kNoHexDigit &&
                              hexDigitValue(text[i + 2]) != kNoHexDigit;
        if (isEscape) {
            bytes.push_back(
                static_cast<char>(hexDigitValue(text[i + 1]) << 4 | hexDigitValue(text[i + 2])));
            i += 2;
        } else {
            if (text[i] == '%') defect(Fault::kBadEscape, offset + i, nullptr);
            bytes.push_back(text[i]);
        }
    }
    return bytes;
}

// ---- Writing ----

constexpr std::size_t kLongestName = 60;
constexpr std::size_t kShortestLine = 40;

// RFC 2045, section 5.1, and RFC 5987, section 3.2.1.
constexpr ByteClass kTokenBytes = byteClass(
    [](unsigned char b) { return b > 0x20 && b < 0x7F && !isOneOf(b, "()<>@,;:\\\"/[]?="); });
constexpr ByteClass kAttributeBytes =
    byteClass([](unsigned char b) { return isAlphanumeric(b) || isOneOf(b, "!#$&+-.^_`|~"); });

bool consistsOf(std::string_view text, const ByteClass& members) {
    return std::all_of(text.begin(), text.end(),
                       [&](char c) { return members[static_cast<unsigned char>(c)]; });
}

bool isToken(std::string_view text) { return !text.empty() && consistsOf(text, kTokenBytes); }

bool isQuotable(std::string_view text) {
    return text.find("=?") == kNone &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c < 0x7F; });
}

std::string quoted(std::string_view text) {
    std::string result = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') result.push_back('\\');
        result.push_back(c);
    }
    return result.append("\"");
}

// Appends a character as RFC 2231 has it.
void appendEscaped(std::string_view character, std::string& out) {
    for (const char c : character) {
        const auto b = static_cast<unsigned char>(c);
        if (kAttributeBytes[b])
            out.push_back(c);
        else
            out.append({'%', HexDigits[b >> 4], HexDigits[b & 15]});
    }
}

// What readers without RFC 2231 get: percent signs would be escapes for some.
std::string fallbackOf(std::string_view utf8) {
    std::string text;
    while (!utf8.empty()) {
        const std::size_t n = clusterLength(utf8, utf8.size());
        const char c = utf8[0];
        text.push_back(n == 1 && c >= ' ' && c < 0x7F &&
                               !isOneOf(static_cast<unsigned char>(c), "\"\\%")
                           ? c
                           : '_');
        utf8.remove_prefix(n);
    }
    return text;
}

class Writer {
public:
    Writer(std::string_view value, const Writing& writing)
        : m_writing(writing),
          m_lineLength(writing.lineLength == 0 ? kNone
                                               : std::max(writing.lineLength, kShortestLine)),
          m_text(value),
          m_column(writing.column + value.size()) {}

    void add(std::string_view name, std::string_view value);
    std::string take() { return std::move(m_text); }

private:
    std::string shortened(std::string text, std::size_t taken) const;
    bool fits(std::string_view item) const { return item.size() + 2 <= m_lineLength; }
    void put(std::string_view item);
    void addExtended(std::string_view name, std::string_view value);
    void addSections(std::string_view name, std::string_view value, bool isMarked);
    void addWords(std::string_view name, std::string_view value);

    const Writing m_writing;
    const std::size_t m_lineLength;
    std::string m_text;
    std::size_t m_column;
};

// Writes an item after a semicolon, on a new line unless it fits with the semicolon after it.
void Writer::put(std::string_view item) {
    m_text.push_back(';');
    ++m_column;
    if (m_lineLength != kNone && m_column + item.size() + 2 > m_lineLength) {
        m_text.append(m_writing.lineEnd);
        m_column = 0;
    }
    m_text.append(" ").append(item);
    m_column += item.size() + 1;
}

// Cuts a fallback that would be longer than a line, and keeps its extension.
std::string Writer::shortened(std::string text, std::size_t taken) const {
    const std::size_t most = m_lineLength - std::min(taken, m_lineLength - 1);
    if (text.size() <= most) return text;
    const std::size_t dot = text.rfind('.');
    const std::size_t extension = dot == kNone ? 0 : text.size() - dot;
    const std::size_t kept = extension < most ? most - extension : most;
    return text.erase(kept, extension < most ? text.size() - most : kNone);
}

void Writer::add(std::string_view name, std::string_view value) {
    std::string item(name);
    item.push_back('=');
    if (isToken(value)) {
        item.append(value);
    } else if (isQuotable(value)) {
        item.append(quoted(value));
    } else if (m_writing.form == Form::kEncodedWords) {
        addWords(name, value);
        return;
    } else {
        if (m_writing.form == Form::kTwin)
            put(item.append(quoted(shortened(fallbackOf(value), item.size() + 4))));
        addExtended(name, value);
        return;
    }
    if (fits(item))
        put(item);
    else
        addSections(name, value, false);
}

void Writer::addExtended(std::string_view name, std::string_view value) {
    std::string item(name);
    item.append("*=utf-8''");
    appendEscaped(value, item);
    if (fits(item))
        put(item);
    else
        addSections(name, value, true);
}

// Takes the next character off the value, as it is written in a section.
std::string nextOf(std::string_view& value, bool isMarked) {
    std::string next;
    if (isMarked) {
        const std::size_t n = clusterLength(value, 4);
        appendEscaped(value.substr(0, n), next);
        value.remove_prefix(n);
    } else {
        if (isOneOf(static_cast<unsigned char>(value[0]), "\"\\")) next.push_back('\\');
        next.push_back(value[0]);
        value.remove_prefix(1);
    }
    return next;
}

// Writes a value as sections, each of which fits in a line.
void Writer::addSections(std::string_view name, std::string_view value, bool isMarked) {
    const std::string_view open = isMarked ? "*=" : "=\"", close = isMarked ? "" : "\"";
    const std::size_t most = m_lineLength - 2 - close.size();
    std::string next;
    for (std::size_t number = 0; number == 0 || !next.empty(); ++number) {
        std::string item(name);
        item.append("*").append(std::to_string(number)).append(open);
        if (isMarked && number == 0) item.append("utf-8''");
        const std::size_t start = item.size();
        // One character at least.
        do {
            item.append(next);
            next = value.empty() ? std::string() : nextOf(value, isMarked);
        } while (!next.empty() && (item.size() == start || item.size() + next.size() <= most));
        put(item.append(close));
    }
}

void Writer::addWords(std::string_view name, std::string_view value) {
    std::string item(name);
    item.append("=\"");
    if (!fits(item + std::string(mail::HeaderWriter::kShortestWord, ' '))) {
        addExtended(name, value);
        return;
    }
    m_text.append(";").append(m_lineLength == kNone ? "" : m_writing.lineEnd).append(" ");
    m_text.append(item);
    const header::Encoding options{.context = header::Context::kPhrase,
                                   .column = item.size() + 1,
                                   .lineLength = m_writing.lineLength,
                                   .lineEnd = m_writing.lineEnd};
    mail::HeaderWriter writer(options, m_text);
    writer.words(value, 2);
    writer.glue("\"");
    m_column = writer.column();
}

}  // namespace

std::optional<std::string_view> Parsed::get(std::string_view name) const {
    for (const Parameter& parameter : parameters) {
        if (equalIgnoringCase(parameter.name, name)) return parameter.value;
    }
    return std::nullopt;
}

Parsed parse(Bytes fieldValue, const header::Decoding& options) {
    Parsed parsed;
    std::string_view text = fieldValue.text();
    if (text.size() > options.limits.valueLength) text = text.substr(0, options.limits.valueLength);
    Parser(text, options, parsed).run();
    if (text.size() < fieldValue.size() && parsed.defects.size() < options.limits.defects)
        parsed.defects.push_back({Fault::kTooLong, text.size()});
    return parsed;
}

Result<std::string> format(std::string_view value, std::span<const Parameter> parameters,
                           const Writing& writing) {
    for (std::size_t i = 0; i < value.size(); ++i) {
        const auto b = static_cast<unsigned char>(value[i]);
        if (b <= ' ' || b >= 0x7F || isOneOf(b, ";\"(),\\"))
            return Error{Fault::kSyntax, i, "a value without spaces and separators"};
    }
    Writer writer(value, writing);
    for (std::size_t i = 0; i < parameters.size(); ++i) {
        const Parameter& parameter = parameters[i];
        if (!isToken(parameter.name) || parameter.name.find_first_of("*'%") != kNone)
            return Error{Fault::kSyntax, i, "the name of a parameter"};
        if (parameter.name.size() > kLongestName) return Error{Fault::kTooLong, i};
        std::string replaced;
        writer.add(parameter.name, mail::wellFormedText(parameter.value, replaced));
    }
    return writer.take();
}

}  // namespace contentcoding::parameter
