#include "codec/ContentCoding.h"

ContentCoding::~ContentCoding() = default;

unsigned int ContentCoding::computeBase64Size(unsigned int n, unsigned int lineLength) {
    const unsigned int characters = (4 * n + 8) / 3;
    const unsigned int breaks = lineLength != 0 ? (2 * characters) / lineLength : 0;
    return characters + 3 + breaks;
}
