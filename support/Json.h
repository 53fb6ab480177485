#ifndef SUPPORT_JSON_H
#define SUPPORT_JSON_H

#include <string_view>

#include "support/DataBuffer.h"
#include "support/Export.h"
#include "support/Log.h"
#include "support/RefCounted.h"
#include "support/XString.h"

// A JSON document as a tree of objects and arrays, which can be read, but not changed.
//
// Members and elements have indexes from 0, in the order of the text. Members of the same name are
// each a member of its own. A nested object or array is shared, not copied: who is handed one
// holds a reference, to be given back with decRefCount(), and it stays valid that long, whatever
// becomes of the object that the document was loaded into. (It is the whole document's memory that
// stays.) A document may be read on several threads at once.

class ClsJsonArray;
class ClsJsonObject;

namespace contentcoding {

// The type codes of JSON values.
enum JsonType {
    kJsonNone = 0,  // there is no value
    kJsonString = 1,
    kJsonNumber = 2,
    kJsonObject = 3,
    kJsonArray = 4,
    kJsonBool = 5,
    kJsonNull = 6
};

// Where a text is no JSON document, and what should stand there.
struct JsonFault {
    unsigned int line = 0;           // from 1
    unsigned int column = 0;         // from 1, in characters
    const char* expected = nullptr;  // a few words, which live for ever
};

struct JsonItem;
class JsonBuilder;
class JsonDocument;

// What objects and arrays have in common: items in a row. An index is an int and may have any
// value; where there is no item, there is no value.
class CONTENTCODING_EXPORT JsonContainer : public RefCountedObject {
public:
    // The number of members or elements.
    int get_Size() const { return static_cast<int>(m_count); }

    // A JsonType.
    int TypeAt(int index) const;

    // Stores the value as text: of a string its characters, up to the first U+0000; of a number
    // what the document has, character by character; "true", "false" or "null". False, and nothing
    // stored, for an object, an array, and no value, and when memory is short.
    bool StringAt(int index, XString& value) const;

    // The same text without a copy; it lives as long as the document. Empty where there is none.
    std::string_view textAt(int index) const;

    // The value with a reference for the caller; null when it is no object, or no array.
    ClsJsonObject* ObjectAt(int index) const;
    ClsJsonArray* ArrayAt(int index) const;

protected:
    JsonContainer() = default;
    using RefCountedObject::RefCountedObject;
    ~JsonContainer() override;

    // Where there is no such item, one without a name and a value.
    const JsonItem& itemAt(int index) const;
    const JsonItem& itemNamed(std::string_view name) const;
    const JsonItem& itemAtPath(std::string_view path) const;

    // Has the items of the other from now on.
    void shareItems(const JsonContainer& other) {
        m_items = other.m_items;
        m_count = other.m_count;
    }

private:
    friend class JsonBuilder;

    const JsonItem* m_items = nullptr;
    unsigned int m_count = 0;
};

}  // namespace contentcoding

class CONTENTCODING_EXPORT ClsJsonArray final : public contentcoding::JsonContainer {
private:
    friend class contentcoding::JsonBuilder;
    using JsonContainer::JsonContainer;
    ~ClsJsonArray() override;
};

// An object, and the way into a document, the root of which is an object.
class CONTENTCODING_EXPORT ClsJsonObject final : public contentcoding::JsonContainer {
public:
    // An object without members; the caller holds the only reference. Null when memory is short.
    static ClsJsonObject* createNewCls();

    // Replaces the members by those of the document that `json` holds. For objects that were made
    // by createNewCls: one that is nested in a document does not change, and the result is false.
    //   json     UTF-8, with or without a byte-order mark; an object, in at most 1000 levels of
    //            objects and arrays, this one included. Nothing but white space follows it.
    //            A name or a string ends at its first U+0000, written as an escape.
    //   returns  false, with the object unchanged, when `json` is anything else, or has a number
    //            with an exponent, of the first digit, above 308, or 100,000,000 digits in a row
    //            anywhere; when memory is short, which it always is for more than 178 million
    //            members and elements of objects and arrays that are open at once
    //   log      what was expected, and where, as fault() tells; nothing when memory is short
    //   source   RFC 8259; a lone surrogate (section 8.2) is a fault
    bool loadJson(const DataBuffer& json, LogBase& log);

    // Why the last loadJson of this object failed; without words when it did not, or when memory
    // was short.
    const contentcoding::JsonFault& fault() const { return m_fault; }

    // Whether there is a member of that name, NUL-terminated UTF-8. Null is no name.
    bool hasMember(const char* name, LogBase& log) const;

    // The object at a path, with a reference for the caller. Null when there is none.
    //   path     names of members with a "." between them, each followed by any number of indexes
    //            in brackets, in decimal: "documents[0]", "a.b[2].c", "m[1][2]". Of members of the
    //            same name the first is meant. A name with "." or "[" in it cannot be reached.
    //   log      the path, when there is no object
    ClsJsonObject* objectOf(const char* path, LogBase& log) const;

    // The name of a member, which lives as long as the document. Empty where there is none.
    std::string_view nameAt(int index) const;

    // The same as a copy. False, and nothing stored, for an index without a member, and when
    // memory is short.
    bool NameAt(int index, XString& name) const;

private:
    friend class contentcoding::JsonBuilder;
    ClsJsonObject() = default;
    using JsonContainer::JsonContainer;
    ~ClsJsonObject() override;

    contentcoding::JsonFault m_fault;
    RefCountedObjectOwner m_document;  // of an object that was loaded into
};

#endif
