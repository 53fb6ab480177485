#include "support/Output.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <thread>

#include "tests/TestSupport.h"

using namespace contentcoding;

class Output : public testing::Test {
protected:
    bool write(_zqOutput& out, std::string_view bytes) {
        return out.writeBytes(bytes.data(), size32(bytes), m_ioParams, m_log);
    }

    _zqIoParams m_ioParams;
    LogText m_log;
};

TEST_F(Output, GoesToABufferOrACallable) {
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

TEST_F(Output, GoesToAStream) {
    std::FILE* const stream = std::tmpfile();
    std::fputs("zero ", stream);
    FileOutput out(stream);
    EXPECT_TRUE(write(out, "one ") && write(out, "two"));
    std::rewind(stream);
    char back[16];
    EXPECT_EQ(std::string(back, std::fread(back, 1, sizeof back, stream)), "zero one two");
    std::fclose(stream);
}

TEST_F(Output, KeepsTheFirstErrorAndStops) {
    std::FILE* const stream = std::fopen("/dev/full", "w");
    FileOutput toStream(stream), toDescriptor(fileno(stream));
    for (FileOutput* const out : {&toStream, &toDescriptor}) {
        m_log.clear();
        EXPECT_TRUE(write(*out, ""));
        EXPECT_FALSE(write(*out, "x"));
        EXPECT_FALSE(write(*out, ""));
        EXPECT_EQ(out->error(), ENOSPC);
        EXPECT_EQ(m_log.text().view(), "Failed to write to the output file.\n");
    }
    std::fclose(stream);
    FileOutput toNothing(-1);
    EXPECT_FALSE(write(toNothing, "x"));
    EXPECT_EQ(toNothing.error(), EBADF);
}

// A write that has filled a pipe is cut short by a signal; one that finds it full is interrupted.
TEST_F(Output, ContinuesAfterShortAndInterruptedWrites) {
    const std::string sent = noise(1 << 20);
    for (const bool asStream : {false, true}) {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        std::FILE* const stream = fdopen(ends[1], "w");
        struct sigaction action {
        }, before{};
        action.sa_handler = [](int) {};
        sigaction(SIGUSR1, &action, &before);  // without SA_RESTART
        std::atomic<bool> written = false;
        std::string received;
        std::thread reader([&, writer = pthread_self()] {
            const int room = fcntl(ends[0], F_GETPIPE_SZ);
            for (int held = 0; held < room && !written; std::this_thread::yield())
                ioctl(ends[0], FIONREAD, &held);
            char block[4096];
            for (ssize_t n = 1; n > 0; received.append(block, static_cast<std::size_t>(n))) {
                pthread_kill(writer, SIGUSR1);
                std::this_thread::yield();
                pthread_kill(writer, SIGUSR1);
                n = std::max<ssize_t>(read(ends[0], block, sizeof block), 0);
            }
        });
        FileOutput out = asStream ? FileOutput(stream) : FileOutput(ends[1]);
        const bool ok = write(out, sent);
        written = true;
        std::fclose(stream);  // the reader comes to the end
        reader.join();
        sigaction(SIGUSR1, &before, nullptr);
        close(ends[0]);
        EXPECT_TRUE(ok) << asStream;
        EXPECT_TRUE(received == sent) << asStream;
    }
}
