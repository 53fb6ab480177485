#ifndef CODEC_ASCII85_H
#define CODEC_ASCII85_H

#include "contentcoding/ascii85.hpp"

// Private: what the class needs of Ascii85 beside the coders of contentcoding/ascii85.hpp.

namespace contentcoding::ascii85 {

// Whether the text, up to a "~>", is made of what kAnything accepts, so that the only fault that a
// decoder can find in it is a group that is too large.
bool isAllAccepted(std::string_view text);

}  // namespace contentcoding::ascii85

#endif
