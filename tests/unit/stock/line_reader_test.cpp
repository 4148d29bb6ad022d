#include "line_reader.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "scratch_file.h"

namespace {

// A file with `text`, read from its start.
int file_of(const std::string& text)
{
    const int fd = open_scratch_file();
    EXPECT_EQ(write(fd, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    lseek(fd, 0, SEEK_SET);
    return fd;
}

std::vector<std::string> lines_of(const std::string& text)
{
    const int fd = file_of(text);
    LineReader reader(fd);
    std::vector<std::string> lines;
    std::string_view line;
    while (reader.next(line) == LineResult::line) {
        lines.emplace_back(line);
        EXPECT_EQ(reader.number(), lines.size());
    }
    close(fd);
    return lines;
}

} // namespace

TEST(LineReader, GivesLinesWithoutTheirEnds)
{
    using Lines = std::vector<std::string>;
    EXPECT_EQ(lines_of("a\n\nb\n"), (Lines{"a", "", "b"}));
    EXPECT_EQ(lines_of("a\nb"), (Lines{"a", "b"}));
    EXPECT_EQ(lines_of(""), Lines{});
    EXPECT_EQ(lines_of("\n"), Lines{""});
    EXPECT_EQ(lines_of(std::string("a\0b\n", 4)), Lines{std::string("a\0b", 3)});
}

TEST(LineReader, GivesLinesThatCrossItsBuffer)
{
    std::string text;
    std::vector<std::string> expected;
    for (size_t size = 0; size <= line_capacity; size += 89) {
        expected.push_back(std::string(size, static_cast<char>('a' + size % 26)));
        text += expected.back() + "\n";
    }
    EXPECT_EQ(lines_of(text), expected);
}

TEST(LineReader, TellsALineThatIsTooLong)
{
    const int fd =
        file_of("first\n" + std::string(line_capacity, 'x') + "\n" + std::string(line_capacity + 1, 'y') + "\n");
    LineReader reader(fd);
    std::string_view line;
    EXPECT_EQ(reader.next(line), LineResult::line);
    EXPECT_EQ(reader.next(line), LineResult::line);
    EXPECT_EQ(line, std::string(line_capacity, 'x'));
    EXPECT_EQ(reader.next(line), LineResult::too_long);
    EXPECT_EQ(reader.number(), 3u);
    EXPECT_EQ(line.front(), 'y');
    close(fd);
}

TEST(LineReader, TellsAFileThatCannotBeRead)
{
    LineReader reader(-1);
    std::string_view line;
    EXPECT_EQ(reader.next(line), LineResult::failed);
}

TEST(ScratchFile, IsWritableReadableAndClosedInPrograms)
{
    for (const int fd : {open_scratch_file(), open_scratch_file_in("/tmp")}) {
        ASSERT_GE(fd, 0);
        ASSERT_EQ(write(fd, "text", 4), 4);
        lseek(fd, 0, SEEK_SET);
        char text[8];
        EXPECT_EQ(read(fd, text, sizeof text), 4);
        EXPECT_EQ(fcntl(fd, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
        close(fd);
    }
    EXPECT_EQ(open_scratch_file_in("/nonexistent"), -1);
}
