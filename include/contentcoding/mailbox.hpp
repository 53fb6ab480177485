#ifndef CONTENTCODING_MAILBOX_HPP
#define CONTENTCODING_MAILBOX_HPP

#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "contentcoding/header.hpp"

/// @file
/// Names and addresses in header fields such as From and To: RFC 5322, section 3.4, with the
/// encoded words of RFC 2047, section 5 (3).
///
/// Whoever sends mail chooses the name in it. So an address is only ever read from where the
/// grammar has addresses: never from inside an encoded word, a quoted string or a comment.
///
/// Everything here is linear in the length of its input. The functions allocate, and throw
/// std::bad_alloc when memory is short; nothing else is thrown.

namespace contentcoding::mailbox {

/// A name and an address. Both are valid UTF-8 without control characters, as parse() gives them.
struct Mailbox {
    std::string name = {};     ///< decoded, without quotation marks; may be empty
    std::string address = {};  ///< "local@domain", as it was written, without comments and spaces
    std::string group = {};    ///< the name of the group that it stands in; empty for none

    friend bool operator==(const Mailbox&, const Mailbox&) = default;
};

/// The mailboxes of a field, and what was wrong with it.
struct Addresses {
    std::vector<Mailbox> list;
    std::vector<Error> defects;  ///< in the order of their offsets; none: the value was sound
};

/// A mailbox as it stands in a field: the address alone for an empty name, else the name and the
/// address in angle brackets. The name is written as it is, as a quoted string or as encoded words,
/// whichever is needed, so that parse() and other readers get the same name and address back.
/// `options` as for header::encode(); the context is always a phrase. An address is never cut, so
/// one that is longer than a line makes a longer line.
///
/// Faults: Fault::kSyntax where `address` is not "local@domain" of RFC 5322, section 3.4.1, without
/// comments and spaces (UTF-8 is allowed, RFC 6532), Fault::kMalformed where it is not UTF-8, and
/// Fault::kControl; offsets are those in `address`.
///
///     contentcoding::mailbox::format("Doe, John", "john@example.com").value_or("");
///     // "Doe, John" <john@example.com>
CONTENTCODING_EXPORT Result<std::string> format(Bytes name, std::string_view address,
                                                const header::Encoding& options = {});

/// A list of mailboxes, folded. Neighbours in the same group are written as that group.
///
/// Faults: as format() has them for the first address that has one; the offset is the index of that
/// mailbox.
///
///     const auto to = contentcoding::mailbox::formatList(
///         {{"Jörg", "j@example.com"}, {"", "k@example.com"}});
CONTENTCODING_EXPORT Result<std::string> formatList(std::span<const Mailbox> mailboxes,
                                                    const header::Encoding& options = {});
inline Result<std::string> formatList(std::initializer_list<Mailbox> mailboxes,
                                      const header::Encoding& options = {}) {
    return formatList(std::span<const Mailbox>(mailboxes.begin(), mailboxes.size()), options);
}

/// Reads the value of a field that holds one address or a list. Names are decoded as
/// header::decode() has it; a comment is the name where there is no other ("a@b (Name)").
///
/// Forgiven: routes, spaces and comments inside addresses, words and dots in names without
/// quotation marks, missing commas between addresses in brackets, ";" for ",", missing brackets
/// after a name. Something without an address becomes a name alone. What the grammar of addresses
/// does not have, or would be read differently by others, is left empty in `address`.
///
/// Defects beyond those of header::decode(): Fault::kMissing (an address, its "@", or a closing
/// bracket, quotation mark or parenthesis), Fault::kSyntax.
///
///     const auto from = contentcoding::mailbox::parse("\"Doe, John\" <john@example.com>");
///     std::cout << from.list.at(0).address;  // john@example.com
CONTENTCODING_EXPORT Addresses parse(Bytes value, const header::Decoding& options = {});

}  // namespace contentcoding::mailbox

#endif
