#include "codec/Itida.h"

#include <algorithm>
#include <cassert>

#include "codec/Bytes.h"
#include "codec/ContentCoding.h"
#include "support/BufferAccess.h"
#include "support/UpperCase.h"

namespace contentcoding {
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
CanonicalStatus writeForm(ItidaForm& form, std::uint64_t maxSize, DataBuffer& out) {
    const CanonicalStatus status =
        form.measure(std::min<std::uint64_t>(maxSize, ByteStorage::kMaxSize));
    if (status != CanonicalStatus::kOk || form.size() == 0) return status;
    unsigned char* const room =
        BufferAccess::appendUninitialized(out, static_cast<unsigned int>(form.size()));
    if (!room) return CanonicalStatus::kNoMemory;
    form.write(reinterpret_cast<char*>(room));
    return CanonicalStatus::kOk;
}

}  // namespace

ItidaForm::ItidaForm() : m_document(ClsJsonObject::createNewCls()), m_chosen(m_document) {
    m_documentOwner.take(m_document);
}

CanonicalStatus ItidaForm::load(std::string_view json) {
    LogNull ignored;
    if (!m_document) return CanonicalStatus::kNoMemory;
    if (m_document->loadJson(json, ignored)) return CanonicalStatus::kOk;
    return fault().expected ? CanonicalStatus::kNotJson : CanonicalStatus::kNoMemory;
}

CanonicalStatus ItidaForm::chooseFirst() {
    LogNull ignored;
    if (!m_document->hasMember("documents", ignored)) return CanonicalStatus::kOk;
    m_chosen = m_document->objectOf("documents[0]", ignored);
    m_firstOwner.take(m_chosen);
    return m_chosen ? CanonicalStatus::kOk : CanonicalStatus::kNoFirstDocument;
}

CanonicalStatus ItidaForm::measure(std::uint64_t maxSize) {
    Meter meter(maxSize);
    const bool done = walkItida(*m_chosen, m_open, meter);
    m_size = meter.size();
    return done                 ? CanonicalStatus::kOk
           : meter.isTooLarge() ? CanonicalStatus::kTooLarge
                                : CanonicalStatus::kNoMemory;
}

void ItidaForm::write(char* form) {
    Writer writer(form);
    // It cannot fail: measure() has left enough memory for the open containers.
    static_cast<void>(walkItida(*m_chosen, m_open, writer));
}

CanonicalResult canonicalizeItida(std::string_view json, const CanonicalOptions& options,
                                  DataBuffer& out) {
    out.clear();
    ItidaForm form;
    CanonicalStatus status = form.load(json);
    if (status == CanonicalStatus::kNotJson) return {status, form.fault()};
    if (status == CanonicalStatus::kOk && options.firstDocument) status = form.chooseFirst();
    if (status == CanonicalStatus::kOk) status = writeForm(form, options.maxSize, out);
    return {status, {}};
}

}  // namespace contentcoding

bool ContentCoding::canonicalizeItida(const DataBuffer& json, DataBuffer& out, LogBase& log) {
    using contentcoding::CanonicalStatus;
    assert(&json != &out);
    out.clear();
    contentcoding::ItidaForm form;
    if (!form.exists()) return false;
    const std::string_view text(reinterpret_cast<const char*>(json.getData2()), json.getSize());
    if (form.load(text) != CanonicalStatus::kOk) {
        log.LogError("Failed to load ITIDA JSON (1)");
        return false;
    }
    if (log.m_options.containsSubstringNoCase("ItidaCanonFirstDoc") &&
        form.chooseFirst() != CanonicalStatus::kOk) {
        log.LogError("Failed to load ITIDA JSON (2)");
        return false;
    }
    return contentcoding::writeForm(form, ~std::uint64_t{0}, out) == CanonicalStatus::kOk;
}
