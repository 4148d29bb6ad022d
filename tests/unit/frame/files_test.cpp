#include "frame/files.h"

#include "platform/device_test.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using FilesTest = DeviceTest;

Text<64> tmp_value(const char* path, const char* before = "before")
{
    Text<64> value;
    value = before;
    EXPECT_EQ(get_tmp_value(path, value), 1);
    return value;
}

} // namespace

TEST_F(FilesTest, sets_a_value_without_a_line_end)
{
    EXPECT_EQ(set_tmp_value("/tmp/guard", "1"), 1);
    EXPECT_EQ(read_file("/tmp/guard"), "1");
    EXPECT_EQ(log_lines(), Lines{"[set_tmp_value][1234] /tmp/guard[1]."});
}

TEST_F(FilesTest, replaces_a_longer_value)
{
    write_file("/tmp/guard", "a longer value\n");
    EXPECT_EQ(set_tmp_value("/tmp/guard", "0"), 1);
    EXPECT_EQ(read_file("/tmp/guard"), "0");
}

TEST_F(FilesTest, logs_a_value_also_when_it_cannot_be_set)
{
    make_unopenable("/tmp/guard");
    EXPECT_EQ(set_tmp_value("/tmp/guard", "1"), -1);
    EXPECT_FALSE(file_exists("/tmp/guard"));
    EXPECT_EQ(log_lines(), Lines{"[set_tmp_value][1234] /tmp/guard[1]."});
}

TEST_F(FilesTest, sets_no_value_through_a_symbolic_link)
{
    write_file("/tmp/elsewhere", "untouched");
    make_symbolic_link("/tmp/elsewhere", "/tmp/guard");
    EXPECT_EQ(set_tmp_value("/tmp/guard", "1"), -1);
    EXPECT_EQ(read_file("/tmp/elsewhere"), "untouched");
}

TEST_F(FilesTest, gets_the_first_word_of_a_file)
{
    write_file("/tmp/guard", "1\n");
    EXPECT_STREQ(tmp_value("/tmp/guard"), "1");
    write_file("/tmp/guard", " \n\t two words");
    EXPECT_STREQ(tmp_value("/tmp/guard"), "two");
}

TEST_F(FilesTest, gets_zero_for_a_missing_file)
{
    EXPECT_STREQ(tmp_value("/tmp/guard"), "0");
}

TEST_F(FilesTest, keeps_the_value_when_the_file_holds_no_word)
{
    write_file("/tmp/guard", "");
    EXPECT_STREQ(tmp_value("/tmp/guard"), "before");
    write_file("/tmp/guard", " \n");
    EXPECT_STREQ(tmp_value("/tmp/guard"), "before");
}

TEST_F(FilesTest, cuts_a_word_to_63_bytes)
{
    const std::string word(70, 'w');
    write_file("/tmp/guard", word.substr(0, 63));
    EXPECT_EQ(std::string(tmp_value("/tmp/guard")), word.substr(0, 63));
    write_file("/tmp/guard", word);
    EXPECT_EQ(std::string(tmp_value("/tmp/guard")), word.substr(0, 63));
}

TEST_F(FilesTest, writes_a_file_line_by_line)
{
    {
        FileWriter file("/tmp/x.conf", FileWriter::Mode::replace);
        EXPECT_TRUE(file.is_open());
        file.put("a");
        file.put_line("b");
        file.print("%s %d;", "c", 1);
        file.line("%s", "d");
        file.put_line("");
    }
    EXPECT_EQ(read_file("/tmp/x.conf"), "ab\nc 1;d\n\n");
}

TEST_F(FilesTest, replaces_or_appends_as_asked)
{
    write_file("/tmp/x.conf", "old old old\n");
    FileWriter("/tmp/x.conf", FileWriter::Mode::replace).put_line("new");
    EXPECT_EQ(read_file("/tmp/x.conf"), "new\n");
    FileWriter("/tmp/x.conf", FileWriter::Mode::append).put_line("newer");
    EXPECT_EQ(read_file("/tmp/x.conf"), "new\nnewer\n");
}

TEST_F(FilesTest, empties_a_file_even_when_nothing_is_written)
{
    write_file("/tmp/x.conf", "old\n");
    EXPECT_TRUE(FileWriter("/tmp/x.conf", FileWriter::Mode::replace).is_open());
    EXPECT_EQ(read_file("/tmp/x.conf"), "");
}

TEST_F(FilesTest, writes_files_of_any_length)
{
    std::string expected;
    {
        FileWriter file("/tmp/long", FileWriter::Mode::replace);
        for (int i = 0; i < 2000; ++i) {
            file.line("line %d", i);
            expected += "line " + std::to_string(i) + "\n";
        }
        const std::string text(5000, 'x');
        file.put(text.c_str());
        expected += text;
    }
    EXPECT_EQ(read_file("/tmp/long"), expected);
}

TEST_F(FilesTest, cuts_one_formatted_piece_at_511_bytes)
{
    const std::string text(600, 'x');
    {
        FileWriter file("/tmp/x", FileWriter::Mode::replace);
        file.line("%s", text.c_str());
        file.put("end");
    }
    EXPECT_EQ(read_file("/tmp/x"), text.substr(0, 511) + "\nend");
}

TEST_F(FilesTest, writes_nothing_into_a_file_that_cannot_be_opened)
{
    make_unopenable("/tmp/x");
    FileWriter file("/tmp/x", FileWriter::Mode::replace);
    EXPECT_FALSE(file.is_open());
    file.put("text");
    EXPECT_FALSE(file_exists("/tmp/x"));
}

TEST_F(FilesTest, shows_a_whole_file_at_once)
{
    write_file("/tmp/x.conf", "old\n");
    write_file("/tmp/x.conf.new", "left by a run that was killed\n");
    {
        FileWriter file("/tmp/x.conf", FileWriter::Mode::whole);
        ASSERT_TRUE(file.is_open());
        file.put(std::string(5000, 'x').c_str());
        EXPECT_EQ(read_file("/tmp/x.conf"), "old\n");
        EXPECT_TRUE(file.put_in_place());
        EXPECT_EQ(read_file("/tmp/x.conf"), std::string(5000, 'x'));
    }
    EXPECT_EQ(read_file("/tmp/x.conf"), std::string(5000, 'x'));
    EXPECT_FALSE(file_exists("/tmp/x.conf.new"));
}

TEST_F(FilesTest, keeps_the_old_file_until_the_new_one_is_put_in_place)
{
    write_file("/tmp/x.conf", "old\n");
    FileWriter("/tmp/x.conf", FileWriter::Mode::whole).put("half");
    EXPECT_EQ(read_file("/tmp/x.conf"), "old\n");
    EXPECT_FALSE(file_exists("/tmp/x.conf.new"));
}

TEST_F(FilesTest, opens_no_whole_file_that_could_not_be_replaced)
{
    make_directory("/tmp/folder");
    EXPECT_FALSE(FileWriter("/tmp/folder", FileWriter::Mode::whole).is_open());
    write_file("/tmp/elsewhere", "untouched");
    make_symbolic_link("/tmp/elsewhere", "/tmp/link");
    EXPECT_FALSE(FileWriter("/tmp/link", FileWriter::Mode::whole).is_open());
    make_unopenable("/tmp/x");
    EXPECT_FALSE(FileWriter("/tmp/x", FileWriter::Mode::whole).is_open());
    make_directory("/tmp/y.new");
    FileWriter y("/tmp/y", FileWriter::Mode::whole);
    EXPECT_FALSE(y.is_open());
    y.put("text");
    EXPECT_EQ(read_file("/tmp/y"), "");
    EXPECT_EQ(read_file("/tmp/elsewhere"), "untouched");
}

TEST_F(FilesTest, writes_no_whole_file_into_the_place_of_another_one_s_link)
{
    write_file("/tmp/elsewhere", "untouched");
    make_symbolic_link("/tmp/elsewhere", "/tmp/x.new");
    FileWriter file("/tmp/x", FileWriter::Mode::whole);
    file.put("text");
    EXPECT_TRUE(file.put_in_place());
    EXPECT_EQ(read_file("/tmp/x"), "text");
    EXPECT_EQ(read_file("/tmp/elsewhere"), "untouched");
}

TEST_F(FilesTest, does_not_wait_at_a_fifo)
{
    ASSERT_EQ(mkfifo(private_path("/tmp/fifo").c_str(), 0600), 0);
    EXPECT_FALSE(Stream("/tmp/fifo").is_open());
    for (const auto mode : {FileWriter::Mode::replace, FileWriter::Mode::append, FileWriter::Mode::whole})
        EXPECT_FALSE(FileWriter("/tmp/fifo", mode).is_open());
    EXPECT_EQ(set_tmp_value("/tmp/fifo", "1"), -1);
    const int reader = open("/tmp/fifo", O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    EXPECT_FALSE(FileWriter("/tmp/fifo", FileWriter::Mode::replace).is_open());
    close(reader);
}

TEST_F(FilesTest, takes_no_control_character_for_a_state)
{
    write_file("/tmp/guard", "1\x01");
    EXPECT_EQ(std::string(tmp_value("/tmp/guard", "before")), "before");
    EXPECT_EQ(log_lines().back(), "[get_tmp_value][1234] /tmp/guard holds a control character and counts as absent.");
}

TEST_F(FilesTest, writes_no_file_through_a_symbolic_link)
{
    write_file("/tmp/elsewhere", "untouched");
    make_symbolic_link("/tmp/elsewhere", "/tmp/x");
    EXPECT_FALSE(FileWriter("/tmp/x", FileWriter::Mode::replace).is_open());
    EXPECT_FALSE(FileWriter("/tmp/x", FileWriter::Mode::append).is_open());
    EXPECT_EQ(read_file("/tmp/elsewhere"), "untouched");
}

TEST_F(FilesTest, reads_lines_with_their_ends_and_long_ones_in_pieces)
{
    write_file("/tmp/x", "ab\nabcdefghij\nend");
    Stream file("/tmp/x");
    ASSERT_TRUE(file.is_open());
    Lines lines;
    for (char line[6]; file.read_line(line);)
        lines.emplace_back(line);
    EXPECT_EQ(lines, (Lines{"ab\n", "abcde", "fghij", "\n", "end"}));
}

TEST_F(FilesTest, reads_no_missing_file_and_no_symbolic_link)
{
    EXPECT_FALSE(Stream("/tmp/x").is_open());
    write_file("/tmp/elsewhere", "text");
    make_symbolic_link("/tmp/elsewhere", "/tmp/x");
    EXPECT_FALSE(Stream("/tmp/x").is_open());
    EXPECT_TRUE(Stream("/tmp/elsewhere").is_open());
    EXPECT_FALSE(Stream(static_cast<std::FILE*>(nullptr)).is_open());
}

TEST_F(FilesTest, writes_a_kernel_switch_without_a_line_end)
{
    make_directory("/proc/sys/net/ipv6/conf/br-lan");
    write_ipv6_conf("0", "br-lan", "disable_ipv6");
    EXPECT_EQ(read_file("/proc/sys/net/ipv6/conf/br-lan/disable_ipv6"), "0");
}

TEST_F(FilesTest, passes_over_a_missing_kernel_switch)
{
    write_ipv6_conf("0", "br-lan", "disable_ipv6");
    EXPECT_FALSE(file_exists("/proc/sys/net/ipv6/conf/br-lan"));
    EXPECT_EQ(log_lines(), Lines{});
}
