#include "support/Json.h"

#include <charconv>
#include <new>
#include <string_view>

#include "support/json/Builder.h"
#include "support/json/Item.h"

namespace contentcoding {

namespace {

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

}  // namespace contentcoding

namespace {

void logNumber(LogBase& log, const char* name, unsigned int number) {
    StringBuffer text;
    if (text.append(number)) log.LogDataSb(name, text);
}

}  // namespace

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
    logNumber(log, "line", m_fault.line);
    logNumber(log, "column", m_fault.column);
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
