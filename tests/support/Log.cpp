#include "support/Log.h"

#include "tests/TestSupport.h"

TEST(Log, TextIsIndentedByContext) {
    LogText log;
    log.LogError("first");
    {
        const LogContextExitor outer(log, "outer");
        log.LogDataSb("charset", StringBuffer("koi8-r"));
        const LogContextExitor inner(log, "inner");
        { const LogContextExitor empty(log, "empty"); }
        log.LogError(nullptr);
    }
    log.leaveContext();  // one too many
    log.LogError("last");
    EXPECT_EQ(log.text().view(), "first\nouter:\n  charset: koi8-r\n  inner:\n    \nlast\n");
    log.clear();
    EXPECT_EQ(log.text().getSize(), 0u);
}

TEST(Log, AValueCannotPoseAsAnEntry) {
    constexpr std::pair<std::string_view, const char*> kRows[] = {
        {"a\r\nb\0\x1F\x7F"sv, "a\\x0D\\x0Ab\\x00\\x1F\\x7F"},
        {"\xC2\x80\xC2\x85\xC2\x9F\xC2\xA0", "\\xC2\\x80\\xC2\\x85\\xC2\\x9F\xC2\xA0"},  // C1
        {"\xE2\x80\xA7|\xE2\x80\xA8|\xE2\x80\xA9",
         "\xE2\x80\xA7|\\xE2\\x80\\xA8|\\xE2\\x80\\xA9"},  // U+2027 to U+2029
        // Bidirectional controls, at the ends of their ranges, and their neighbours.
        {"\xD8\x9B\xD8\x9C\xD8\x9D", "\xD8\x9B\\xD8\\x9C\xD8\x9D"},
        {"\xE2\x80\x8D\xE2\x80\x8E\xE2\x80\x8F\xE2\x80\x90",
         "\xE2\x80\x8D\\xE2\\x80\\x8E\\xE2\\x80\\x8F\xE2\x80\x90"},
        {"\xE2\x80\xAA\xE2\x80\xAE\xE2\x80\xAF", "\\xE2\\x80\\xAA\\xE2\\x80\\xAE\xE2\x80\xAF"},
        {"\xE2\x81\xA5\xE2\x81\xA6\xE2\x81\xA9\xE2\x81\xAA",
         "\xE2\x81\xA5\\xE2\\x81\\xA6\\xE2\\x81\\xA9\xE2\x81\xAA"},
        // Ill-formed: a lone byte, a cut character, an overlong line feed, a surrogate.
        {"\x85\xE2\x80"sv, "\\x85\\xE2\\x80"},
        {"\xE2\x80\n\xC0\x8A", "\\xE2\\x80\\x0A\\xC0\\x8A"},
        {"\xED\xA0\x80", "\\xED\\xA0\\x80"},
        {" ~\\ \xC3\xA4\xF0\x9F\x98\x80", " ~\\ \xC3\xA4\xF0\x9F\x98\x80"},
    };
    for (const auto& [value, shown] : kRows) {
        LogText log;
        log.LogDataSb("name", StringBuffer(value));
        EXPECT_EQ(str(log.text()), "name: "s + shown + '\n');
    }
    LogText log;
    const LogContextExitor context(log, "con\ntext");
    log.LogError("err\xC2\x85or");
    EXPECT_EQ(log.text().view(), "con\\x0Atext:\n  err\\xC2\\x85or\n");
}

TEST(Log, ContextsCloseWhenAnExceptionPasses) {
    LogText log;
    try {
        const LogContextExitor context(log, "context"), empty(log, "empty");
        throw 1;
    } catch (int) {
        log.LogError("outside");
    }
    EXPECT_EQ(log.text().view(), "outside\n");
    LogNull null;
    const LogContextExitor context(null, "context");
    EXPECT_FALSE(null.m_verboseLogging);
    EXPECT_EQ(null.m_options.getSize(), 0u);
}
