// The canonical form is a function of the parsed document: white space between the tokens, and the
// ways in which a string can be escaped, do not change it. Its size is known before it is written.
#include <cstdio>
#include <string>

#include "codec/Itida.h"
#include "contentcoding/einvoice.hpp"
#include "fuzz/Input.h"

namespace {

// The name of an array stands before each element, so the form grows with the square of the text.
constexpr std::size_t kLongest = 1 << 15;

// Writes a document again, with white space and escapes chosen by the fuzzer.
class Rewriter {
public:
    explicit Rewriter(std::string_view style) : m_style(style) {}

    const std::string& text() const { return m_text; }

    void writeObject(const ClsJsonObject& object) {
        put("{");
        for (int i = 0; i < object.get_Size(); ++i) {
            if (i > 0) put(",");
            XString name;
            expect(object.NameAt(i, name));
            putString(name.view());
            put(":");
            writeItem(object, i);
        }
        put("}");
    }

private:
    void writeItem(const contentcoding::JsonContainer& container, int i) {
        RefCountedObjectOwner owner;
        XString value;
        if (ClsJsonObject* const object = container.ObjectAt(i)) {
            owner.take(object);
            writeObject(*object);
        } else if (ClsJsonArray* const array = container.ArrayAt(i)) {
            owner.take(array);
            put("[");
            for (int k = 0; k < array->get_Size(); ++k) {
                if (k > 0) put(",");
                writeItem(*array, k);
            }
            put("]");
        } else {
            expect(container.StringAt(i, value));
            if (container.TypeAt(i) == contentcoding::kJsonString)
                putString(value.view());
            else
                put(value.view());
        }
    }

    void put(std::string_view token) {
        constexpr std::string_view blanks[] = {"", " ", "\t", "\r\n", "  \n"};
        m_text += blanks[drawStyle() % 5];
        m_text += token;
        m_text += blanks[drawStyle() % 5];
    }

    // Escapes what must be escaped, and some other ASCII characters.
    void putString(std::string_view value) {
        std::string quoted = "\"";
        for (const char c : value) {
            const bool control = static_cast<unsigned char>(c) < 0x20;
            const unsigned int style = drawStyle() % 8;
            if (control || (style == 1 && static_cast<unsigned char>(c) < 0x80)) {
                char escape[sizeof "\\u0000"];
                std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned int>(c));
                quoted += escape;
            } else {
                if (c == '"' || c == '\\' || (c == '/' && style == 2)) quoted += '\\';
                quoted += c;
            }
        }
        put(quoted + '"');
    }

    unsigned int drawStyle() {
        return m_next < m_style.size() ? static_cast<unsigned char>(m_style[m_next++]) : 0;
    }

    std::string_view m_style;
    std::size_t m_next = 0;
    std::string m_text;
};

// The form of the text, alone or after a byte-order mark.
DataBuffer formOf(std::string_view json, LogBase& log) {
    DataBuffer form;
    const HeapCopy exact(json, HeapCopy::kExact);
    expect(ContentCoding::canonicalizeItida(DataBuffer({exact.bytes(), exact.size()}), form, log));
    return form;
}

void expectExactSize(std::string_view json, const DataBuffer& form) {
    contentcoding::ItidaForm measured;
    expect(measured.load(json) == contentcoding::ItidaStatus::kOk);
    expect(measured.measure(form.getSize()) == contentcoding::ItidaStatus::kOk);
    expect(measured.size() == form.getSize());
    if (form.getSize() == 0) return;
    const auto none =
        contentcoding::einvoice::canonicalize(json, {.maxOutput = form.getSize() - 1});
    expect(!none && none.error().fault == contentcoding::Fault::kTooLarge);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    Input input(data, size);
    const std::string_view style = input.shortText();
    const HeapCopy text = input.rest(HeapCopy::kExact, kLongest);
    ClsJsonObject* const document = ClsJsonObject::createNewCls();
    RefCountedObjectOwner owner;
    owner.take(document);
    LogNull log;
    if (!document->loadJson(DataBuffer({text.bytes(), text.size()}), log)) return 0;

    Rewriter rewritten(style);
    rewritten.writeObject(*document);
    const DataBuffer form = formOf(text.view(), log);
    expectExactSize(text.view(), form);
    expect(viewOf(formOf(rewritten.text(), log)) == viewOf(form));
    expect(viewOf(formOf("\xEF\xBB\xBF" + rewritten.text(), log)) == viewOf(form));
    return 0;
}
