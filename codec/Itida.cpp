#include <cassert>

#include "codec/Bytes.h"
#include "codec/ContentCoding.h"
#include "support/Ascii.h"
#include "support/BufferAccess.h"
#include "support/Json.h"

namespace {

bool appendQuoted(const XString& text, DataBuffer& out) {
    const auto size = static_cast<unsigned int>(text.view().size());
    return out.appendChar('"') && out.append(text.getUtf8(), size) && out.appendChar('"');
}

constexpr contentcoding::ByteClass kAscii =
    contentcoding::byteClass([](unsigned char b) { return b < 0x80; });

std::size_t runOf(const contentcoding::ByteClass& is, std::string_view text) {
    return contentcoding::runLength(reinterpret_cast<const unsigned char*>(text.data()),
                                    text.size(), is);
}

constexpr contentcoding::ByteClass kUnescaped =
    contentcoding::byteClass([](unsigned char b) { return b != '\\' && b != '"'; });

// A backslash comes before each backslash and double quote.
bool appendValue(std::string_view text, DataBuffer& out) {
    if (!out.appendChar('"')) return false;
    while (!text.empty()) {
        const std::size_t run = runOf(kUnescaped, text);
        if (!out.append(text.data(), static_cast<unsigned int>(run))) return false;
        text.remove_prefix(run);
        if (text.empty()) break;
        if (!out.appendChar('\\') || !out.append(text.data(), 1)) return false;
        text.remove_prefix(1);
    }
    return out.appendChar('"');
}

// Writes the name of member `i`; that of an array is left in `upper` too. Most names are ASCII, and
// are put into upper case where they are written.
bool appendName(const ClsJsonObject& object, int i, XString& upper, DataBuffer& out) {
    const std::string_view name = object.nameAt(i);
    if (object.TypeAt(i) == contentcoding::kJsonArray || runOf(kAscii, name) < name.size())
        return object.NameAt(i, upper) && upper.toUpperCase() && appendQuoted(upper, out);
    unsigned char* p = contentcoding::BufferAccess::appendUninitialized(
        out, static_cast<unsigned int>(name.size() + 2));
    if (!p) return false;
    *p++ = '"';
    for (const char c : name)
        *p++ = static_cast<unsigned char>(contentcoding::toUpperAscii(c));
    *p = '"';
    return true;
}

bool canonicalizeItida_serialize(ClsJsonObject* object, DataBuffer& out, LogBase& log);
bool canonicalizeItida_serialize_a(const XString& name, ClsJsonArray* array, DataBuffer& out,
                                   LogBase& log);

// NOLINTBEGIN(misc-no-recursion): it is no deeper than a document, which the parser limits

// Writes item `i` of an object or array without its name. `name` is what the elements repeat if
// the item is an array.
bool serializeItem(const contentcoding::JsonContainer& container, int i, const XString& name,
                   DataBuffer& out, LogBase& log) {
    RefCountedObjectOwner owner;
    switch (container.TypeAt(i)) {
        case contentcoding::kJsonObject: {
            ClsJsonObject* const object = container.ObjectAt(i);
            owner.take(object);
            return canonicalizeItida_serialize(object, out, log);
        }
        case contentcoding::kJsonArray: {
            ClsJsonArray* const array = container.ArrayAt(i);
            owner.take(array);
            return canonicalizeItida_serialize_a(name, array, out, log);
        }
        default:
            return appendValue(container.textAt(i), out);
    }
}

bool canonicalizeItida_serialize(ClsJsonObject* object, DataBuffer& out, LogBase& log) {
    if (!object) return false;
    XString name;
    for (int i = 0; i < object->get_Size(); ++i) {
        if (!appendName(*object, i, name, out) || !serializeItem(*object, i, name, out, log))
            return false;
    }
    return true;
}

bool canonicalizeItida_serialize_a(const XString& name, ClsJsonArray* array, DataBuffer& out,
                                   LogBase& log) {
    if (!array) return false;
    const XString unnamed;
    for (int i = 0; i < array->get_Size(); ++i) {
        if ((!name.isEmpty() && !appendQuoted(name, out)) ||
            !serializeItem(*array, i, unnamed, out, log))
            return false;
    }
    return true;
}

// NOLINTEND(misc-no-recursion)

}  // namespace

bool ContentCoding::canonicalizeItida(const DataBuffer& json, DataBuffer& out, LogBase& log) {
    assert(&json != &out);
    out.clear();
    ClsJsonObject* const document = ClsJsonObject::createNewCls();
    if (!document) return false;
    RefCountedObjectOwner documentOwner, firstOwner;
    documentOwner.take(document);
    LogNull unheard;
    if (!document->loadJson(json, unheard)) {
        log.LogError("Failed to load ITIDA JSON (1)");
        return false;
    }
    ClsJsonObject* chosen = document;
    if (document->hasMember("documents", unheard) &&
        log.m_options.containsSubstringNoCase("ItidaCanonFirstDoc")) {
        chosen = document->objectOf("documents[0]", unheard);
        firstOwner.take(chosen);
        if (!chosen) {
            log.LogError("Failed to load ITIDA JSON (2)");
            return false;
        }
    }
    if (canonicalizeItida_serialize(chosen, out, log)) return true;
    out.clear();
    return false;
}
