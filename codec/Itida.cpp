#include "codec/ContentCoding.h"
#include "support/Json.h"

namespace {

bool appendQuoted(const XString& text, DataBuffer& out) {
    const auto size = static_cast<unsigned int>(text.view().size());
    return out.appendChar('"') && out.append(text.getUtf8(), size) && out.appendChar('"');
}

bool escape(XString& value, const char* what, const char* by) {
    return !value.containsSubstringUtf8(what) || value.replaceAllOccurancesUtf8(what, by, false);
}

bool canonicalizeItida_serialize(ClsJsonObject* object, DataBuffer& out, LogBase& log);
bool canonicalizeItida_serialize_a(const XString& name, ClsJsonArray* array, DataBuffer& out,
                                   LogBase& log);

// NOLINTBEGIN(misc-no-recursion): it is no deeper than a document, which the parser limits

// Writes item `i` of an object or array without its name. `name` is what the elements repeat if
// the item is an array; `value` is only there so that its room is used again.
bool serializeItem(const contentcoding::JsonContainer& container, int i, const XString& name,
                   XString& value, DataBuffer& out, LogBase& log) {
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
            // Backslashes first: those put before quotes stay single.
            return container.StringAt(i, value) && escape(value, "\\", "\\\\") &&
                   escape(value, "\"", "\\\"") && appendQuoted(value, out);
    }
}

bool canonicalizeItida_serialize(ClsJsonObject* object, DataBuffer& out, LogBase& log) {
    if (!object) return false;
    XString name, value;
    for (int i = 0; i < object->get_Size(); ++i) {
        if (!object->NameAt(i, name) || !name.toUpperCase() || !appendQuoted(name, out) ||
            !serializeItem(*object, i, name, value, out, log))
            return false;
    }
    return true;
}

bool canonicalizeItida_serialize_a(const XString& name, ClsJsonArray* array, DataBuffer& out,
                                   LogBase& log) {
    if (!array) return false;
    const XString unnamed;
    XString value;
    for (int i = 0; i < array->get_Size(); ++i) {
        if ((!name.isEmpty() && !appendQuoted(name, out)) ||
            !serializeItem(*array, i, unnamed, value, out, log))
            return false;
    }
    return true;
}

// NOLINTEND(misc-no-recursion)

}  // namespace

bool ContentCoding::canonicalizeItida(const DataBuffer& json, DataBuffer& out, LogBase& log) {
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
