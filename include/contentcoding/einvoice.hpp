#ifndef CONTENTCODING_EINVOICE_HPP
#define CONTENTCODING_EINVOICE_HPP

#include "contentcoding/bytes.hpp"
#include "contentcoding/export.hpp"
#include "contentcoding/result.hpp"

/// @file
/// The canonical form of an e-invoice in JSON, which is what is signed: the serialization that the
/// Egyptian Tax Authority defines. Every name, in upper case, and every value stands in double
/// quotes, in the order of the document, with nothing between them; the name of an array stands
/// before each element too.
///
/// JSON is RFC 8259 in UTF-8, with or without a byte-order mark. The outermost value is an object.
/// At most 1000 levels of objects and arrays are accepted, and 2^32 - 1 bytes of text;
/// docs/formats.md has the limits of numbers. A deep document takes no more stack than a flat one.

namespace contentcoding::einvoice {

/// Of what the form is made, and how long it may be.
struct Options {
    /// Which element of the member "documents" of a submission, counted from 0. Without it, the
    /// form is that of the whole text.
    std::optional<std::size_t> document = std::nullopt;

    /// The most bytes that the form may have; 0: no limit. Because of the names of arrays, 180 KB
    /// of JSON can make 4 GB. A form over the limit takes no memory beyond that of the document.
    std::size_t maxOutput = std::size_t{256} << 20;
};

/// The canonical form of an e-invoice, or why there is none:
///   Fault::kSyntax    not JSON, or beyond a limit above; `detail` is what was expected there
///   Fault::kMissing   no such element, or not an object: at the element, at the "]" that ends the
///                     array too early, at a value of "documents" that is not an array, or at the
///                     "}" that ends a text without "documents"
///   Fault::kTooLarge  the form has more than `maxOutput` bytes; at 0
///   Fault::kTooLong   the text has 2^32 bytes or more; at the first byte too many
///
/// Of several members "documents" the first counts. position() makes line and column of the offset.
/// Linear in the text and the form. Allocates a model of the document, about 3 times the text of an
/// invoice and up to 40 times a text of little else than brackets, and the form in one piece.
///
///     contentcoding::einvoice::canonicalize(R"({"id": 7})");  // "\"ID\"\"7\""
///     contentcoding::einvoice::canonicalize(json, {.document = 2, .maxOutput = 1 << 20});
CONTENTCODING_EXPORT Result<std::string> canonicalize(Bytes json, const Options& options = {});

/// How many elements the member "documents" of a submission has; 0 where it is not an array.
/// Faults as for canonicalize(): kSyntax, kTooLong, and kMissing without such a member, as in a
/// single invoice. Linear; takes the memory of the model.
///
///     const auto count = contentcoding::einvoice::documentCount(R"({"documents": [{}, {}]})");
///     for (std::size_t i = 0; i < count.value_or(0u); ++i) sign(i);
CONTENTCODING_EXPORT Result<std::size_t> documentCount(Bytes json);

}  // namespace contentcoding::einvoice

#endif
