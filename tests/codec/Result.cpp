#include "contentcoding/result.hpp"

#include <array>
#include <set>
#include <span>

#include "contentcoding/bytes.hpp"
#include "tests/TestSupport.h"

using contentcoding::Bytes;
using contentcoding::Error;
using contentcoding::Fault;
using contentcoding::Position;
using contentcoding::Result;

TEST(Bytes, AreViewsOfWhateverHoldsBytes) {
    const char array[] = {'a', '\0', 'b'};
    const std::vector<std::byte> bytes(2, std::byte{'x'});
    const std::array<unsigned char, 2> numbers{'y', 'z'};
    char room[] = {'a', '\0'};
    const unsigned char key[] = {1, 0};
    const char* const null = nullptr;
    const char* const pointer = "ab\0c";
    const std::pair<Bytes, std::string_view> rows[] = {
        {"literal", "literal"},  {"a\0b", "a\0b"sv}, {array, "a\0b"sv},
        {u8"é", "\xC3\xA9"},     {"", ""},           {std::string_view("abc").substr(1), "bc"},
        {bytes, "xx"},           {numbers, "yz"},    {std::span(numbers).first(1), "y"},
        {pointer, "ab"},         {null, ""},         {Bytes(), ""},
        {Bytes(nullptr, 5), ""}, {room, "a\0"sv},    {key, "\x01\0"sv},
    };
    for (const auto& [view, text] : rows)
        EXPECT_EQ(view.text(), text);
}

TEST(Result, IsAValueOrAnError) {
    const Error error{Fault::kPadding, 7};
    Result<std::string> good(std::string("abc")), bad(error);
    EXPECT_TRUE(good && !bad);
    EXPECT_EQ(*good + good.value_or("x") + bad.value_or("x"), "abcabcx");
    EXPECT_EQ(good->size(), 3u);
    EXPECT_EQ(bad.error(), error);
    const auto size = [](const std::string& text) { return text.size(); };
    EXPECT_EQ(*good.transform(size), 3u);
    EXPECT_EQ(bad.transform(size).error(), error);
    const auto first = [&](const std::string& text) {
        return text.empty() ? Result<char>(error) : Result<char>(text[0]);
    };
    EXPECT_EQ(*good.and_then(first), 'a');
    EXPECT_EQ(bad.and_then(first).error(), error);
    const std::string moved = *std::move(good);
    EXPECT_EQ(moved, "abc");

    const Result<void> done, failed(error);
    EXPECT_TRUE(done && !failed);
    EXPECT_EQ(*done.transform([] { return 1; }), 1);
    EXPECT_EQ(failed.and_then([] { return Result<int>(1); }).error(), error);
}

TEST(Result, EveryFaultHasASentenceOfItsOwn) {
    std::set<std::string> sentences;
    for (int i = 0; i <= static_cast<int>(Fault::kStopped); ++i)
        sentences.insert(Error{static_cast<Fault>(i), 0}.message());
    EXPECT_EQ(sentences.size(), static_cast<std::size_t>(Fault::kStopped) + 1);
    EXPECT_EQ((Error{Fault::kSyntax, 0, "a colon"}.message()), "a syntax error: expected a colon");
}

TEST(Result, PositionsCountLinesAndCharacters) {
    struct Row {
        std::uint64_t offset, line, column;
    };
    constexpr std::string_view kText = "a\xC3\xA9\r\nb\rc\n\nd";
    for (const auto& [offset, line, column] : {Row{0, 1, 1},
                                               {1, 1, 2},
                                               {3, 1, 3},
                                               {4, 1, 4},
                                               {5, 2, 1},
                                               {6, 2, 2},
                                               {7, 3, 1},
                                               {9, 4, 1},
                                               {10, 5, 1},
                                               {11, 5, 2},
                                               {99, 5, 2}}) {
        const Position place = contentcoding::position(kText, offset);
        EXPECT_EQ(place.line, line) << offset;
        EXPECT_EQ(place.column, column) << offset;
    }
    EXPECT_EQ(contentcoding::position("\xEF\xBB\xBF{x", 4).column, 2u);
}
