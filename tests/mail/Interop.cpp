// Answers requests about mail, for scripts/compare-with-mail-readers. A request is a line of words
// in Base64 after the name of the operation; the answer is a line of words in Base64.
#include <iostream>
#include <sstream>

#include "contentcoding/contentcoding.hpp"

namespace {

using namespace contentcoding;
using Words = std::vector<std::string>;

Words answer(const std::string& operation, const Words& words) {
    const auto number = [&](std::size_t i) { return std::stoul(words[i]); };
    Words result;
    if (operation == "decode-header") return {header::decode(words[0]).text};
    if (operation == "encode-header")
        return {header::encode(words[0], {.context = static_cast<header::Context>(number(1)),
                                          .scheme = static_cast<header::Scheme>(number(2)),
                                          .column = 9,
                                          .charset = words[3]})};
    if (operation == "parse-list") {
        for (const auto& mailbox : mailbox::parse(words[0]).list) {
            result.push_back(mailbox.name);
            result.push_back(mailbox.address);
        }
    } else if (operation == "format-list") {
        std::vector<mailbox::Mailbox> list;
        for (std::size_t i = 0; i + 1 < words.size(); i += 2)
            list.push_back({words[i], words[i + 1]});
        result = {mailbox::formatList(list, {.column = 4}).value_or("refused")};
    } else if (operation == "parse-parameters") {
        const auto parsed = parameter::parse(words[0]);
        result = {parsed.value};
        for (const auto& one : parsed.parameters) {
            result.push_back(one.name);
            result.push_back(one.value);
        }
    } else if (operation == "format-parameter") {
        const parameter::Writing writing{.form = static_cast<parameter::Form>(number(2)),
                                         .column = 21};
        result = {parameter::format("attachment", {{words[0], words[1]}}, writing).value_or("-")};
    } else if (operation == "encode-body") {
        const auto encoding = transfer::encodingOf(words[1]).value_or(transfer::suggest(words[0]));
        result = {std::string(transfer::name(encoding)), transfer::encode(words[0], encoding)};
    } else if (operation == "decode-body") {
        result = {transfer::decode(words[0], words[1]).value_or("refused")};
    }
    return result;
}

}  // namespace

int main() {
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream in(line);
        std::string operation;
        in >> operation;
        Words words;
        for (std::string word; in >> word;)
            words.push_back(base64::decode(word == "-" ? "" : word).value_or(""));
        for (const std::string& word : answer(operation, words))
            std::cout << (word.empty() ? "-" : base64::encode(word)) << ' ';
        std::cout << std::endl;
    }
}
