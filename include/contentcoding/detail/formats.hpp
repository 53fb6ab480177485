#ifndef CONTENTCODING_DETAIL_FORMATS_HPP
#define CONTENTCODING_DETAIL_FORMATS_HPP

#include "contentcoding/ascii85.hpp"
#include "contentcoding/base16.hpp"
#include "contentcoding/base32.hpp"
#include "contentcoding/base58.hpp"
#include "contentcoding/base64.hpp"
#include "contentcoding/dkim.hpp"
#include "contentcoding/eda.hpp"
#include "contentcoding/quoted_printable.hpp"

// All formats, for code that does the same with each: FORMAT(name) is expanded for every namespace.
// STREAMED leaves out those without Encoder and Decoder.
#define CONTENTCODING_STREAMED_FORMATS(FORMAT) \
    FORMAT(ascii85)                            \
    FORMAT(base16)                             \
    FORMAT(base32)                             \
    FORMAT(base64)                             \
    FORMAT(dkim)                               \
    FORMAT(eda)                                \
    FORMAT(quoted_printable)
#define CONTENTCODING_FORMATS(FORMAT)      \
    CONTENTCODING_STREAMED_FORMATS(FORMAT) \
    FORMAT(base58)

#endif
