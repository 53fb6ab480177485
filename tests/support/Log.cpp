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
    LogText log;
    log.LogDataSb("name", StringBuffer("a\r\nb\0\x7F\xC3\xA4"sv));
    EXPECT_EQ(log.text().view(), "name: a\\x0D\\x0Ab\\x00\\x7F\xC3\xA4\n");
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
