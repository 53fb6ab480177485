#include "support/Json.h"

#include "support/CharsetForms.h"
#include "support/JsonItem.h"

#ifdef __SSE2__
#define RAPIDJSON_SSE2
#endif
// In a namespace of our own, so that a program may use the same library with other settings.
#define RAPIDJSON_NAMESPACE contentcoding_rapidjson
#define RAPIDJSON_NAMESPACE_BEGIN namespace contentcoding_rapidjson {
#define RAPIDJSON_NAMESPACE_END }
#include <rapidjson/reader.h>

#include <algorithm>
#include <charconv>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

namespace json = contentcoding_rapidjson;

namespace contentcoding {

namespace {

constexpr const char* kSurrogatePair = "surrogates in pairs";

constexpr JsonItem kNoItem{"", {""}, 0, kJsonNone};

// Takes a member's name off the front of a path.
std::string_view takeName(std::string_view& path) {
    const std::string_view name = path.substr(0, path.find_first_of(".["));
    path.remove_prefix(name.size());
    return name;
}

// Takes an index and "]" off the front of a path; -1, which no item has, if they are not there.
int takeIndex(std::string_view& path) {
    int index = -1;
    const char* const start = path.data();
    const char* const end = start + path.size();
    const auto [next, error] = std::from_chars(start, end, index);
    const bool complete = error == std::errc{} && *start != '-' && next != end && *next == ']';
    path.remove_prefix(complete ? static_cast<std::size_t>(next + 1 - start) : path.size());
    return complete ? index : -1;
}

}  // namespace

JsonContainer::~JsonContainer() = default;

const JsonItem& JsonContainer::itemAt(int index) const {
    return index >= 0 && index < get_Size() ? m_items[index] : kNoItem;
}

const JsonItem& JsonContainer::itemNamed(std::string_view name) const {
    for (int i = 0; i < get_Size(); ++i) {
        if (m_items[i].name == name) return m_items[i];
    }
    return kNoItem;
}

const JsonItem& JsonContainer::itemAtPath(std::string_view path) const {
    const JsonItem* item = &itemNamed(takeName(path));
    while (!path.empty()) {
        const char next = path.front();
        path.remove_prefix(1);
        if (next == '[' && item->type == kJsonArray)
            item = &item->nested->itemAt(takeIndex(path));
        else if (next == '.' && item->type == kJsonObject)
            item = &item->nested->itemNamed(takeName(path));
        else
            return kNoItem;
    }
    return *item;
}

int JsonContainer::TypeAt(int index) const { return itemAt(index).type; }

std::string_view JsonContainer::valueView(int index) const {
    const JsonItem& item = itemAt(index);
    return item.isScalar() ? item.value() : "";
}

bool JsonContainer::StringAt(int index, XString& value) const {
    const JsonItem& item = itemAt(index);
    return item.isScalar() && value.setFromUtf8N(item.text, item.textSize);
}

ClsJsonObject* JsonContainer::ObjectAt(int index) const {
    const JsonItem& item = itemAt(index);
    if (item.type != kJsonObject) return nullptr;
    item.nested->incRefCount();
    return static_cast<ClsJsonObject*>(item.nested);
}

ClsJsonArray* JsonContainer::ArrayAt(int index) const {
    const JsonItem& item = itemAt(index);
    if (item.type != kJsonArray) return nullptr;
    item.nested->incRefCount();
    return static_cast<ClsJsonArray*>(item.nested);
}

// The memory of a document: its text, and blocks from which the items and containers are cut.
// Items and containers are never destroyed one by one.
class JsonDocument final : public RefCountedObject {
public:
    static JsonDocument* create() { return new (std::nothrow) JsonDocument; }

    // The memory for a text; call it once. Null when memory is short.
    char* makeText(std::size_t n) {
        m_text.reset(new (std::nothrow) char[n]);
        return m_text.get();
    }

    // `n` bytes for objects of any type; null when memory is short.
    void* allocate(std::size_t n) {
        n = (n + kAlignment - 1) / kAlignment * kAlignment;
        if (n > m_left && !addBlock(n)) return nullptr;
        m_left -= n;
        return std::exchange(m_next, m_next + n);
    }

private:
    struct alignas(std::max_align_t) Block {
        Block* before;
    };
    static constexpr std::size_t kAlignment = alignof(std::max_align_t);
    static constexpr std::size_t kSmallestBlock = 4096, kLargestBlock = 1 << 18;

    JsonDocument() = default;
    ~JsonDocument() override {
        while (Block* const block = m_last) {
            m_last = block->before;
            delete[] reinterpret_cast<char*>(block);
        }
    }

    // Blocks grow, so that a small document takes little memory, and a large one few blocks.
    bool addBlock(std::size_t needed) {
        const std::size_t n = std::max(needed, m_blockSize);
        char* const bytes = new (std::nothrow) char[sizeof(Block) + n];
        if (!bytes) return false;
        m_last = new (bytes) Block{m_last};
        m_next = bytes + sizeof(Block);
        m_left = n;
        m_blockSize = std::min(m_blockSize * 2, kLargestBlock);
        return true;
    }

    std::unique_ptr<char[]> m_text;
    Block* m_last = nullptr;
    char* m_next = nullptr;  // the rest of the last block
    std::size_t m_left = 0;
    std::size_t m_blockSize = kSmallestBlock;
};

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

// The parser's numbers overflow on a fraction as long as this.
constexpr std::size_t kMaxDigitRun = 100'000'000;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// The start of the first run of kMaxDigitRun digits; npos when there is none. Of places that are
// kMaxDigitRun apart, such a run covers one, so only these are looked at.
std::size_t findDigitRun(std::string_view text) {
    for (std::size_t at = kMaxDigitRun - 1; at < text.size();) {
        std::size_t start = at + 1;
        while (start > 0 && isDigit(text[start - 1]))
            --start;
        std::size_t end = at;
        while (end < text.size() && isDigit(text[end]) && end - start < kMaxDigitRun)
            ++end;
        if (end - start == kMaxDigitRun) return start;
        at = std::max(end, at) + kMaxDigitRun;
    }
    return std::string_view::npos;
}

// Whether one of eight ASCII characters is a control character from 0x18 up.
bool hasHighControl(std::uint64_t eight) {
    constexpr std::uint64_t kOnes = 0x0101010101010101;
    const std::uint64_t zeroFor = (eight & 0xF8 * kOnes) ^ 0x18 * kOnes;
    return ((zeroFor - kOnes) & ~zeroFor & 0x80 * kOnes) != 0;
}

// Where the text stops being UTF-8, or has a control character from 0x18 up, which the parser may
// overlook in a string; its size when nothing is wrong.
std::size_t findIllFormed(std::string_view text) {
    const auto* const p = reinterpret_cast<const unsigned char*>(text.data());
    std::size_t i = 0;
    while (i < text.size()) {
        std::uint64_t eight = 0;
        if (text.size() - i >= sizeof eight) {
            std::memcpy(&eight, p + i, sizeof eight);
            if ((eight & 0x8080808080808080) == 0 && !hasHighControl(eight)) {
                i += sizeof eight;
                continue;
            }
        }
        const Decoded c = decodeUtf8(p + i, static_cast<unsigned int>(text.size() - i));
        if (c.character == kIllFormed || (c.character >= 0x18 && c.character < 0x20)) break;
        i += c.length;
    }
    return i;
}

struct Place {
    std::size_t offset = 0;
    const char* expected = nullptr;  // null when nothing is wrong, or memory was short
};

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

// Makes a document of the text; null when that fails. The caller holds the only reference.
// `root` is set to the outermost container, which is a part of the document.
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

JsonFault faultAt(std::string_view text, const Place& place) {
    JsonFault fault{1, 1, place.offset, place.expected};
    for (std::size_t i = 0; i < place.offset; ++i) {
        const bool lineEnd = text[i] == '\n' || (text[i] == '\r' && text.substr(i + 1, 1) != "\n");
        if (lineEnd) {
            ++fault.line;
            fault.column = 1;
        } else if ((text[i] & 0xC0) != 0x80) {  // a character's first byte
            ++fault.column;
        }
    }
    return fault;
}

void logNumber(LogBase& log, const char* name, unsigned int number) {
    StringBuffer text;
    if (text.append(number)) log.LogDataSb(name, text);
}

}  // namespace

}  // namespace contentcoding

ClsJsonArray::~ClsJsonArray() = default;

ClsJsonObject::~ClsJsonObject() = default;

ClsJsonObject* ClsJsonObject::createNewCls() { return new (std::nothrow) ClsJsonObject; }

bool ClsJsonObject::loadJson(const DataBuffer& json, LogBase& log) {
    return loadJson({reinterpret_cast<const char*>(json.getData2()), json.getSize()}, log);
}

bool ClsJsonObject::loadJson(std::string_view json, LogBase& log) {
    if (isPart()) return false;
    m_fault = {};
    // The parser counts the bytes of strings and numbers in 32 bits.
    if (std::uint64_t{json.size()} > 0xFFFFFFFF) return false;
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    std::string_view text = json;
    if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
    contentcoding::Place fault;
    const contentcoding::JsonContainer* root = nullptr;
    if (RefCountedObject* const document = contentcoding::makeDocument(text, root, fault)) {
        shareItems(*root);
        m_document.take(document);
        return true;
    }
    if (!fault.expected) return false;
    m_fault = contentcoding::faultAt(text, fault);
    m_fault.offset += json.size() - text.size();
    log.LogError("The text is no JSON document.");
    contentcoding::logNumber(log, "line", m_fault.line);
    contentcoding::logNumber(log, "column", m_fault.column);
    log.LogDataSb("expected", StringBuffer(m_fault.expected));
    return false;
}

std::string_view ClsJsonObject::nameView(int index) const { return itemAt(index).name; }

bool ClsJsonObject::NameAt(int index, XString& name) const {
    const contentcoding::JsonItem& item = itemAt(index);
    return item.type != contentcoding::kJsonNone && name.setFromUtf8(item.name);
}

bool ClsJsonObject::hasMember(const char* name, LogBase&) const {
    return name && itemNamed(name).type != contentcoding::kJsonNone;
}

ClsJsonObject* ClsJsonObject::objectOf(const char* path, LogBase& log) const {
    const contentcoding::JsonItem& item = path ? itemAtPath(path) : itemAt(-1);
    if (item.type == contentcoding::kJsonObject) {
        item.nested->incRefCount();
        return static_cast<ClsJsonObject*>(item.nested);
    }
    log.LogError("There is no object at this path.");
    StringBuffer text;
    if (text.append(path)) log.LogDataSb("path", text);
    return nullptr;
}
