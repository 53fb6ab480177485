// A field value gives back the parameters that it was made of, in lines within their limit. Any
// value gives valid UTF-8.
#include "contentcoding/parameter.hpp"
#include "fuzz/Input.h"
#include "support/charset/Utf8.h"

namespace header = contentcoding::header;
namespace parameter = contentcoding::parameter;
using contentcoding::isWellFormed;

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    Input input(data, size);
    parameter::Writing writing;
    const unsigned int choice = input.byte();
    writing.form = static_cast<parameter::Form>(choice % 3);
    writing.lineLength = choice & 4 ? 40 : choice & 8 ? 0 : 76;
    writing.column = input.byte() % 100;
    const std::string_view first = input.shortText();
    const HeapCopy text = input.rest();

    const auto parsed = parameter::parse(text.view());
    expect(isWellFormed(parsed.value));
    for (const auto& one : parsed.parameters)
        expect(isWellFormed(one.value));

    const std::vector<parameter::Parameter> parameters = {{"filename", std::string(first)},
                                                          {"name", std::string(text.view())}};
    const auto field = parameter::format("a/b", parameters, writing);
    expect(field.has_value());
    for (std::string_view left = *field; writing.lineLength > 0;) {
        const std::size_t end = left.find("\r\n");
        const bool isFirst = left.data() == field->data();
        expect(isFirst ||
               (left.starts_with(' ') && std::min(end, left.size()) <= writing.lineLength));
        if (end == left.npos) break;
        left.remove_prefix(end + 2);
    }
    constexpr header::Decoding kKeeping{.controls = header::Controls::kKeep};
    if (isWellFormed(first) && isWellFormed(text.view()))
        expect(parameter::parse(*field, kKeeping).parameters == parameters);
    return 0;
}
