#include "contentcoding/result.hpp"

#include <algorithm>

namespace contentcoding {
namespace {

const char* textOf(Fault fault) {
    switch (fault) {
        case Fault::kForeignCharacter:
            return "a character that does not belong here";
        case Fault::kPadding:
            return "padding is missing, surplus or misplaced";
        case Fault::kAfterEnd:
            return "the text goes on after its end";
        case Fault::kLeftoverBits:
            return "the last character has bits that belong to no byte";
        case Fault::kCutGroup:
            return "the last group is too short to hold a byte";
        case Fault::kGroupTooLarge:
            return "a group of digits is larger than its bytes can hold";
        case Fault::kFrame:
            return "the frame around the text is missing, not closed or not allowed";
        case Fault::kBadEscape:
            return "an escape without two hexadecimal digits";
        case Fault::kLowerCase:
            return "a letter in the wrong case";
        case Fault::kLongLine:
            return "the line is too long";
        case Fault::kTrailingSpace:
            return "a space or tab at the end of the line";
        case Fault::kLineEnd:
            return "a line end of the wrong form";
        case Fault::kMalformed:
            return "bytes that are not text in their charset";
        case Fault::kUnmappable:
            return "a character that the charset does not have";
        case Fault::kUnknownCharset:
            return "an unknown charset";
        case Fault::kUnknownEncoding:
            return "an unknown encoding";
        case Fault::kSyntax:
            return "a syntax error";
        case Fault::kMissing:
            return "something is missing";
        case Fault::kDuplicate:
            return "something stands here a second time";
        case Fault::kControl:
            return "a control character";
        case Fault::kTooLong:
            return "the input is over its limit";
        case Fault::kTooLarge:
            return "the result is over its limit";
        case Fault::kNoRoom:
            return "the room for the result is too small";
        case Fault::kStopped:
            return "the receiver stopped the work";
    }
    return "an unknown fault";
}

}  // namespace

std::string Error::message() const {
    std::string text = textOf(fault);
    if (detail) text.append(fault == Fault::kSyntax ? ": expected " : ": ").append(detail);
    return text;
}

Position position(std::string_view text, std::uint64_t offset) {
    const std::string_view before =
        text.substr(0, static_cast<std::size_t>(std::min<std::uint64_t>(offset, text.size())));
    Position place;
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    for (std::size_t i = before.starts_with(kByteOrderMark) ? 3 : 0; i < before.size(); ++i) {
        const auto c = static_cast<unsigned char>(before[i]);
        const bool endsLine = c == '\n' || (c == '\r' && !text.substr(i + 1).starts_with('\n'));
        if (endsLine) {
            ++place.line;
            place.column = 1;
        } else if ((c & 0xC0) != 0x80) {
            ++place.column;
        }
    }
    return place;
}

}  // namespace contentcoding
