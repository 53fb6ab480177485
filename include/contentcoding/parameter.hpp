#ifndef CONTENTCODING_PARAMETER_HPP
#define CONTENTCODING_PARAMETER_HPP

#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "contentcoding/header.hpp"

/// @file
/// The values of fields with parameters, such as Content-Type and Content-Disposition: RFC 2045,
/// section 5.1, RFC 2183, and RFC 2231 for values in other charsets and over several lines.
///
/// Everything here is linear in the length of its input, but for a factor that Limits::parameters
/// bounds. The functions allocate, and throw std::bad_alloc when memory is short; nothing else is
/// thrown.

namespace contentcoding::parameter {

struct Parameter {
    std::string name = {};   ///< as it was written, without "*" and what follows it
    std::string value = {};  ///< valid UTF-8

    friend bool operator==(const Parameter&, const Parameter&) = default;
};

/// A field value in its parts.
struct Parsed {
    std::string value;                  ///< what stands before the parameters, as "text/plain"
    std::vector<Parameter> parameters;  ///< in the order in which their names first occur
    std::vector<Error> defects;         ///< in the order of their offsets; none: it was sound

    /// The value of the parameter of that name, in any case, if there is one.
    CONTENTCODING_EXPORT std::optional<std::string_view> get(std::string_view name) const;
};

/// Reads a field value, folded or not. Comments and white space around the parts are dropped. The
/// sections of a continued parameter (`name*0`, `name*1*`) may come in any order; their bytes are
/// joined, then converted from the charset of section 0. Percent signs count in sections with a
/// second "*" only. `name*` counts more than continuations, and these more than a plain `name`. The
/// language is ignored.
///
/// Forgiven, as senders write it: encoded words (RFC 2047) in values, also if continued, raw 8-bit
/// text, unquoted values with spaces, missing semicolons between parameters, a missing value in
/// front, quotation marks around values of RFC 2231, backslashes of Windows paths (a backslash is
/// itself but before a quotation mark or another backslash).
///
/// Defects beyond those of header::decode(): Fault::kMissing (a section, a semicolon, a closing
/// quotation mark, a value in front), kDuplicate (the first one counts), kSyntax, kBadEscape (a
/// percent sign without two hexadecimal digits; it is itself).
///
///     const auto type = contentcoding::parameter::parse("text/plain; charset=utf-8");
///     std::cout << type.get("Charset").value_or("us-ascii");  // utf-8
CONTENTCODING_EXPORT Parsed parse(Bytes fieldValue, const header::Decoding& options = {});

/// What a value becomes that ASCII and quotation marks are not enough for.
enum class Form : unsigned char {
    kExtended,      ///< RFC 2231: `name*=utf-8''...`, with continuations where a line is full
    kEncodedWords,  ///< encoded words between quotation marks, for readers that know nothing else
    kTwin,          ///< `name="..."` with "_" for what is not ASCII, then `name*=`: RFC 6266, HTTP
};

/// How a field value is written.
struct Writing {
    Form form = Form::kExtended;
    /// How much of the first line is taken already, as by "Content-Disposition: ".
    std::size_t column = 0;
    /// The longest line, without its end. At least 40 counts; 0: one line, without continuations,
    /// as HTTP needs it.
    std::size_t lineLength = 76;
    std::string_view lineEnd = "\r\n";
};

/// A field value with its parameters: each plain, quoted, or in the form asked for, whichever is
/// the first that it can have. Lines break before parameters. parse() gives the same values back,
/// but for control characters, unless it is told to keep them. Where a value is not UTF-8, U+FFFD
/// is written.
///
/// Faults: Fault::kSyntax where `value` has a character other than visible ASCII, or one of
/// `;"(),\`; also where a name is not a token of RFC 2045 without "*", "'" and "%", and
/// Fault::kTooLong for a name over 60 characters. The offset is that in `value`, or the index of
/// the parameter.
///
///     contentcoding::parameter::format("inline", {{"filename", "Prüfung.pdf"}}).value_or("");
///     // inline; filename*=utf-8''Pr%C3%BCfung.pdf
CONTENTCODING_EXPORT Result<std::string> format(std::string_view value,
                                                std::span<const Parameter> parameters,
                                                const Writing& writing = {});
inline Result<std::string> format(std::string_view value,
                                  std::initializer_list<Parameter> parameters,
                                  const Writing& writing = {}) {
    return format(value, std::span<const Parameter>(parameters.begin(), parameters.size()),
                  writing);
}

}  // namespace contentcoding::parameter

#endif
