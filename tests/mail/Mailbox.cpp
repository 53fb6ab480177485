#include "contentcoding/mailbox.hpp"

#include "tests/mail/MailSupport.h"

namespace {

using namespace contentcoding;
using enum Fault;
using mailbox::Mailbox;

constexpr const char* kAddress = "j@example.com";

}  // namespace

TEST(Mailboxes, AreParsed) {
    const struct {
        std::string_view value;
        std::vector<Mailbox> list;
        std::vector<Error> defects = {};
    } rows[] = {
        {"", {}},
        {"j@d.example", {{"", "j@d.example", ""}}},
        {" John Doe <j@d>\r\n", {{"John Doe", "j@d", ""}}},
        {"J. Q.  Public\r\n\t<j@d>,,", {{"J. Q. Public", "j@d", ""}}},
        // RFC 5322, appendix A.1.2, A.1.3, A.5 and A.6.1.
        {"Who? <one@y.test>, <boss@nil.test>, \"Giant; \\\"Big\\\" Box\" <s@example.net>",
         {{"Who?", "one@y.test", ""},
          {"", "boss@nil.test", ""},
          {"Giant; \"Big\" Box", "s@example.net", ""}}},
        {"A Group:Ed Jones <c@a.test>,joe@where.test;, x@y",
         {{"Ed Jones", "c@a.test", "A Group"}, {"", "joe@where.test", "A Group"}, {"", "x@y", ""}}},
        {"Undisclosed recipients:;", {}},
        {"Pete(A nice \\) chap) <pete(his account)@silly.test(his host)>",
         {{"Pete", "pete@silly.test", ""}},
         {{kSyntax, 26}}},
        {"Mary <@node.test,@n:mary@example.net>, jdoe@test  . example",
         {{"Mary", "mary@example.net", ""}, {"", "jdoe@test.example", ""}},
         {{kSyntax, 6}, {kSyntax, 48}, {kSyntax, 51}}},
        {"a@b (Kay (K) \\(E), <c@d> (=?utf-8?Q?=C3=A9?=)",
         {{"Kay (K) (E", "a@b", ""}, {"é", "c@d", ""}}},
        {"\"a b\"@c, a@[1.2.3.4], <\"<\"@d>",
         {{"", "\"a b\"@c", ""}, {"", "a@[1.2.3.4]", ""}, {"", "\"<\"@d", ""}}},
        // Names in words; an address is never inside one.
        {"=?utf-8?Q?M=C3=BCller, <z>?= <a@b>", {{"Müller, <z>", "a@b", ""}}},
        {"\"=?utf-8?Q?=3Cz=40z=3E?=\" =?utf-8?Q?,_y=40?=\r\n =?utf-8?Q?y?= <a@b>",
         {{"<z@z> , y@y", "a@b", ""}}},
        {"=?utf-8?Q?a=40b?=", {{"a@b", "", ""}}, {{kMissing, 0}}},
        {"<=?utf-8?Q?a=40b?=>", {{"", "", ""}}, {{kSyntax, 1}}},
        {"<a@b =?utf-8?Q?;c@d;?= , e@f",
         {{"", "", ""}, {"", "e@f", ""}},
         {{kSyntax, 5}, {kMissing, 23}}},
        {"=?utf-8?Q?x?=a@b", {{"x", "", ""}}, {{kSyntax, 13}, {kSyntax, 13}}},
        // What senders write.
        {"Doe, John <j@d>", {{"Doe", "", ""}, {"John", "j@d", ""}}, {{kMissing, 0}}},
        {"John j@d k@e", {{"John", "j@d", ""}, {"", "k@e", ""}}, {{kSyntax, 5}, {kSyntax, 9}}},
        {"<a@b> <c@d>", {{"", "a@b", ""}, {"", "c@d", ""}}, {{kSyntax, 6}}},
        {"a@b; c@d", {{"", "a@b", ""}, {"", "c@d", ""}}, {{kSyntax, 3}}},
        {"Joe <z> Doe <a@b>", {{"Joe <z> Doe", "a@b", ""}}, {{kMissing, 5}, {kSyntax, 12}}},
        {"a@b (x) (y)", {{"x", "a@b", ""}}},
        {"<<a@b>>", {{"", "a@b", ""}}, {{kSyntax, 0}, {kSyntax, 6}}},
        {"<a@b, <c@d>", {{"", "a@b", ""}, {"", "c@d", ""}}, {{kMissing, 4}}},
        {"\"x <a@b>", {{"\"x", "a@b", ""}}, {{kMissing, 0}}},
        {"x (y <a@b>", {{"x (y", "a@b", ""}}, {{kMissing, 2}}},
        {"<root>", {{"", "root", ""}}, {{kMissing, 1}}},
        {"caf\xE9 <a@b>", {{"café", "a@b", ""}}, {{kMalformed, 3}}},
        // What others could read as another address.
        {"a@b@c", {{"", "", ""}}, {{kSyntax, 0}}},
        {"<a@b@c>", {{"", "", ""}}, {{kSyntax, 4}}},
        {"<a,b@c>", {{"", "", ""}}, {{kSyntax, 1}}},
        {"<a b@c>", {{"", "", ""}}, {{kSyntax, 3}}},
        {"<a@b\0c>"sv, {{"", "", ""}}, {{kControl, 1}}},
        {"a@b\xE2\x80\xAE", {{"", "", ""}}, {{kControl, 0}}},
        {"\xE9@b", {{"", "", ""}}, {{kMalformed, 0}}},
    };
    for (const auto& row : rows) {
        const auto parsed = mailbox::parse(row.value);
        EXPECT_EQ(parsed.list, row.list) << row.value;
        EXPECT_EQ(parsed.defects, row.defects) << row.value;
    }
    const auto two = mailbox::parse("a@b c@d, e@f", {.limits = {.addresses = 2}});
    EXPECT_EQ(two.list.size(), 2u);
    EXPECT_EQ(two.defects.back().fault, kTooLong);
    EXPECT_TRUE(mailbox::parse("a@b, c@d ", {.limits = {.addresses = 2}}).defects.empty());
}

TEST(Mailboxes, AreFormattedToBeReadBack) {
    const struct {
        std::string_view name, written;
    } rows[] = {
        {"", "j@example.com"},
        {" ", "j@example.com"},
        {"John Doe", "John Doe <j@example.com>"},
        {"Doe, John Q.", "\"Doe, John Q.\" <j@example.com>"},
        {"<z@z> ", "=?utf-8?B?PHpAej4g?= <j@example.com>"},
        {"a \"b\"", "a =?utf-8?B?ImIi?= <j@example.com>"},
        {"Müller, Jörg (Sales)", "=?utf-8?B?TcO8bGxlciwgSsO2cmcgKFNhbGVzKQ==?= <j@example.com>"},
        {"=?utf-8?Q?x?=", "=?utf-8?B?PT91dGYtOD9RP3g/PQ==?= <j@example.com>"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(mailbox::format(row.name, kAddress).value_or(""), row.written);
        const auto parsed = mailbox::parse(row.written);
        EXPECT_TRUE(parsed.defects.empty()) << row.written;
        const std::string name(row.name == " " ? "" : row.name);
        EXPECT_EQ(parsed.list, (std::vector<Mailbox>{{name, kAddress, ""}}));
    }
    const std::vector<Mailbox> list = {{"Jörg", kAddress, ""},
                                       {"", "k@example.com", "The team"},
                                       {"Doe, J", "l@example.com", "The team"},
                                       {"Another Name", "m@example.com", ""}};
    const auto written = mailbox::formatList(list, {.column = 4});
    EXPECT_EQ(*written,
              "=?utf-8?B?SsO2cmc=?= <j@example.com>, The team: k@example.com, \"Doe, J\"\r\n"
              " <l@example.com>;, Another Name <m@example.com>");
    EXPECT_EQ(mailbox::parse(*written).list, list);
}

TEST(Mailboxes, RefuseWhatIsNotAnAddress) {
    const std::pair<std::string_view, Error> rows[] = {
        {"", {kSyntax, 0}},          {"a", {kSyntax, 1}},
        {"@b", {kSyntax, 0}},        {"a@", {kSyntax, 2}},
        {"a..b@c", {kSyntax, 2}},    {"a@b.", {kSyntax, 4}},
        {"a b@c", {kSyntax, 1}},     {"a@b>", {kSyntax, 3}},
        {"a@b,c@d", {kSyntax, 3}},   {"a@b\r\nBcc:", {kControl, 3}},
        {"a@\xFF", {kMalformed, 2}}, {"\"a@b", {kSyntax, 4}},
        {"a@[b", {kSyntax, 2}},      {"a=?u?Q?b?=@c", {kSyntax, 1}},
    };
    for (const auto& [address, error] : rows) {
        const auto written = mailbox::format("x", address);
        ASSERT_FALSE(written) << address;
        EXPECT_EQ(written.error(), error) << address;
    }
    EXPECT_EQ(mailbox::formatList({{"", "a@b", ""}, {"", "c", ""}}).error(), (Error{kSyntax, 1}));
    for (const char* address :
         {"a.b+c@d", "a=?b@c=?d?q?e", "\"a b\"@c", "a@[1.2.3.4]", "ü@ü.example"})
        EXPECT_EQ(mailbox::parse(mailbox::format("x", address).value_or("")).list,
                  (std::vector<Mailbox>{{"x", address, ""}}));
}
