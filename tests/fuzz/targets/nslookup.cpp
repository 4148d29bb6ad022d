// What nslookup printed for the border relay's name, and the name.
#include <arpa/inet.h>

#include "frame/address_text.h"
#include "params/prepare_parm.h"
#include "platform/config_store.h"
#include "support/device.h"
#include "wan/sixrd.h"

namespace {

void check_answer(const std::string& output)
{
    std::string copy = output;
    copy.push_back('\0');
    const char* const address = get_nslookup_addr(copy.data());
    if (address == nullptr)
        return;
    const std::string text(address);
    if (text.size() > 15 || text.find_first_not_of("0123456789.") != std::string::npos)
        finding("no IPv4 address: " + text);
}

void run(const Fields& fields)
{
    check_answer(as_text(fields[0]));
    start_device();
    write_file("/tmp/host.log", fields[0]);
    set_setting("ip6_proto@wan100", "tunnel");
    set_setting("ip6_tunnel_type@wan100", "2");
    set_setting("ip6_6rd_v4mask@wan100", "0");
    set_setting("ip6_6rd_pfxlen@wan100", "32");
    set_setting("ip6_6rd_prefix@wan100", "3fff::");
    set_setting("ip6_6rd_border_relay@wan100", fields[1]);
    run_program([] {
        prepare_parm(test_tid);
        start_6rd(test_tid);
    });
}

} // namespace

const Target target = {file_separator,
                       {"Server:    127.0.0.1\nAddress 1: 127.0.0.1 localhost\n\n"
                        "Name:      relay.isp.example\nAddress 1: 198.51.100.1 relay.isp.example\n",
                        "relay.isp.example"},
                       run};
