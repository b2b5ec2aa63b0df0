#pragma once

#include <string>
#include <vector>

// The local host name, or empty with ok false when it cannot be had.
struct HostName {
    bool bOk = false;
    bool bNetworkDown = false;
    std::string name;
};
HostName LocalHostName();

// IPv4 addresses of the interfaces that are up, in interface order, loopback left out;
// 127.0.0.1 alone on a host with no other address.
std::vector<std::string> LocalAddresses();
