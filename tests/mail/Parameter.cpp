#include "contentcoding/parameter.hpp"

#include "tests/mail/MailSupport.h"

namespace {

using namespace contentcoding;
using enum Fault;
using parameter::Form;
using Parameters = std::vector<parameter::Parameter>;

}  // namespace

TEST(Parameters, AreParsed) {
    const struct {
        std::string_view field, value;
        Parameters parameters;
        std::vector<Error> defects = {};
    } rows[] = {
        {"", "", {}},
        {" text/plain; ", "text/plain", {}},
        {"text/plain; charset=us-ascii (Plain text)", "text/plain", {{"charset", "us-ascii"}}},
        {"a/b;x = \"q \\\"\\\\; z\" ; Y=c", "a/b", {{"x", "q \"\\; z"}, {"Y", "c"}}},
        // RFC 2231, sections 3 and 4.
        {"message/external-body; access-type=URL;\r\n URL*0=\"ftp://\";\r\n URL*1=\"cs.utk.edu\"",
         "message/external-body",
         {{"access-type", "URL"}, {"URL", "ftp://cs.utk.edu"}}},
        {"application/x-stuff\r\n"
         " ;title*0*=us-ascii'en'This%20is%20even%20more%20\r\n"
         " ;title*1*=%2A%2A%2Afun%2A%2A%2A%20\r\n"
         " ;title*2=\"isn't it!\"",
         "application/x-stuff",
         {{"title", "This is even more ***fun*** isn't it!"}}},
        // In any order; a character and a shift state over two sections; unmarked percent signs.
        {"a/b; n*1*=%BC%25; n*2=%25; n*0*=utf-8''%C3", "a/b", {{"n", "ü%%25"}}},
        {"a/b; n*0*=iso-2022-jp''%1B$B%25; n*1*=F%1B(B", "a/b", {{"n", "テ"}}},
        // The extended form counts most, then continuations.
        {"a/b; n=x; n*0=y; n*=utf-8''%C3%BC; m=p; m*0=q", "a/b", {{"n", "ü"}, {"m", "q"}}},
        // As senders write it.
        {"a/b; n==?utf-8?Q?=C3=BC;_x?=; m=\"=?utf-8?Q?=C3=BC?=\"",
         "a/b",
         {{"n", "ü; x"}, {"m", "ü"}}},
        {"a/b; n*0=\"=?utf-8?Q?a\"; n*1=\"b?=\"", "a/b", {{"n", "ab"}}},
        {"a/b; n*=\"utf-8''x%20y\"", "a/b", {{"n", "x y"}}},
        {"a/b; n=\"C:\\new\\x.txt\"", "a/b", {{"n", "C:\\new\\x.txt"}}},
        {"a/b; n=My file (1).pdf; s=3",
         "a/b",
         {{"n", "My file (1).pdf"}, {"s", "3"}},
         {{kSyntax, 7}}},
        {"a/b c=d e=\"f\" g=h",
         "a/b",
         {{"c", "d"}, {"e", "f"}, {"g", "h"}},
         {{kMissing, 4}, {kMissing, 8}, {kMissing, 14}}},
        {"n=a", "", {{"n", "a"}}, {{kMissing, 0}}},
        {"a/b; n=\"a\"b\".txt\"; x=1", "a/b", {{"n", "a\"b\".txt"}, {"x", "1"}}, {{kSyntax, 9}}},
        {"a/b; n=\"a\" b; x=1", "a/b", {{"n", "a"}, {"x", "1"}}, {{kSyntax, 9}}},
        {"a/b; n=\"a.pdf ; x=1", "a/b", {{"n", "a.pdf"}, {"x", "1"}}, {{kMissing, 7}}},
        {"a/b; n=caf\xE9", "a/b", {{"n", "café"}}, {{kMalformed, 10}}},
        {"a/b; n*=''caf\xC3\xA9%E9", "a/b", {{"n", "cafÃ©é"}}, {{kMalformed, 15}}},
        {"a/b; n*=x'; m*=y%zz",
         "a/b",
         {{"n", "x'"}, {"m", "y%zz"}},
         {{kMissing, 8}, {kMissing, 15}, {kBadEscape, 16}}},
        {"a/b; n*1=b; n*3=d; n*1=c",
         "a/b",
         {{"n", "bd"}},
         {{kMissing, 5}, {kMissing, 12}, {kDuplicate, 19}}},
        {"a/b; n=1; N=2", "a/b", {{"n", "1"}}, {{kDuplicate, 10}}},
        {"a/b; =x; y; *0=z; n*x=1; m*9999999999=1",
         "a/b",
         {},
         {{kSyntax, 5}, {kSyntax, 9}, {kSyntax, 12}, {kSyntax, 20}, {kSyntax, 27}}},
        {"a/b; n*=utf-8''%00a%0D%0Ab",
         "a/b",
         {{"n", "ab"}},
         {{kControl, 15}, {kControl, 15}, {kControl, 15}}},
    };
    for (const auto& row : rows) {
        const auto parsed = parameter::parse(row.field);
        EXPECT_EQ(parsed.value, row.value) << row.field;
        EXPECT_EQ(parsed.parameters, row.parameters) << row.field;
        EXPECT_EQ(parsed.defects, row.defects) << row.field;
    }
    EXPECT_EQ(parameter::parse("a; FileName=x").get("fileNAME"), "x");
    EXPECT_EQ(parameter::parse("a; b=x").get("c"), std::nullopt);
    for (const header::Limits& limits : {header::Limits{.parameters = 1}, {.sections = 1}}) {
        const auto parsed = parameter::parse("a; b=x; c=y", {.limits = limits});
        EXPECT_EQ(parsed.get("b"), "x");
        EXPECT_EQ(parsed.get("c").value_or(""), "");
        EXPECT_EQ(parsed.defects, (std::vector<Error>{{kTooLong, 8}}));
    }
}

TEST(Parameters, AreFormatted) {
    const std::string twenty(20, 'a'), cyrillic = "Очень длинное имя";
    const struct {
        Parameters parameters;
        std::string field;
        parameter::Writing writing = {};
    } rows[] = {
        {{}, "a/b"},
        {{{"n", "x.pdf"}, {"m", ""}}, "a/b; n=x.pdf; m=\"\""},
        {{{"n", "x \"y\" \\z"}}, "a/b; n=\"x \\\"y\\\" \\\\z\""},
        {{{"n", "ü 100%'*.pdf"}}, "a/b; n*=utf-8''%C3%BC%20100%25%27%2A.pdf"},
        {{{"n", "=?x?Q?y?="}}, "a/b; n*=utf-8''%3D%3Fx%3FQ%3Fy%3F%3D"},
        {{{"n", "a\r\nb: c"}}, "a/b; n*=utf-8''a%0D%0Ab%3A%20c"},
        {{{"n", twenty}, {"m", twenty}},
         "a/b; n=" + twenty + ";\r\n m=" + twenty,
         {.column = 10, .lineLength = 50}},
        {{{"n", twenty + " \"" + twenty}},
         "a/b;\r\n n*0=\"aaaaaaaaaaaaaaaaaaaa \\\"aaaaaaaaa\";\r\n n*1=\"aaaaaaaaaaa\"",
         {.lineLength = 40}},
        {{{"n", cyrillic}},
         "a/b; n*0*=utf-8''%D0%9E%D1%87%D0%B5%D0%BD%D1%8C%20%D0%B4%D0%BB%D0%B8%D0%BD;\r\n"
         " n*1*=%D0%BD%D0%BE%D0%B5%20%D0%B8%D0%BC%D1%8F"},
        {{{"n", cyrillic}},
         "a/b;\r\n n=\"=?utf-8?B?0J7Rh9C10L3RjCDQtNC70LjQvdC90L7QtSDQuNC80Y8=?=\"",
         {.form = Form::kEncodedWords}},
        {{{std::string(30, 'n'), "ü"}},
         "a/b;\r\n nnnnnnnnnnnnnnnnnnnnnnnnnnnnnn*=utf-8''%C3%BC",
         {.form = Form::kEncodedWords, .lineLength = 50}},
        {{{"n", "_ よろしくお願いいたします दुनिया выпей"}},
         "a/b;\r\n n=\"=?utf-8?B?XyDjgojjgo3jgZfjgY/jgYrpoZjjgYTjgYTjgZ/jgZfjgb7jgZkg?=\r\n"
         " =?utf-8?B?4KSm4KWB4KSo4KS/4KSv4KS+INCy0YvQv9C10Lk=?=\"",
         {.form = Form::kEncodedWords}},
        {{{"n", "é€ \"x\" 5%.pdf"}},
         "a/b; n=\"__ _x_ 5_.pdf\"; n*=utf-8''%C3%A9%E2%82%AC%20%22x%22%205%25.pdf",
         {.form = Form::kTwin, .lineLength = 0}},
    };
    for (const auto& row : rows) {
        const auto field = parameter::format("a/b", row.parameters, row.writing);
        EXPECT_EQ(field.value_or("refused"), row.field);
        constexpr header::Decoding kKeeping{.controls = header::Controls::kKeep};
        EXPECT_EQ(parameter::parse(*field, kKeeping).parameters, row.parameters);
    }
    const std::pair<Parameters, Error> refused[] = {
        {{{"n", "a"}, {"b c", "d"}}, {kSyntax, 1}},
        {{{"", "a"}}, {kSyntax, 0}},
        {{{"n*0", "a"}}, {kSyntax, 0}},
        {{{std::string(61, 'n'), "a"}}, {kTooLong, 0}},
    };
    for (const auto& [parameters, error] : refused)
        EXPECT_EQ(parameter::format("a", parameters).error(), error);
    for (const char* value : {"a b", "a;", "a\r\n", "a\xC3\xBC"})
        EXPECT_EQ(parameter::format(value, {{"n", "a"}}).error(), (Error{kSyntax, 1}));
}
