#include "load_values.h"

#include "frame/address_text.h"
#include "frame/device_query.h"
#include "frame/log.h"
#include "mac.h"
#include "platform/config_store.h"

void load_number(int tid, const char* name, const char* sect, const char* key, int& value, const char* label,
                 long missing)
{
    value = to_int(tesa_ccfg_get_long(tid, sect, key, missing));
    if (label != nullptr)
        log_line(name, "%s(%s):%d", label, sect, value);
}

void repair_subnet_id(int tid, const char* name, const char* sect, const char* key, AddressText& id, const char* repair)
{
    const std::size_t length = id.length();
    if (length < 2) {
        AddressText padded{"0"};
        padded.append(id);
        id = padded;
    } else if (length > 2) {
        console_line(name, "length of %s@%s is incorrect, reset it to default %s", key, sect, repair);
        tesa_ccfg_set_str(tid, sect, key, repair);
        id = repair;
    }
}

void widen_ula_subnet_id(AddressText& id)
{
    AddressText wide{"00"};
    wide.append(id);
    id = wide;
}

void load_mac(LanSide& lan)
{
    get_mac_addr(lan.ifname, lan.mac_addr.data());
    read_mac(lan.mac_addr, lan.mac);
}

void derive_host_ids(int tid, LanSide& lan)
{
    if (lan.ip6_gua_manual_hostid == 0) {
        lan.ip6_gua_hostid = modified_eui64(lan.mac);
        tesa_ccfg_set_str(tid, lan.sect, "ip6_gua_hostid", lan.ip6_gua_hostid);
    }
    if (lan.ip6_ula_manual_hostid == 0) {
        lan.ip6_ula_hostid = modified_eui64(lan.mac);
        tesa_ccfg_set_str(tid, lan.sect, "ip6_ula_hostid", lan.ip6_ula_hostid);
    }
}
