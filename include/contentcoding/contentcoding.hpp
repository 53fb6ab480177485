#ifndef CONTENTCODING_CONTENTCODING_HPP
#define CONTENTCODING_CONTENTCODING_HPP

/// @file
/// All of namespace contentcoding.

#include "contentcoding/ascii85.hpp"
#include "contentcoding/base16.hpp"
#include "contentcoding/base32.hpp"
#include "contentcoding/base58.hpp"
#include "contentcoding/base64.hpp"
#include "contentcoding/bytes.hpp"
#include "contentcoding/charset.hpp"
#include "contentcoding/dkim.hpp"
#include "contentcoding/eda.hpp"
#include "contentcoding/einvoice.hpp"
#include "contentcoding/header.hpp"
#include "contentcoding/mailbox.hpp"
#include "contentcoding/parameter.hpp"
#include "contentcoding/quoted_printable.hpp"
#include "contentcoding/result.hpp"
#include "contentcoding/transfer.hpp"

#endif
