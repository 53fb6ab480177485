#ifndef SUPPORT_CHARSET_HZ_H
#define SUPPORT_CHARSET_HZ_H

#include <unicode/ucnv.h>

// Private: what the library does not do for HZ (RFC 1843). See also TableReader::endsHzShort() and
// TableWriter::drain().

namespace contentcoding {

inline bool isHz(const UConverter* converter) { return ucnv_getType(converter) == UCNV_HZ; }

// To be called before a text is written.
void startHz(UConverter* converter);

}  // namespace contentcoding

#endif
