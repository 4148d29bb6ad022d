#include "firewall/filter_record.h"
#include "firewall/user_filter.h"

#include "platform/device_test.h"

#include <utility>

namespace {

class UserFilterTest : public DeviceTest {
protected:
    // The rules of a list, line by line without "-A FORWARD -p " and " -j ACCEPT".
    Lines rules_of(const std::string& list)
    {
        store.settings["ip6_filter_cnt@wan100"] = "1";
        store.settings["ip6_filter_list@wan100"] = list;
        write_file("/tmp/.ip6t", "");
        write_user_filter(test_tid);
        std::string content = read_file("/tmp/.ip6t");
        Lines rules;
        const std::string head = "-A FORWARD -p ";
        const std::string tail = " -j ACCEPT\n";
        while (!content.empty()) {
            const std::size_t end = content.find(tail);
            EXPECT_EQ(content.rfind(head, 0), 0U) << content;
            if (content.rfind(head, 0) != 0 || end == std::string::npos)
                return {"malformed: " + content};
            rules.push_back(content.substr(head.size(), end - head.size()));
            content.erase(0, end + tail.size());
        }
        return rules;
    }
};

// The fields of a record in order, joined by |.
std::string fields(const std::string& text)
{
    const FilterRecord r = parse_filter_record(text.c_str());
    return std::string(r.name) + "|" + r.host.c_str() + "|" + r.range[0].protocol.c_str() + "|"
           + r.range[0].first.c_str() + "|" + r.range[0].last.c_str() + "|" + r.range[1].protocol.c_str() + "|"
           + r.range[1].first.c_str() + "|" + r.range[1].last.c_str();
}

} // namespace

TEST_F(UserFilterTest, parses_eight_fields)
{
    EXPECT_EQ(fields("web;2001:db8::10;tcp;80;81;udp;53;54"), "web|2001:db8::10|tcp|80|81|udp|53|54");
}

TEST_F(UserFilterTest, stops_at_the_first_empty_field)
{
    EXPECT_EQ(fields(""), "|||||||");
    EXPECT_EQ(fields(";2001:db8::10;tcp;80;80"), "|||||||");
    EXPECT_EQ(fields("web;;tcp;80;80"), "web|||||||");
    EXPECT_EQ(fields("web;2001:db8::10;;80;80"), "web|2001:db8::10||||||");
    EXPECT_EQ(fields("web;2001:db8::10;tcp;;80"), "web|2001:db8::10|tcp|||||");
    EXPECT_EQ(fields("web;2001:db8::10;tcp;80;;udp;53;53"), "web|2001:db8::10|tcp|80||||");
    EXPECT_EQ(fields("web;2001:db8::10;tcp;80;80;;;;"), "web|2001:db8::10|tcp|80|80|||");
    EXPECT_EQ(fields("web;2001:db8::10;tcp;80;80;;53;53"), "web|2001:db8::10|tcp|80|80|||");
}

TEST_F(UserFilterTest, parses_as_many_fields_as_there_are)
{
    EXPECT_EQ(fields("web"), "web|||||||");
    EXPECT_EQ(fields("web;2001:db8::10;tcp;80"), "web|2001:db8::10|tcp|80||||");
    EXPECT_EQ(fields("a;b;c;d;e;f;g;h;i;j"), "a|b|c|d|e|f|g|h");
}

TEST_F(UserFilterTest, ends_a_record_at_a_quote)
{
    EXPECT_EQ(fields("'web;2001:db8::10"), "|||||||");
    EXPECT_EQ(fields("we'b;2001:db8::10"), "we|||||||");
    EXPECT_EQ(fields("web;2001:db8::10;tcp;80;80'0;udp;1;2"), "web|2001:db8::10|tcp|80|80|||");
    EXPECT_EQ(fields("web;2001:db8::10;tcp;80';80"), "web|2001:db8::10|tcp|80||||");
}

TEST_F(UserFilterTest, parses_the_whole_line_and_cuts_each_field_on_copying)
{
    const std::string name(60, 'n');
    const std::string host(60, 'h');
    EXPECT_EQ(fields(name + ";" + host + ";tcpx;123456789;123456789;both;987654321;987654321"),
              name.substr(0, 39) + "|" + host.substr(0, 39) + "|tcp|1234567|1234567|bot|9876543|9876543");
}

TEST_F(UserFilterTest, knows_hosts)
{
    for (const char* const host : {"::", "2001:db8::10", "2001:DB8:0:0:0:0:0:10", "2001:db8::/32", "::/0", "::1/128",
                                   "2001:db8::/032", "::ffff:192.0.2.1"})
        EXPECT_TRUE(is_filter_host(host)) << host;
    for (const char* const host :
         {"", "192.0.2.1", "host.example", "2001:db8::10 ", " ::1", "::1/", "::1/129", "::1/-1", "::1/x", "::1/64x",
          "::1/0064", "::1/64/64", "2001:db8:::1", "/64", "2001:0db8:0000:0000:0000:0000:0000:0001:0002", "::1%br-lan",
          "::1,::2", "!::1", "-j"})
        EXPECT_FALSE(is_filter_host(host)) << host;
}

TEST_F(UserFilterTest, knows_ports)
{
    for (int port = 1; port <= 65535; ++port)
        ASSERT_TRUE(is_filter_port(std::to_string(port).c_str())) << port;
    for (const char* const port : {"", "0", "00", "080", "65536", "99999", "100000", "-1", "+80", " 80", "80 ", "80:90",
                                   "80,90", "http", "0x50", "8o"})
        EXPECT_FALSE(is_filter_port(port)) << port;
}

TEST_F(UserFilterTest, opens_one_port_both_ways)
{
    EXPECT_EQ(rules_of("web;2001:db8::10;tcp;80;80;;;;"),
              (Lines{"tcp -s 2001:db8::10 -m multiport --dports 80", "tcp -d 2001:db8::10 -m multiport --dports 80"}));
    EXPECT_EQ(rules_of("dns;2001:db8::10;udp;53;53;;;;"),
              (Lines{"udp -s 2001:db8::10 -m multiport --dports 53", "udp -d 2001:db8::10 -m multiport --dports 53"}));
}

TEST_F(UserFilterTest, opens_a_range_for_both_protocols)
{
    EXPECT_EQ(
        rules_of("ftp;2001:db8::10;b;20;21;;;;"),
        (Lines{"tcp -s 2001:db8::10 -m multiport --dports 20:21", "tcp -d 2001:db8::10 -m multiport --dports 20:21",
               "udp -s 2001:db8::10 -m multiport --dports 20:21", "udp -d 2001:db8::10 -m multiport --dports 20:21"}));
    EXPECT_EQ(rules_of("ftp;2001:db8::10;bot;7;7").size(), 4U);
    EXPECT_EQ(rules_of("ftp;2001:db8::10;both;7;7").size(), 4U);
}

TEST_F(UserFilterTest, opens_both_ranges_in_order)
{
    EXPECT_EQ(rules_of("x;::1;tcp;1;2;udp;3;3"),
              (Lines{"tcp -s ::1 -m multiport --dports 1:2", "tcp -d ::1 -m multiport --dports 1:2",
                     "udp -s ::1 -m multiport --dports 3", "udp -d ::1 -m multiport --dports 3"}));
}

TEST_F(UserFilterTest, opens_nothing_for_another_protocol)
{
    for (const char* const protocol : {"icm", "a", "TCP", "-", "1"})
        EXPECT_EQ(rules_of(std::string("x;::1;") + protocol + ";1;1;udp;3;3").size(), 2U) << protocol;
    EXPECT_EQ(log_lines(), Lines{});
}

TEST_F(UserFilterTest, leaves_out_what_the_loader_would_refuse)
{
    const std::pair<const char*, const char*> records[] = {
        {"a;::1;tc;1;1", "record a is left out of the ruleset: unknown protocol."},
        {"b;::1;utp;1;1", "record b is left out of the ruleset: unknown protocol."},
        {"c;192.0.2.1;tcp;1;1", "record c is left out of the ruleset: its host is no IPv6 address."},
        {"d;::1 -j X;b;1;1", "record d is left out of the ruleset: its host is no IPv6 address."},
        {"e;::1;tcp;0;1", "record e is left out of the ruleset: its ports are no range within 1 to 65535."},
        {"f;::1;tcp;1;65536", "record f is left out of the ruleset: its ports are no range within 1 to 65535."},
        {"g;::1;b;2;1", "record g is left out of the ruleset: its ports are no range within 1 to 65535."},
    };
    for (const auto& [record, log] : records) {
        EXPECT_EQ(rules_of(std::string(record) + "/z;::2;tcp;9;9").size(), 2U) << record;
        EXPECT_EQ(log_lines().back(), std::string("[write_user_filter][1234] ") + log);
    }
}

TEST_F(UserFilterTest, takes_at_most_20_records)
{
    std::string list;
    for (int i = 1; i <= 25; ++i)
        list += (i != 1 ? "/" : "") + ("r" + std::to_string(i)) + ";::" + std::to_string(i) + ";tcp;1;1";
    const Lines rules = rules_of(list);
    ASSERT_EQ(rules.size(), 40U);
    EXPECT_EQ(rules.back(), "tcp -d ::20 -m multiport --dports 1");
}

TEST_F(UserFilterTest, passes_over_empty_records)
{
    EXPECT_EQ(rules_of("a;::1;tcp;1;1//b;::2;tcp;1;1/").size(), 4U);
    EXPECT_EQ(rules_of(""), Lines{});
    EXPECT_EQ(rules_of("/"), Lines{});
    EXPECT_EQ(rules_of("//"), Lines{});
}

TEST_F(UserFilterTest, does_not_end_a_record_at_the_first_character)
{
    EXPECT_EQ(rules_of("/a;::1;tcp;1;1").size(), 2U);
    EXPECT_EQ(rules_of("/a;::1;tcp;1;1/b;::2;tcp;1;1").size(), 4U);
}

TEST_F(UserFilterTest, cuts_the_list_to_1023_characters)
{
    const std::string record = "name;::1;tcp;1;1/"; // 17
    std::string list;
    for (int i = 0; i < 10; ++i)
        list += record;
    list += std::string(1023 - list.size() - 14, 'x') + ";::2;tcp;1;123";
    EXPECT_EQ(rules_of(list + "45").back(), "tcp -d ::2 -m multiport --dports 1:123");
}

TEST_F(UserFilterTest, writes_nothing_when_the_count_is_0)
{
    store.settings["ip6_filter_list@wan100"] = "a;::1;tcp;1;1";
    store.settings["ip6_filter_cnt@wan100"] = "0";
    write_user_filter(test_tid);
    EXPECT_FALSE(file_exists("/tmp/.ip6t"));
    for (const char* const count : {"1", "00", "", "x"}) {
        store.settings["ip6_filter_cnt@wan100"] = count;
        write_file("/tmp/.ip6t", "");
        write_user_filter(test_tid);
        EXPECT_NE(read_file("/tmp/.ip6t"), "") << count;
    }
}
