#include "contentcoding/mailbox.hpp"

#include "codec/mail/HeaderWriter.h"
#include "codec/mail/Syntax.h"
#include "codec/mail/Words.h"
#include "support/charset/Utf8.h"

namespace contentcoding::mailbox {
namespace {

using mail::isAtomByte;

// ---- Writing ----

Result<void> refused(Fault fault, std::size_t offset, const char* detail = nullptr) {
    return Error{fault, offset, detail};
}

// Reads atoms with single dots between them, from `at` to `end`.
Result<void> checkDotAtom(std::string_view text, std::size_t at, std::size_t end) {
    constexpr const char* kExpected = "atoms with single dots between them";
    for (bool wanted = true; at < end || wanted; ++at) {
        if (at == end) return refused(Fault::kSyntax, at, kExpected);
        const bool isAtom = isAtomByte(static_cast<unsigned char>(text[at]));
        if (!isAtom && (wanted || text[at] != '.')) return refused(Fault::kSyntax, at, kExpected);
        wanted = !isAtom;
    }
    return {};
}

// Finds the "@" of an address, after a local part with or without quotation marks.
std::size_t atSignOf(std::string_view address) {
    if (!address.starts_with('"')) return address.find('@');
    const std::size_t end = mail::quotedEnd(address, 0);
    return end < address.size() && address[end] == '@' ? end : address.npos;
}

Result<void> checkAddress(std::string_view address) {
    if (const std::size_t n = wellFormedPrefix(address); n < address.size())
        return refused(Fault::kMalformed, n);
    if (const std::size_t n = mail::controlFreePrefix(address); n < address.size())
        return refused(Fault::kControl, n);
    for (std::size_t start = address.find("=?"), next = 0; start < address.size();
         start = address.find("=?", next)) {
        if (mail::wordAt(address, start, next))
            return refused(Fault::kSyntax, start, "an address outside of encoded words");
    }
    const std::size_t at = atSignOf(address);
    if (at == address.npos) return refused(Fault::kSyntax, address.size(), "\"@\"");
    if (!address.starts_with('"')) {
        if (auto local = checkDotAtom(address, 0, at); !local) return local;
    }
    const std::string_view domain = address.substr(at + 1);
    if (!domain.starts_with('[')) return checkDotAtom(address, at + 1, address.size());
    const std::size_t end = domain.find_first_of("[]\\ \t", 1);
    if (end == domain.npos || domain[end] != ']' || end + 1 < domain.size())
        return refused(Fault::kSyntax, at + 1, "\"]\" at the end");
    return {};
}

// Whether a name needs nothing but quotation marks. A name with one inside is encoded: not every
// reader knows about backslashes.
bool isQuotable(std::string_view name) {
    return name.front() != ' ' && name.back() != ' ' && name.find("=?") == name.npos &&
           std::all_of(name.begin(), name.end(),
                       [](char c) { return c >= ' ' && c < 0x7F && c != '"' && c != '\\'; });
}

// Whether a name can be a phrase without quotation marks.
bool isPlainPhrase(std::string_view name) {
    return isQuotable(name) && name.find("  ") == name.npos &&
           std::all_of(name.begin(), name.end(), [](char c) {
               return c == ' ' || isAtomByte(static_cast<unsigned char>(c));
           });
}

class ListWriter {
public:
    explicit ListWriter(const header::Encoding& options)
        : m_lineLength(options.lineLength), m_writer(withPhrase(options), m_text) {}

    // `after` is what follows directly.
    void add(std::string_view name, std::string_view address, std::string_view after) {
        if (name.find_first_not_of(' ') == name.npos) {
            m_writer.whole(std::string(address).append(after));
            return;
        }
        phrase(name, 0);
        m_writer.whole(std::string("<").append(address).append(">").append(after));
    }
    void startGroup(std::string_view name) {
        phrase(name, 1);
        m_writer.glue(":");
    }
    std::string take() { return std::move(m_text); }

private:
    static header::Encoding withPhrase(header::Encoding options) {
        options.context = header::Context::kPhrase;
        return options;
    }

    void phrase(std::string_view text, std::size_t after) {
        std::string replaced;
        const std::string_view name = mail::wellFormedText(text, replaced);
        const bool fits = m_lineLength == 0 || name.size() + 3 + after <= m_lineLength;
        if (!isPlainPhrase(name) && isQuotable(name) && fits)
            m_writer.whole(std::string("\"").append(name).append("\""));
        else
            m_writer.text(name, after);
    }

    std::size_t m_lineLength;
    std::string m_text;
    mail::HeaderWriter m_writer;
};

// ---- Reading ----

enum class Kind : unsigned char { kAtom, kWord, kQuoted, kComment, kLiteral, kAt };

// A piece of a mailbox. Atoms have dots inside.
struct Token {
    Kind kind;
    std::size_t begin, end;
};

// A longer text is not taken for a name with brackets inside: it would be read again and again.
constexpr std::size_t kLongestMerged = 200;

// Whether the token may be part of an address.
bool isAddressPart(const Token& token) {
    return token.kind == Kind::kAtom || token.kind == Kind::kQuoted || token.kind == Kind::kLiteral;
}

class Parser {
public:
    Parser(std::string_view value, const header::Decoding& options, Addresses& addresses)
        : m_value(value),
          m_addresses(addresses),
          m_defects(addresses.defects, options.limits.defects),
          m_reader(options, m_defects),
          m_most(options.limits.addresses) {}

    void run();

private:
    using Tokens = std::span<const Token>;

    char at(std::size_t i) const { return i < m_value.size() ? m_value[i] : '\0'; }
    std::string_view textOf(const Token& token) const {
        return m_value.substr(token.begin, token.end - token.begin);
    }
    void defect(Fault fault, std::size_t offset, const char* detail) {
        m_defects.add(fault, offset, detail);
    }

    bool isOverLimit() const { return m_addresses.list.size() > m_most; }
    std::size_t takeToken(std::size_t i, std::vector<Token>& tokens);
    std::size_t wordEnd(std::size_t i) const;
    std::size_t takeSpecial(std::size_t i);
    std::size_t takeAngle(std::size_t i);
    std::size_t endOfAngle(std::size_t i);
    void endItem();
    Tokens takeBareAddress(Tokens tokens);
    void add(Tokens name, std::string address);
    std::string addressOf(Tokens tokens, std::size_t offset);
    std::string nameOf(Tokens tokens);
    std::string commentOf(Tokens tokens);
    void appendRange(std::size_t begin, std::size_t end, std::string& name);
    void appendQuoted(const Token& token, std::string& name);

    const std::string_view m_value;
    Addresses& m_addresses;
    mail::Defects m_defects;
    mail::TextReader m_reader;
    const std::size_t m_most;
    mail::Delimiters m_delimiters;
    std::vector<Token> m_tokens;  // of the mailbox that is being read
    std::string m_group;
    std::size_t m_itemBegin = 0;  // where that starts which has brackets
    bool m_hasAngle = false;      // and its address is in the list already
    bool m_isInGroup = false;
};

void Parser::run() {
    std::size_t i = 0;
    while (i < m_value.size() && !isOverLimit()) {
        const std::size_t next = takeToken(i, m_tokens);
        i = next > i ? next : takeSpecial(i);
    }
    endItem();
    if (isOverLimit()) {
        m_addresses.list.resize(m_most);
        defect(Fault::kTooLong, i, "too many addresses");
    }
    m_defects.sort();
}

// The end of the encoded word at `i`; `i` itself if there is none.
std::size_t Parser::wordEnd(std::size_t i) const {
    if (!m_value.substr(i).starts_with("=?")) return i;
    std::size_t resume = 0;
    const auto word = mail::wordAt(m_value, i, resume);
    return word ? word->end + 2 : i;
}

// Reads white space, or a token that may stand in a name or address. Nothing at a special.
std::size_t Parser::takeToken(std::size_t i, std::vector<Token>& tokens) {
    const char c = at(i);
    const auto take = [&](Kind kind, std::size_t end) {
        tokens.push_back({kind, i, end});
        return end;
    };
    if (mail::isWhiteSpaceOnly(m_value.substr(i, 1))) return i + 1;
    if (c == '"' || c == '(') {
        const std::size_t end = m_delimiters.end(m_value, i);
        if (end != m_value.npos) return take(c == '"' ? Kind::kQuoted : Kind::kComment, end);
        defect(Fault::kMissing, i, c == '"' ? "the closing quotation mark" : "\")\"");
        return take(Kind::kAtom, i + 1);
    }
    if (c == '[') {
        const std::size_t end = m_value.find_first_of("[]<>,; \t\r\n", i + 1);
        if (at(end) == ']') return take(Kind::kLiteral, end + 1);
        return take(Kind::kAtom, i + 1);
    }
    if (c == '@') return take(Kind::kAt, i + 1);
    if (std::string_view("<>,;:").find(c) != std::string_view::npos) return i;
    if (const std::size_t end = wordEnd(i); end > i) return take(Kind::kWord, end);
    std::size_t end = i + 1;
    while (end < m_value.size() && !mail::isSpecial(m_value[end]) && wordEnd(end) == end)
        ++end;
    return take(Kind::kAtom, end);
}

std::size_t Parser::takeSpecial(std::size_t i) {
    switch (at(i)) {
        case '<':
            return takeAngle(i);
        case ':': {
            const bool isName = !m_hasAngle && !m_isInGroup && !m_tokens.empty() &&
                                std::none_of(m_tokens.begin(), m_tokens.end(),
                                             [](const Token& t) { return t.kind == Kind::kAt; });
            if (isName) {
                m_group = nameOf(m_tokens);
                m_isInGroup = true;
                m_tokens.clear();
            } else {
                defect(Fault::kSyntax, i, "a name before the colon");
                m_tokens.push_back({Kind::kComment, i, i});  // nothing is joined over it
            }
            return i + 1;
        }
        case ';':
            endItem();
            if (!m_isInGroup) defect(Fault::kSyntax, i, "a comma");
            m_group.clear();
            m_isInGroup = false;
            return i + 1;
        case ',':
            endItem();
            return i + 1;
        default:
            defect(Fault::kSyntax, i, "\"<\" before \">\"");
            return i + 1;
    }
}

// Where the address that starts after the "<" at `i` ends: at its ">", or where that is missing.
std::size_t Parser::endOfAngle(std::size_t i) {
    std::size_t end = i + 1, separator = m_value.npos;
    while (end < m_value.size() && m_value[end] != '<' && m_value[end] != '>') {
        const char c = m_value[end];
        if ((c == ',' || c == ';') && separator == m_value.npos) separator = end;
        const bool opens = c == '"' || c == '(';
        const std::size_t close = opens ? m_delimiters.end(m_value, end) : m_value.npos;
        const std::size_t next = std::max(wordEnd(end), end + 1);
        end = close != m_value.npos ? close : next;
    }
    if (at(end) == '>') return end;
    end = std::min({end, separator, m_value.size()});
    defect(Fault::kMissing, end, "\">\"");
    return end;
}

// Reads an address in brackets, with its name if that stands before it.
std::size_t Parser::takeAngle(std::size_t i) {
    if (at(i + 1) == '<') {
        defect(Fault::kSyntax, i, "one \"<\"");
        return i + 1;
    }
    const std::size_t end = endOfAngle(i);
    const std::string_view inside = m_value.substr(0, end);
    std::size_t next = i + 1;
    const std::size_t first = inside.find_first_not_of(" \t\r\n", next);
    if (first != inside.npos && inside[first] == '@') {
        // A route: RFC 5322, section 4.4.
        const std::size_t colon = inside.find(':', first);
        defect(Fault::kSyntax, first, "no route");
        next = colon == inside.npos ? end : colon + 1;
    }
    std::vector<Token> tokens;
    bool isSound = true;
    while (next < end) {
        const std::size_t after = takeToken(next, tokens);
        isSound = isSound && after > next;
        next = std::max(after, next + 1);
    }
    const bool isSecond = m_hasAngle;
    if (isSecond) defect(Fault::kSyntax, i, "a comma");
    std::string address;
    if (isSound)
        address = addressOf(tokens, i + 1);
    else
        defect(Fault::kSyntax, i + 1, "an address");
    if (!isSecond) m_itemBegin = m_tokens.empty() ? i : m_tokens.front().begin;
    if (isSecond && i - m_itemBegin < kLongestMerged &&
        m_addresses.list.back().address.find('@') == std::string::npos) {
        // What is in the first brackets cannot be an address: it belongs to the name.
        Mailbox& last = m_addresses.list.back();
        last = {{}, std::move(address), m_group};
        const std::string_view name = mail::trimmed(m_value.substr(m_itemBegin, i - m_itemBegin));
        appendRange(m_itemBegin, m_itemBegin + name.size(), last.name);
    } else {
        if (isSecond) m_itemBegin = i;
        add(m_tokens, std::move(address));
    }
    m_tokens.clear();
    m_hasAngle = true;
    return end + (at(end) == '>' ? 1 : 0);
}

// Ends a mailbox at a separator or at the end of the value.
void Parser::endItem() {
    Tokens tokens = m_tokens;
    if (m_hasAngle) {
        // A name may stand after the address as a comment.
        Mailbox& last = m_addresses.list.back();
        if (last.name.empty()) last.name = commentOf(tokens);
        for (const Token& token : tokens) {
            if (token.kind == Kind::kComment) continue;
            defect(Fault::kSyntax, token.begin, "a comma");
            break;
        }
    } else {
        const auto isText = [](const Token& t) { return t.kind != Kind::kComment; };
        while (!isOverLimit() && std::any_of(tokens.begin(), tokens.end(), isText))
            tokens = takeBareAddress(tokens);
    }
    m_tokens.clear();
    m_hasAngle = false;
}

// Reads the first address without brackets, and returns the tokens after it. All of the tokens are
// a name if there is none.
Parser::Tokens Parser::takeBareAddress(Tokens tokens) {
    const auto text = [&](std::size_t t) { return textOf(tokens[t]); };
    std::size_t sign = 0;
    while (sign < tokens.size() && tokens[sign].kind != Kind::kAt)
        ++sign;
    if (sign == tokens.size()) {
        defect(Fault::kMissing, tokens.front().begin, "an address");
        add(tokens, {});
        return {};
    }
    std::size_t first = sign, last = sign + 1;
    if (first > 0 && isAddressPart(tokens[first - 1])) --first;
    while (first > 0 && first < sign && isAddressPart(tokens[first - 1]) &&
           (text(first).starts_with('.') || text(first - 1).ends_with('.')))
        --first;
    if (last < tokens.size() && isAddressPart(tokens[last])) ++last;
    while (last < tokens.size() && last > sign + 1 && isAddressPart(tokens[last]) &&
           (text(last).starts_with('.') || text(last - 1).ends_with('.')))
        ++last;
    // What touches it would belong to it, or to nothing.
    const auto touch = [&](std::size_t t) {
        return t > 0 && t < tokens.size() && tokens[t - 1].end == tokens[t].begin &&
               tokens[t - 1].kind != Kind::kComment && tokens[t].kind != Kind::kComment;
    };
    const bool isAlone = !touch(first) && !touch(last);
    while (touch(last))
        ++last;
    std::string address;
    if (isAlone)
        address = addressOf(tokens.subspan(first, last - first), tokens[first].begin);
    else
        defect(Fault::kSyntax, tokens[first].begin, "an address");
    const Tokens before = tokens.first(first);
    std::size_t comments = last;
    while (comments < tokens.size() && tokens[comments].kind == Kind::kComment)
        ++comments;
    if (!before.empty() && before.front().kind != Kind::kComment)
        defect(Fault::kSyntax, tokens[first].begin, "\"<\"");
    add(before, std::move(address));
    Mailbox& added = m_addresses.list.back();
    if (added.name.empty()) added.name = commentOf(tokens.subspan(last, comments - last));
    if (comments < tokens.size()) defect(Fault::kSyntax, tokens[comments].begin, "a comma");
    return tokens.subspan(comments);
}

void Parser::add(Tokens name, std::string address) {
    std::string text = nameOf(name);
    if (text.empty()) text = commentOf(name);
    m_addresses.list.push_back({std::move(text), std::move(address), m_group});
}

// The address that the tokens make, without comments and spaces; empty when they make none, which
// is a defect.
std::string Parser::addressOf(Tokens tokens, std::size_t offset) {
    const auto none = [&](Fault fault, std::size_t at, const char* detail) {
        defect(fault, at, detail);
        return std::string();
    };
    std::string address;
    std::size_t signs = 0;
    const Token* before = nullptr;
    for (const Token& token : tokens) {
        if (token.kind == Kind::kComment) continue;
        if (token.kind == Kind::kWord)
            return none(Fault::kSyntax, token.begin, "an address outside of encoded words");
        const std::string_view text = textOf(token);
        // Parts stand beside a "@" or a dot, or they are two.
        const bool joins = !before || before->kind == Kind::kAt || token.kind == Kind::kAt ||
                           text.starts_with('.') || address.ends_with('.');
        if (!joins) return none(Fault::kSyntax, token.begin, "an address");
        if (before && before->end < token.begin)
            defect(Fault::kSyntax, before->end, "no space or comment in an address");
        if (token.kind == Kind::kAt && ++signs > 1)
            return none(Fault::kSyntax, token.begin, "one \"@\"");
        address.append(text);
        before = &token;
    }
    if (wellFormedPrefix(address) < address.size())
        return none(Fault::kMalformed, offset, "in an address");
    if (mail::controlFreePrefix(address) < address.size())
        return none(Fault::kControl, offset, "in an address");
    if (address.empty() || address.starts_with('@') || address.ends_with('@'))
        return none(Fault::kMissing, offset, "an address");
    if (signs == 0) defect(Fault::kMissing, offset, "\"@\" and a domain");
    return address;
}

// ---- Names ----

std::string Parser::nameOf(Tokens tokens) {
    std::string name;
    for (std::size_t t = 0; t < tokens.size();) {
        if (tokens[t].kind == Kind::kComment) {
            ++t;
            continue;
        }
        if (t > 0 && !name.empty() && tokens[t - 1].end < tokens[t].begin) name.push_back(' ');
        if (tokens[t].kind == Kind::kQuoted) {
            appendQuoted(tokens[t++], name);
            continue;
        }
        const std::size_t begin = tokens[t].begin;
        while (t < tokens.size() && tokens[t].kind != Kind::kQuoted &&
               tokens[t].kind != Kind::kComment)
            ++t;
        appendRange(begin, tokens[t - 1].end, name);
    }
    return name;
}

// Appends atoms and words. White space between them is a single space, however much it is.
void Parser::appendRange(std::size_t begin, std::size_t end, std::string& name) {
    const std::string_view range = m_value.substr(begin, end - begin);
    const std::string single = mail::withSingleSpaces(range);
    mail::appendDecoded(single.empty() ? range : single, begin, m_reader, name);
}

void Parser::appendQuoted(const Token& token, std::string& name) {
    mail::appendDecodedQuoted(textOf(token), token.begin, m_reader, name);
}

// The text of the first comment that has one.
std::string Parser::commentOf(Tokens tokens) {
    std::string text;
    for (auto token = tokens.begin(); token != tokens.end() && text.empty(); ++token) {
        if (token->kind != Kind::kComment || token->begin == token->end) continue;
        const std::string_view inside = textOf(*token);
        const std::string_view trimmed = mail::trimmed(inside.substr(1, inside.size() - 2));
        const auto offset = token->begin + static_cast<std::size_t>(trimmed.data() - inside.data());
        mail::appendDecoded(mail::withoutBackslashes(trimmed), offset, m_reader, text);
    }
    return text;
}

}  // namespace

Result<std::string> format(Bytes name, std::string_view address, const header::Encoding& options) {
    if (const auto checked = checkAddress(address); !checked) return checked.error();
    ListWriter writer(options);
    writer.add(name.text(), address, {});
    return writer.take();
}

Result<std::string> formatList(std::span<const Mailbox> mailboxes,
                               const header::Encoding& options) {
    ListWriter writer(options);
    for (std::size_t i = 0; i < mailboxes.size(); ++i) {
        const Mailbox& mailbox = mailboxes[i];
        if (auto checked = checkAddress(mailbox.address); !checked) {
            Error error = checked.error();
            error.offset = i;
            return error;
        }
        const bool starts = i == 0 || mailboxes[i - 1].group != mailbox.group;
        const bool ends = i + 1 == mailboxes.size() || mailboxes[i + 1].group != mailbox.group;
        const bool isGroup = !mailbox.group.empty();
        if (isGroup && starts) writer.startGroup(mailbox.group);
        const bool isLast = i + 1 == mailboxes.size();
        writer.add(mailbox.name, mailbox.address,
                   isGroup && ends ? (isLast ? ";" : ";,") : (isLast ? "" : ","));
    }
    return writer.take();
}

Addresses parse(Bytes value, const header::Decoding& options) {
    Addresses addresses;
    std::string_view text = value.text();
    if (text.size() > options.limits.valueLength) text = text.substr(0, options.limits.valueLength);
    Parser(text, options, addresses).run();
    if (text.size() < value.size() && addresses.defects.size() < options.limits.defects)
        addresses.defects.push_back({Fault::kTooLong, text.size()});
    return addresses;
}

}  // namespace contentcoding::mailbox
