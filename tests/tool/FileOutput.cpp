#include "tool/FileOutput.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <thread>

#include "tests/TestSupport.h"

class Files : public testing::Test {
protected:
    bool write(_zqOutput& out, std::string_view bytes) {
        return out.writeBytes(bytes.data(), size32(bytes), m_ioParams, m_log);
    }

    _zqIoParams m_ioParams;
    LogText m_log;
};

TEST_F(Files, KeepTheFirstErrorAndStop) {
    FileOutput toFull(open("/dev/full", O_WRONLY));
    EXPECT_TRUE(write(toFull, ""));
    EXPECT_FALSE(write(toFull, "x"));
    EXPECT_FALSE(write(toFull, ""));
    EXPECT_EQ(toFull.error(), ENOSPC);
    EXPECT_EQ(m_log.text().view(), "Failed to write to the output file.\n");
    FileOutput toNothing(-1);
    EXPECT_FALSE(write(toNothing, "x"));
    EXPECT_EQ(toNothing.error(), EBADF);
}

// A write that has filled a pipe is cut short by a signal; one that finds it full is interrupted.
TEST_F(Files, ContinueAfterShortAndInterruptedWrites) {
    const std::string sent = noise(1 << 20);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
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
    FileOutput out(ends[1]);
    const bool ok = write(out, sent);
    written = true;
    close(ends[1]);  // the reader comes to the end
    reader.join();
    sigaction(SIGUSR1, &before, nullptr);
    close(ends[0]);
    EXPECT_TRUE(ok);
    EXPECT_TRUE(received == sent);
}
