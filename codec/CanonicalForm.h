#ifndef CODEC_CANONICALFORM_H
#define CODEC_CANONICALFORM_H

#include <cstdint>
#include <string_view>
#include "contentcoding/export.hpp"

#include "support/DataBuffer.h"
#include "support/Json.h"

namespace contentcoding {

struct CanonicalOptions {
    // Whether the form is that of the first element of the member "documents", if there is such a
    // member.
    bool firstDocument = false;

    // The most bytes that the form may have.
    std::uint64_t maxSize = 0xFFFFFFFF;
};

enum class CanonicalStatus {
    kOk,
    kNotJson,          // CanonicalResult::fault says where and why
    kNoFirstDocument,  // the first element of "documents" is not an object
    kTooLarge,         // for `maxSize`, or for a DataBuffer
    kNoMemory
};

struct [[nodiscard]] CanonicalResult {
    CanonicalStatus status = CanonicalStatus::kOk;
    JsonFault fault;
};

// As ContentCoding::canonicalizeItida, for callers who want to know why there is no form, or to
// limit its size: the name of an array stands before each element, so 180 KB of JSON can make 4 GB.
// The size is computed before anything is written. A form that is too large costs time in
// proportion to the document, and no memory beyond the document's.
//   json     as ClsJsonObject::loadJson takes it; must not lie in `out`
//   out      its contents are replaced; empty after a failure. Memory is allocated once, if at
//            all, and exactly what is needed if `out` never held anything.
CONTENTCODING_EXPORT CanonicalResult canonicalizeItida(std::string_view json,
                                                       const CanonicalOptions& options,
                                                       DataBuffer& out);

}  // namespace contentcoding

#endif
