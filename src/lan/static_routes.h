// Routes that send further subnets of the delegated prefix to routers inside the LAN.
#pragma once

// Removes the routes of the previous run and installs those of the numbered entries extra_sid_N and
// extra_gateway_N@system. Entries whose id is taken or whose gateway is no known neighbor are removed from the store
// for good.
void set_static_route6(int tid);

// Removes the routes of ip6_extra_sid@system under the previous routing prefix.
void flush_static_routes6(int tid);
