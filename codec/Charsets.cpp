#include <new>

#include "contentcoding/charset.hpp"
#include "support/charset/Conversion.h"

namespace contentcoding::charset {
namespace {

constexpr int kUtf8 = 65001;

constexpr Handling handlingOf(Malformed malformed) {
    switch (malformed) {
        case Malformed::kReplace:
            return Handling::kReplace;
        case Malformed::kDrop:
            return Handling::kDrop;
        case Malformed::kStop:
            break;
    }
    return Handling::kStop;
}

bool appendTo(void* text, const void* bytes, std::size_t n) {
    static_cast<std::string*>(text)->append(static_cast<const char*>(bytes), n);
    return true;
}

Result<Converted> convert(Bytes bytes, const Charset& from, const Charset& to,
                          Malformed malformed) {
    Converted converted;
    converted.text.reserve(bytes.size());
    Conversion conversion(from, to, {bytes.data(), bytes.size()}, handlingOf(malformed));
    std::unique_ptr<OpenConverters> open;
    const ConversionOutcome outcome = conversion.run(open, {&converted.text, appendTo});
    if (outcome == ConversionOutcome::kNoMemory) throw std::bad_alloc();
    if (outcome == ConversionOutcome::kNoTable) return Error{Fault::kUnknownCharset, 0};
    const Faults& faults = conversion.faults();
    if (faults.stops())
        return Error{
            faults.firstSide == Faults::Side::kSource ? Fault::kMalformed : Fault::kUnmappable,
            faults.first};
    converted.replaced = faults.count;
    return converted;
}

}  // namespace

Result<Converted> toUtf8(Bytes bytes, std::string_view name, Malformed malformed) {
    const auto from = findCharset(name);
    if (!from) return Error{Fault::kUnknownCharset, 0};
    return convert(bytes, *from, *findCharset(kUtf8), malformed);
}

Result<Converted> fromUtf8(Bytes utf8, std::string_view name, Malformed malformed) {
    const auto to = findCharset(name);
    if (!to) return Error{Fault::kUnknownCharset, 0};
    return convert(utf8, *findCharset(kUtf8), *to, malformed);
}

bool isKnown(std::string_view name) { return findCharset(name).has_value(); }

std::string_view canonicalName(std::string_view name) {
    const auto found = findCharset(name);
    return found ? std::string_view(found->name) : std::string_view();
}

std::span<const std::string_view> names() { return charsetNames(); }

}  // namespace contentcoding::charset
