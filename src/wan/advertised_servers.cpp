#include "advertised_servers.h"

#include "frame/files.h"
#include "frame/outside_value.h"
#include "params/param_record.h"
#include "platform/config_store.h"

int get_rdnssd_dns(int tid)
{
    Stream file("/tmp/rdnssd");
    if (!file.is_open())
        return 0;
    int found = 0;
    bool first_line = true;
    for (char line[100]; file.read_line(line); first_line = false) {
        char* rest = nullptr;
        for (char* word = strtok_r(line, " ", &rest); word != nullptr; word = strtok_r(nullptr, " ", &rest)) {
            if (std::strcmp(word, "nameserver") == 0)
                continue;
            word[std::strlen(word) - 1] = '\0'; // the line end
            if (!is_acceptable("get_rdnssd_dns", "a name server", word))
                continue;
            AddressText& server = first_line ? parm.wan_ip6_dns_primary : parm.wan_ip6_dns_secondary;
            server = word;
            tesa_ccfg_set_str(tid, parm.wan_sect, first_line ? "ip6_dns_primary" : "ip6_dns_secondary", server);
            found = 1;
        }
    }
    return found;
}
