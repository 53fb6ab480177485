#include "support/Output.h"

#include "tests/TestSupport.h"

using namespace contentcoding;

TEST(Output, GoesToABufferOrACallable) {
    LogNull log;
    _zqIoParams ioParams;
    const auto write = [&](_zqOutput& out, std::string_view bytes) {
        return out.writeBytes(bytes.data(), size32(bytes), ioParams, log);
    };
    StringBuffer text("a");
    StringBufferOutput toText(text);
    EXPECT_TRUE(write(toText, "b\0"sv) && write(toText, ""));
    EXPECT_EQ(text.view(), "ab\0"sv);
    std::string taken;
    CallableOutput toCall([&](const char* data, unsigned int n) {
        taken.assign(data, n);
        return n < 3;
    });
    EXPECT_TRUE(write(toCall, "ab"));
    EXPECT_FALSE(write(toCall, "abc"));
    EXPECT_EQ(taken, "abc");
}
