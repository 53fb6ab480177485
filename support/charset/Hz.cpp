#include "support/charset/Hz.h"

#include <array>

namespace contentcoding {

// The library writes "~}" before the first ASCII letter of a text, although no "~{" precedes it.
// Here it does so into a buffer that is discarded.
void startHz(UConverter* converter) {
    constexpr UChar letter = 'A';
    const UChar* source = &letter;
    std::array<char, 8> ignored;
    char* target = ignored.data();
    UErrorCode error = U_ZERO_ERROR;
    ucnv_fromUnicode(converter, &target, target + ignored.size(), &source, source + 1, nullptr, 0,
                     &error);
}

}  // namespace contentcoding
