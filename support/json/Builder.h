#ifndef SUPPORT_JSON_BUILDER_H
#define SUPPORT_JSON_BUILDER_H

#include <string_view>

#include "support/json/Document.h"
#include "support/json/TextChecks.h"

// Private: from a JSON text to a document.

namespace contentcoding {

// Makes a document of the text; null when that fails, with the fault, or without words when memory
// is short. The caller holds the only reference. `root` is set to the outermost container, which is
// a part of the document.
JsonDocument* makeDocument(std::string_view text, const JsonContainer*& root, Place& fault);

}  // namespace contentcoding

#endif
