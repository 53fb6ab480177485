#include "support/json/Builder.h"

#include "support/json/Item.h"

#ifdef __SSE2__
#define RAPIDJSON_SSE2
#endif
// In a namespace of our own, so that a program may use the same library with other settings.
#define RAPIDJSON_NAMESPACE contentcoding_rapidjson
#define RAPIDJSON_NAMESPACE_BEGIN namespace contentcoding_rapidjson {
#define RAPIDJSON_NAMESPACE_END }
#include <rapidjson/reader.h>

#include <cstring>
#include <utility>

namespace json = contentcoding_rapidjson;

namespace contentcoding {

namespace {

constexpr const char* kSurrogatePair = "surrogates in pairs";

}  // namespace

// Builds containers from parser events. Items wait on a stack until the object or array that
// they are in is complete.
class JsonBuilder : public json::BaseReaderHandler<json::UTF8<>, JsonBuilder> {
public:
    static constexpr std::size_t kMaxDepth = 1000;

    // Without "\\u" in the text its strings need not be checked.
    JsonBuilder(JsonDocument& document, bool hasUnicodeEscapes)
        : m_document(document), m_hasUnicodeEscapes(hasUnicodeEscapes) {}

    // The root of a document that was parsed to its end.
    const JsonContainer& root() const { return *m_root; }

    // Why the builder stopped the parser: what was expected, or null when memory was short; and the
    // text at fault, or null when the fault is where the parser stopped.
    const char* expected() const { return m_expected; }
    const char* badText() const { return m_badText; }

    // ---- Called by the parser; false stops it ----

    bool Key(const char* name, unsigned int size, bool) {
        if (!isWellFormed(name, size) || !push({name, {""}, 0, kJsonNone})) return false;
        m_isNamed = true;
        return true;
    }

    bool String(const char* text, unsigned int size, bool) {
        if (!isWellFormed(text, size)) return false;
        if (m_hasUnicodeEscapes) size = static_cast<unsigned int>(strnlen(text, size));
        return addScalar(kJsonString, text, size);
    }

    bool RawNumber(const char* text, unsigned int size, bool) {
        return addScalar(kJsonNumber, text, size);
    }

    bool Bool(bool value) {
        return value ? addScalar(kJsonBool, "true", 4) : addScalar(kJsonBool, "false", 5);
    }

    bool Null() { return addScalar(kJsonNull, "null", 4); }

    bool StartObject() { return start(); }
    bool StartArray() { return start(); }
    bool EndObject(unsigned int count) { return end<ClsJsonObject>(kJsonObject, count); }
    bool EndArray(unsigned int count) { return end<ClsJsonArray>(kJsonArray, count); }

private:
    JsonItem* itemsFrom(unsigned int first) {
        return reinterpret_cast<JsonItem*>(m_stack.bytes()) + first;
    }
    unsigned int itemCount() const {
        return static_cast<unsigned int>(m_stack.size() / sizeof(JsonItem));
    }

    bool push(const JsonItem& item) { return m_stack.append(&item, sizeof item); }

    // The item for the next value: the last one if it has only its name yet, else a new one.
    JsonItem* nextItem() {
        if (!std::exchange(m_isNamed, false) && !push(kNoItem)) return nullptr;
        return itemsFrom(itemCount() - 1);
    }

    // The parser joins escaped surrogate pairs, but lets a lone second half pass.
    bool isWellFormed(const char* text, unsigned int size) {
        if (!m_hasUnicodeEscapes) return true;
        const std::string_view all(text, size);
        for (std::size_t i = 0; (i = all.find('\xED', i)) != all.npos; ++i) {
            if (static_cast<unsigned char>(text[i + 1]) < 0xA0) continue;
            m_badText = text;
            m_expected = kSurrogatePair;
            return false;
        }
        return true;
    }

    bool addScalar(JsonType type, const char* text, unsigned int size) {
        JsonItem* const item = nextItem();
        if (!item) return false;
        item->text = text;
        item->textSize = size;
        item->type = type;
        return true;
    }

    bool start() {
        if (m_depth == kMaxDepth) {
            m_expected = "at most 1000 levels";
            return false;
        }
        ++m_depth;
        return nextItem() != nullptr;
    }

    // Makes a container of the last `count` items, as the value of the item before them.
    template <class Container>
    bool end(JsonType type, unsigned int count) {
        void* const room = m_document.allocate(sizeof(Container));
        void* const items = m_document.allocate(sizeof(JsonItem) * count);
        if (!room || !items) return false;
        const unsigned int first = itemCount() - count;
        std::memcpy(items, itemsFrom(first), sizeof(JsonItem) * count);
        m_stack.truncate(static_cast<unsigned int>(first * sizeof(JsonItem)));
        auto* const container = new (room) Container(&m_document);
        container->m_items = static_cast<const JsonItem*>(items);
        container->m_count = count;
        JsonItem& item = *itemsFrom(first - 1);
        item.nested = container;
        item.type = type;
        m_root = container;
        --m_depth;
        return true;
    }

    JsonDocument& m_document;
    const bool m_hasUnicodeEscapes;
    ByteStorage m_stack;  // of JsonItem
    bool m_isNamed = false;
    std::size_t m_depth = 0;
    const JsonContainer* m_root = nullptr;  // the last one that was completed
    const char* m_badText = nullptr;
    const char* m_expected = nullptr;
};

namespace {

// What the parser keeps for each open object and array: a state and a count. It asks for all of it
// when it starts, and never for more.
class ParserStack {
public:
    static constexpr std::size_t kBytes = 8192;
    static_assert((JsonBuilder::kMaxDepth + 1) * 2 * sizeof(json::SizeType) <= kBytes);
    void* Realloc(void*, std::size_t, std::size_t) { return m_bytes; }
    static void Free(void*) {}

private:
    alignas(json::SizeType) char m_bytes[kBytes];
};

constexpr const char* kEscape = "a valid escape (control characters need one)";
constexpr const char* kEndOfDocument = "the end of the document";

const char* expectedFor(json::ParseErrorCode code) {
    switch (code) {
        case json::kParseErrorDocumentRootNotSingular:
            return kEndOfDocument;
        case json::kParseErrorObjectMissName:
            return "a member's name";
        case json::kParseErrorObjectMissColon:
            return "\":\"";
        case json::kParseErrorObjectMissCommaOrCurlyBracket:
            return "\",\" or \"}\"";
        case json::kParseErrorArrayMissCommaOrSquareBracket:
            return "\",\" or \"]\"";
        case json::kParseErrorStringUnicodeEscapeInvalidHex:
            return "four hexadecimal digits";
        case json::kParseErrorStringUnicodeSurrogateInvalid:
            return kSurrogatePair;
        case json::kParseErrorStringEscapeInvalid:
            return kEscape;
        case json::kParseErrorStringMissQuotationMark:
            return "a closing quotation mark";
        case json::kParseErrorNumberTooBig:
            return "a smaller number";
        case json::kParseErrorNumberMissFraction:
        case json::kParseErrorNumberMissExponent:
            return "a digit";
        default:
            return "a value";
    }
}

// Parses the text at `text`, up to its first NUL, into the builder; the text is overwritten. False
// when that fails; `place` is then the fault, and otherwise where the document ends.
bool parse(char* text, JsonBuilder& builder, Place& place) {
    ParserStack stack;
    json::GenericReader<json::UTF8<>, json::UTF8<>, ParserStack> reader(&stack,
                                                                        ParserStack::kBytes);
    json::InsituStringStream stream(text);
    constexpr unsigned int kFlags =
        json::kParseInsituFlag | json::kParseIterativeFlag | json::kParseNumbersAsStringsFlag;
    const json::ParseResult result = reader.Parse<kFlags>(stream, builder);
    if (!result.IsError())
        place = {stream.Tell(), nullptr};
    else if (result.Code() != json::kParseErrorTermination)
        place = {result.Offset(), expectedFor(result.Code())};
    else if (const char* const bad = builder.badText())
        place = {static_cast<std::size_t>(bad - text), builder.expected()};
    else
        place = {result.Offset(), builder.expected()};
    return !result.IsError();
}

}  // namespace

JsonDocument* makeDocument(std::string_view text, const JsonContainer*& root, Place& fault) {
    const std::size_t start = std::min(text.find_first_not_of(" \t\r\n"), text.size());
    const std::size_t digits = findDigitRun(text);
    if (text.substr(start, 1) != "{")
        fault = {start, "an object"};
    else if (digits != text.npos)
        fault = {digits, "fewer digits"};
    if (fault.expected) return nullptr;

    JsonDocument* const document = JsonDocument::create();
    if (!document) return nullptr;
    RefCountedObjectOwner owner;
    owner.take(document);
    // The parser loads sixteen bytes at a time, from multiples of sixteen.
    const std::size_t utf8 = findIllFormed(text), room = utf8 / 16 * 16 + 32;
    char* const copy = document->makeText(room);
    if (!copy) return nullptr;
    std::memcpy(copy, text.data(), utf8);
    std::memset(copy + utf8, 0, room - utf8);

    JsonBuilder builder(*document, text.find("\\u") != text.npos);
    const bool parsed = parse(copy, builder, fault);
    if (!parsed && !fault.expected) return nullptr;
    if (utf8 < text.size() && fault.offset == utf8)
        fault.expected = static_cast<unsigned char>(text[utf8]) < 0x20 ? kEscape : "UTF-8";
    else if (parsed && fault.offset < text.size())
        fault.expected = kEndOfDocument;
    if (fault.expected) return nullptr;
    root = &builder.root();
    document->incRefCount();
    return document;
}

}  // namespace contentcoding
