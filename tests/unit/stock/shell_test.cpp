#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/time.h>
#include <unistd.h>

#include <string>

#include "child.h"
#include "platform/common_library.h"
#include "temp_folder.h"

namespace {

std::string output_of(const char* line, int size = 65536)
{
    std::string text(static_cast<size_t>(size) + 1, '#');
    const int copied = osSystem_GetOutput(line, text.data(), size);
    if (copied < 0)
        return "(not run)";
    EXPECT_EQ(text[static_cast<size_t>(copied)], '\0');
    EXPECT_EQ(text[static_cast<size_t>(size)], '#') << "written behind the buffer";
    return text.substr(0, static_cast<size_t>(copied));
}

// Runs `body` where there is no /bin/sh: in a mount namespace of its own where that is no program.
int run_without_shell(int (*body)())
{
    return run_child([body] {
        if (unshare(geteuid() == 0 ? CLONE_NEWNS : CLONE_NEWNS | CLONE_NEWUSER) != 0)
            return 100;
        mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr);
        if (mount("/dev/null", "/bin/sh", nullptr, MS_BIND, nullptr) != 0)
            return 100;
        return body();
    });
}

volatile sig_atomic_t alarms = 0;

} // namespace

TEST(Shell, ReturnsTheExitStatusOfTheLine)
{
    EXPECT_EQ(osSystem("exit 0"), 0);
    EXPECT_EQ(osSystem("exit 3"), 3);
    EXPECT_EQ(osSystem("exit 255"), 255);
    EXPECT_EQ(osSystem("/nonexistent/program 2>/dev/null"), 127);
    EXPECT_EQ(osSystem("true; false"), 1);
    EXPECT_EQ(osSystem(""), 0);
}

TEST(Shell, ReturnsTheSignalThatEndedTheLine)
{
    EXPECT_EQ(osSystem("kill -9 $$"), 128 + SIGKILL);
    EXPECT_EQ(osSystem("kill -TERM $$"), 128 + SIGTERM);
    EXPECT_EQ(osSystem("sh -c 'kill -9 $$'; exit $?"), 128 + SIGKILL);
}

TEST(Shell, ALineThatCannotBeRunGivesMinusOne)
{
    EXPECT_EQ(osSystem(nullptr), -1);
    char text[8] = "kept";
    EXPECT_EQ(osSystem_GetOutput(nullptr, text, sizeof text), -1);
    const int status = run_without_shell([] {
        char buffer[8] = "kept";
        if (osSystem("true") != -1)
            return 1;
        if (osSystem_GetOutput("echo x", buffer, sizeof buffer) >= 0)
            return 2;
        return std::string(buffer) == "kept" ? 0 : 3;
    });
    if (status == 100)
        GTEST_SKIP() << "no mount namespace may be made here";
    EXPECT_EQ(status, 0);
}

TEST(Shell, TheLineHasItsOwnSignals)
{
    // An interrupt from the terminal reaches the whole group: it ends the line and not the caller.
    EXPECT_EQ(run_child([] {
                  setpgid(0, 0);
                  return osSystem("kill -INT 0; sleep 5") == 128 + SIGINT ? 0 : 1;
              }),
              0);
    EXPECT_EQ(run_child([] {
                  setpgid(0, 0);
                  return osSystem("kill -QUIT 0; sleep 5") == 128 + SIGQUIT ? 0 : 1;
              }),
              0);
}

TEST(Shell, TheCallersSignalsAreAsBefore)
{
    struct sigaction before;
    struct sigaction after;
    sigset_t mask;
    signal(SIGINT, [](int) { alarms = alarms + 1; });
    sigaction(SIGINT, nullptr, &before);
    EXPECT_EQ(osSystem("true"), 0);
    sigaction(SIGINT, nullptr, &after);
    EXPECT_EQ(before.sa_handler, after.sa_handler);
    sigprocmask(SIG_BLOCK, nullptr, &mask);
    EXPECT_EQ(sigismember(&mask, SIGCHLD), 0);
    signal(SIGINT, SIG_DFL);
}

TEST(Shell, AnIgnoredChildSignalDoesNotLoseTheStatus)
{
    EXPECT_EQ(run_child([] {
                  signal(SIGCHLD, SIG_IGN);
                  if (osSystem("exit 7") != 7)
                      return 1;
                  struct sigaction now;
                  sigaction(SIGCHLD, nullptr, &now);
                  return now.sa_handler == SIG_IGN ? 0 : 2;
              }),
              0);
}

TEST(Shell, CopiesTheWholeOutput)
{
    EXPECT_EQ(output_of("echo one; (echo two >&2) 2>/dev/null; printf three"), "one\nthree");
    EXPECT_EQ(output_of("true"), "");
    EXPECT_EQ(output_of("printf 'a\\000b'"), std::string("a\0b", 3));
    EXPECT_EQ(output_of("echo failed; exit 3"), "failed\n");
    EXPECT_EQ(output_of("/nonexistent/program 2>/dev/null"), "");
    EXPECT_EQ(output_of("echo first; sleep 0.2; echo last"), "first\nlast\n");
}

TEST(Shell, CutsTheOutputToTheBuffer)
{
    EXPECT_EQ(output_of("printf 123456", 7), "123456");
    EXPECT_EQ(output_of("printf 123456", 6), "12345");
    EXPECT_EQ(output_of("printf 123456", 1), "");
    EXPECT_EQ(osSystem_GetOutput("printf 123456", nullptr, 0), 0);
    char untouched[2] = "#";
    EXPECT_EQ(osSystem_GetOutput("printf 123456", untouched, 0), 0);
    EXPECT_STREQ(untouched, "#");
}

TEST(Shell, ReadsALongOutputToItsEnd)
{
    const TempFolder folder;
    const std::string done = folder.file("done");
    const std::string line = "head -c 1000000 /dev/zero | tr '\\0' x && echo whole >" + done;
    EXPECT_EQ(output_of(line.c_str(), 16), std::string(15, 'x'));
    EXPECT_EQ(read_file(done), "whole\n");
    EXPECT_TRUE(output_of(line.c_str(), 2'000'000) == std::string(1'000'000, 'x'));
}

TEST(Shell, DoesNotWaitForWhatTheLineLeftInTheBackground)
{
    const TempFolder folder;
    const std::string line = "sleep 60 & echo $! >" + folder.file("pid") + "; echo ready";
    alarm(30);
    EXPECT_EQ(output_of(line.c_str()), "ready\n");
    alarm(0);
    kill(std::stoi(read_file(folder.file("pid"))), SIGKILL);
}

TEST(Shell, DoesNotListenToABackgroundTalkerForever)
{
    const TempFolder folder;
    const std::string line = "yes & echo $! >" + folder.file("pid");
    alarm(30);
    EXPECT_EQ(output_of(line.c_str(), 2).substr(0, 1), "y");
    alarm(0);
    kill(std::stoi(read_file(folder.file("pid"))), SIGKILL);
}

TEST(Shell, GoesOnAfterAnInterruptedWait)
{
    struct sigaction action = {};
    action.sa_handler = [](int) { alarms = alarms + 1; }; // without SA_RESTART
    sigaction(SIGALRM, &action, nullptr);
    const itimerval every = {{0, 10'000}, {0, 10'000}};
    const itimerval never = {};
    alarms = 0;
    setitimer(ITIMER_REAL, &every, nullptr);
    EXPECT_EQ(osSystem("sleep 0.2; exit 4"), 4);
    EXPECT_EQ(output_of("echo a; sleep 0.2; echo b"), "a\nb\n");
    setitimer(ITIMER_REAL, &never, nullptr);
    signal(SIGALRM, SIG_DFL);
    EXPECT_GT(alarms, 5);
}
