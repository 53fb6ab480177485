#include "codec/Itida.h"

#include <algorithm>
#include <cassert>
#include <new>

#include "codec/Bytes.h"
#include "codec/ContentCoding.h"
#include "contentcoding/einvoice.hpp"
#include "support/BufferAccess.h"
#include "support/UpperCase.h"

namespace contentcoding {

using namespace std::string_view_literals;

namespace {

constexpr unsigned int kQuotes = 2;  // the quotation marks around a name or value

constexpr ByteClass kUnescaped = byteClass([](unsigned char b) { return b != '\\' && b != '"'; });

// How many characters come before the first that is escaped.
std::size_t unescapedRun(std::string_view text) {
    return runLength(reinterpret_cast<const unsigned char*>(text.data()), text.size(), kUnescaped);
}

// Adds up what Writer writes.
class Meter {
public:
    explicit Meter(std::uint64_t limit) : m_limit(limit) {}

    std::uint64_t size() const { return m_size; }
    bool isTooLarge() const { return m_isTooLarge; }

    WrittenName name(std::string_view text) {
        const WrittenName written{m_size, toUpperUtf8(text, nullptr) + kQuotes};
        return add(written.size) ? written : WrittenName{};
    }
    bool again(const WrittenName& name) { return add(name.size); }
    bool value(std::string_view text) {
        std::uint64_t size = text.size() + kQuotes;
        for (std::size_t run; (run = unescapedRun(text)) < text.size(); ++size)
            text.remove_prefix(run + 1);
        return add(size);
    }

private:
    bool add(std::uint64_t n) {
        m_isTooLarge = n > m_limit - m_size;
        if (!m_isTooLarge) m_size += n;
        return !m_isTooLarge;
    }

    const std::uint64_t m_limit;
    std::uint64_t m_size = 0;
    bool m_isTooLarge = false;
};

class Writer {
public:
    explicit Writer(char* form) : m_form(form), m_next(form) {}

    WrittenName name(std::string_view text) {
        char* const start = m_next;
        *m_next++ = '"';
        m_next += toUpperUtf8(text, m_next);
        *m_next++ = '"';
        return {static_cast<std::uint64_t>(start - m_form),
                static_cast<std::uint64_t>(m_next - start)};
    }

    bool again(const WrittenName& name) {
        put({m_form + name.at, static_cast<std::size_t>(name.size)});
        return true;
    }

    // A backslash comes before each backslash and double quote.
    bool value(std::string_view text) {
        *m_next++ = '"';
        while (true) {
            const std::size_t run = unescapedRun(text);
            put(text.substr(0, run));
            if (run == text.size()) break;
            *m_next++ = '\\';
            *m_next++ = text[run];
            text.remove_prefix(run + 1);
        }
        *m_next++ = '"';
        return true;
    }

private:
    void put(std::string_view text) {
        std::memcpy(m_next, text.data(), text.size());
        m_next += text.size();
    }

    char* const m_form;
    char* m_next;
};

// Has the form written into `out`, which is empty.
bool writeForm(ItidaForm& form, DataBuffer& out) {
    if (form.measure(ByteStorage::kMaxSize) != ItidaStatus::kOk) return false;
    if (form.size() == 0) return true;
    unsigned char* const room =
        BufferAccess::appendUninitialized(out, static_cast<unsigned int>(form.size()));
    if (room) form.write(reinterpret_cast<char*>(room));
    return room != nullptr;
}

// The offsets of what stands in a text that is a document, so that its grammar need not be looked
// at.

std::size_t startOfValue(std::string_view json, std::size_t at) {
    return json.find_first_not_of(" \t\r\n", at);
}

std::size_t endOfString(std::string_view json, std::size_t quote) {
    std::size_t at = quote + 1;
    while (json[at] != '"')
        at += json[at] == '\\' ? 2u : 1u;
    return at;
}

// What ends the member or element at `at`: a comma, or the end of what it is in.
std::size_t endOfItem(std::string_view json, std::size_t at) {
    for (unsigned int depth = 0;; ++at) {
        const char c = json[at];
        if (depth == 0 && (c == ',' || c == '}' || c == ']')) return at;
        if (c == '{' || c == '[') ++depth;
        if (c == '}' || c == ']') --depth;
        if (c == '"') at = endOfString(json, at);
    }
}

// The member or element of that index in what was opened before `at`; else the end of that.
std::size_t startOfItem(std::string_view json, std::size_t at, std::size_t index) {
    for (; index > 0; --index) {
        at = endOfItem(json, at);
        if (json[at] != ',') return at;
        ++at;
    }
    return startOfValue(json, at);
}

}  // namespace

ItidaForm::ItidaForm() : m_document(ClsJsonObject::createNewCls()), m_chosen(m_document) {
    m_documentOwner.take(m_document);
}

ItidaStatus ItidaForm::load(std::string_view json) {
    LogNull ignored;
    if (!m_document) return ItidaStatus::kNoMemory;
    if (m_document->loadJson(json, ignored)) return ItidaStatus::kOk;
    return fault().expected ? ItidaStatus::kNotJson : ItidaStatus::kNoMemory;
}

const JsonItem* ItidaForm::documents() const {
    for (const JsonItem& item : JsonItem::of(*m_document))
        if (item.name == "documents"sv) return &item;
    return nullptr;
}

ItidaStatus ItidaForm::chooseDocument(std::size_t index) {
    const JsonItem* const all = documents();
    if (!all) return ItidaStatus::kNoDocuments;
    if (all->type != kJsonArray) return ItidaStatus::kNoSuchElement;
    const auto elements = JsonItem::of(*all->nested);
    if (index >= elements.size() || elements[index].type != kJsonObject)
        return ItidaStatus::kNoSuchElement;
    m_chosen = elements[index].nested;
    return ItidaStatus::kOk;
}

std::size_t ItidaForm::placeOfDocument(std::string_view json, std::size_t index) const {
    const auto members = JsonItem::of(*m_document);
    const JsonItem* const all = documents();
    const auto member = all ? static_cast<std::size_t>(all - members.data()) : members.size();
    const std::size_t name = startOfItem(json, json.find('{') + 1, member);
    if (json[name] == '}') return name;
    const std::size_t value = startOfValue(json, json.find(':', endOfString(json, name)) + 1);
    return json[value] == '[' ? startOfItem(json, value + 1, index) : value;
}

ItidaStatus ItidaForm::measure(std::uint64_t maxSize) {
    Meter meter(maxSize);
    const bool done = walkItida(*m_chosen, m_open, meter);
    m_size = meter.size();
    return done                 ? ItidaStatus::kOk
           : meter.isTooLarge() ? ItidaStatus::kTooLarge
                                : ItidaStatus::kNoMemory;
}

void ItidaForm::write(char* form) {
    Writer writer(form);
    // It cannot fail: measure() has left enough memory for the open containers.
    static_cast<void>(walkItida(*m_chosen, m_open, writer));
}

namespace einvoice {
namespace {

constexpr std::uint64_t kLongestText = 0xFFFFFFFF;

// What a document that does not load is refused for. Short memory ends in std::bad_alloc, as where
// a container needs it.
Result<void> load(ItidaForm& form, std::string_view json) {
    if (json.size() > kLongestText) return Error{Fault::kTooLong, kLongestText};
    const ItidaStatus status = form.load(json);
    if (status == ItidaStatus::kNoMemory) throw std::bad_alloc();
    if (status == ItidaStatus::kNotJson)
        return Error{Fault::kSyntax, form.fault().offset, form.fault().expected};
    return {};
}

Error missing(const ItidaForm& form, std::string_view json, std::size_t index) {
    return {
        Fault::kMissing, form.placeOfDocument(json, index),
        form.documents() ? "this element of \"documents\", an object" : "the member \"documents\""};
}

}  // namespace

Result<std::string> canonicalize(Bytes json, const Options& options) {
    ItidaForm form;
    const std::string_view text = json.text();
    if (const Result<void> loaded = load(form, text); !loaded) return loaded.error();
    if (options.document && form.chooseDocument(*options.document) != ItidaStatus::kOk)
        return missing(form, text, *options.document);

    std::string written;
    const std::size_t limit = options.maxOutput > 0 ? options.maxOutput : written.max_size();
    const ItidaStatus status = form.measure(std::min(limit, written.max_size()));
    if (status == ItidaStatus::kNoMemory) throw std::bad_alloc();
    if (status == ItidaStatus::kTooLarge) return Error{Fault::kTooLarge, 0};
    form.write(detail::resizeForOverwrite(written, static_cast<std::size_t>(form.size())));
    return written;
}

Result<std::size_t> documentCount(Bytes json) {
    ItidaForm form;
    const std::string_view text = json.text();
    if (const Result<void> loaded = load(form, text); !loaded) return loaded.error();
    const JsonItem* const all = form.documents();
    if (!all) return missing(form, text, 0);
    return all->type == kJsonArray ? JsonItem::of(*all->nested).size() : 0;
}

}  // namespace einvoice
}  // namespace contentcoding

bool ContentCoding::canonicalizeItida(const DataBuffer& json, DataBuffer& out, LogBase& log) {
    using contentcoding::ItidaStatus;
    assert(&json != &out);
    out.clear();
    contentcoding::ItidaForm form;
    if (!form.exists()) return false;
    const std::string_view text(reinterpret_cast<const char*>(json.getData2()), json.getSize());
    if (form.load(text) != ItidaStatus::kOk) {
        log.LogError("Failed to load ITIDA JSON (1)");
        return false;
    }
    // Without "documents" the form is that of the whole document.
    if (log.m_options.containsSubstringNoCase("ItidaCanonFirstDoc") &&
        form.chooseDocument(0) == ItidaStatus::kNoSuchElement) {
        log.LogError("Failed to load ITIDA JSON (2)");
        return false;
    }
    return contentcoding::writeForm(form, out);
}
