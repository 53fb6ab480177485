#ifndef SUPPORT_JSON_H
#define SUPPORT_JSON_H

#include <string_view>
#include "contentcoding/export.hpp"

#include "support/DataBuffer.h"
#include "support/Log.h"
#include "support/RefCounted.h"
#include "support/XString.h"

// A JSON document as a tree of objects and arrays, which can be read, but not changed.
//
// Members and elements have indexes from 0, in the order of the text. Members of the same name are
// separate members. A nested object or array is shared, not copied: ObjectAt() and the like hand
// out a reference, which the caller gives back with decRefCount(). It keeps the memory of the whole
// document, whatever becomes of the object that the document was loaded into. Several threads may
// read a document at once.
//
// Stack: every function here, and ContentCoding::canonicalizeItida, gets by with 16 KB of a
// thread's stack, however deep the document is nested; builds with sanitizers need more.

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

// Position of a syntax error, and what was expected there.
struct JsonFault {
    unsigned int line = 0;           // from 1; a line ends with LF, CR or CRLF
    unsigned int column = 0;         // from 1, in characters; a byte-order mark is not one
    std::size_t offset = 0;          // from 0, in bytes of the whole text
    const char* expected = nullptr;  // a few words, in static storage; null when there is no fault
};

struct JsonItem;
class JsonBuilder;
class JsonDocument;

// What objects and arrays have in common: a sequence of items. An index may have any value; where
// there is no item, the type is kJsonNone.
class CONTENTCODING_EXPORT JsonContainer : public RefCountedObject {
public:
    // The number of members or elements.
    int get_Size() const { return static_cast<int>(m_count); }

    // A JsonType.
    int TypeAt(int index) const;

    // Stores the value as text: the characters of a string, up to the first U+0000; a number as it
    // is written in the document; "true", "false" or "null". False, and nothing stored, for an
    // object, an array, an index without an item, and when memory is short.
    [[nodiscard]] bool StringAt(int index, XString& value) const;

    // The same text without a copy, valid as long as the document; empty where StringAt() stores
    // nothing.
    std::string_view valueView(int index) const;

    // The value with a reference for the caller; null when it is not an object, or not an array.
    [[nodiscard]] ClsJsonObject* ObjectAt(int index) const;
    [[nodiscard]] ClsJsonArray* ArrayAt(int index) const;

protected:
    JsonContainer() = default;
    using RefCountedObject::RefCountedObject;
    ~JsonContainer() override;

    // The item, or one of type kJsonNone where there is none.
    const JsonItem& itemAt(int index) const;
    const JsonItem& itemNamed(std::string_view name) const;
    const JsonItem& itemAtPath(std::string_view path) const;

    // Takes over the items of the other.
    void shareItems(const JsonContainer& other) {
        m_items = other.m_items;
        m_count = other.m_count;
    }

private:
    friend class JsonBuilder;
    friend struct JsonItem;

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
    [[nodiscard]] static ClsJsonObject* createNewCls();

    // Replaces the members by those of the document that `json` holds. For objects that were made
    // by createNewCls(): one that is nested in a document does not change, and the result is false.
    //   json     UTF-8, with or without a byte-order mark; an object, in at most 1000 levels of
    //            objects and arrays, this one included. Only white space may follow it. A name or
    //            a string ends at its first U+0000, written as an escape.
    //   numbers  any value and any number of digits, except: more than 309 digits before the
    //            point, or 309 that make about 1.797 * 10^308 (the largest double) or more; an
    //            exponent above 308, where each of the first digits after the point (up to the
    //            17th significant one, at least) raises that limit by one, so that 999e308 and
    //            1.5e309 pass; and 100,000,000 digits in a row, in strings too
    //   returns  false, with the object unchanged, when `json` is anything else; when memory is
    //            short, which it always is for more than 178 million members and elements of
    //            objects and arrays that are open at once, and for 2^32 bytes or more
    //   log      the line, the column and what was expected, as in fault(); nothing when memory is
    //            short
    //   source   RFC 8259; a lone surrogate (section 8.2) is a fault
    [[nodiscard]] bool loadJson(const DataBuffer& json, LogBase& log);
    [[nodiscard]] bool loadJson(std::string_view json, LogBase& log);

    // Why the last loadJson() of this object failed; `expected` is null when it did not fail, or
    // when memory was short.
    const contentcoding::JsonFault& fault() const { return m_fault; }

    // Whether there is a member of that name, NUL-terminated UTF-8. False for null.
    [[nodiscard]] bool hasMember(const char* name, LogBase& log) const;

    // The object at a path, with a reference for the caller. Null when there is none.
    //   path     names of members with a "." between them, each followed by any number of indexes
    //            in brackets, in decimal: "documents[0]", "a.b[2].c", "m[1][2]". Of members of the
    //            same name the first is meant. A name with "." or "[" in it cannot be reached.
    //   log      when there is no object: "There is no object at this path." and the path
    [[nodiscard]] ClsJsonObject* objectOf(const char* path, LogBase& log) const;

    // The name of a member, valid as long as the document. Empty where there is none.
    std::string_view nameView(int index) const;

    // The same as a copy. False, and nothing stored, for an index without a member, and when
    // memory is short.
    [[nodiscard]] bool NameAt(int index, XString& name) const;

private:
    friend class contentcoding::JsonBuilder;
    ClsJsonObject() = default;
    using JsonContainer::JsonContainer;
    ~ClsJsonObject() override;

    contentcoding::JsonFault m_fault;
    RefCountedObjectOwner m_document;  // what was loaded into this object
};

#endif
