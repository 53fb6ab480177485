#ifndef SUPPORT_JSON_ITEM_H
#define SUPPORT_JSON_ITEM_H

// Private: what objects and arrays hold, for walks over whole documents.

#include <span>
#include <string_view>

#include "support/Json.h"

namespace contentcoding {

struct JsonItem {
    const char* name;  // NUL-terminated
    union {
        const char* text;       // of a scalar: `textSize` bytes
        JsonContainer* nested;  // of an object or an array
    };
    unsigned int textSize;
    JsonType type;

    bool isContainer() const { return type == kJsonObject || type == kJsonArray; }
    bool isScalar() const { return type != kJsonNone && !isContainer(); }
    std::string_view value() const { return {text, textSize}; }

    static std::span<const JsonItem> of(const JsonContainer& container) {
        return {container.m_items, container.m_count};
    }
};

inline constexpr JsonItem kNoItem{"", {""}, 0, kJsonNone};

}  // namespace contentcoding

#endif
