// A mailbox gives back the name and address that it was made of. Any list gives valid UTF-8 and
// only addresses that stand outside of its encoded words.
#include "codec/mail/Words.h"
#include "contentcoding/mailbox.hpp"
#include "fuzz/Input.h"
#include "support/charset/Utf8.h"

namespace {

namespace header = contentcoding::header;
namespace mail = contentcoding::mail;
namespace mailbox = contentcoding::mailbox;
using contentcoding::isWellFormed;

// The value with an atom in place of each encoded word.
std::string withoutWords(std::string_view value) {
    std::string text;
    std::size_t done = 0;
    for (std::size_t at = value.find("=?"); at < value.size(); at = value.find("=?", at)) {
        const std::size_t start = at;
        const auto word = mail::wordAt(value, start, at);
        if (!word) continue;
        at = word->end + 2;
        text.append(value, done, start - done).append("word");
        done = at;
    }
    return text.append(value, done);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    Input input(data, size);
    header::Encoding options;
    options.column = input.byte() % 100;
    const std::string_view address = input.shortText();
    const HeapCopy text = input.rest();

    const auto parsed = mailbox::parse(text.view());
    // A quoted string or comment may end inside of what looks like a word.
    const bool mayCutWords = text.view().find_first_of("\"(") != std::string_view::npos;
    const std::string bare = mayCutWords ? std::string(text.view()) : withoutWords(text.view());
    for (const auto& mailbox : parsed.list) {
        expect(isWellFormed(mailbox.name) && isWellFormed(mailbox.address));
        for (std::string_view left = mailbox.address; !left.empty();) {
            const std::size_t end = std::min(left.find_first_of(".@"), left.size());
            expect(bare.find(left.substr(0, end)) != std::string::npos);
            left.remove_prefix(std::min(end + 1, left.size()));
        }
    }

    const auto written = mailbox::format(text.view(), address, options);
    if (!written || !isWellFormed(text.view())) return 0;
    const auto back =
        mailbox::parse(*written, {.controls = header::Controls::kKeep, .limits = {.addresses = 2}});
    expect(back.list.size() == 1 && back.list[0].address == address);
    const bool isBlank = text.view().find_first_not_of(' ') == std::string_view::npos;
    expect(back.list[0].name == (isBlank ? std::string_view() : text.view()));
    return 0;
}
