#include "platform/HostAddresses.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <unistd.h>

#include <cerrno>

HostName LocalHostName() {
    HostName result;
    char name[100] = {};
    if (gethostname(name, sizeof name - 1) != 0) {
        result.bNetworkDown = errno == ENETDOWN;
        return result;
    }
    result.bOk = true;
    result.name = name;
    return result;
}

std::vector<std::string> LocalAddresses() {
    std::vector<std::string> addresses;
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) == 0) {
        for (ifaddrs* it = list; it != nullptr; it = it->ifa_next) {
            if (it->ifa_addr == nullptr || it->ifa_addr->sa_family != AF_INET ||
                (it->ifa_flags & IFF_UP) == 0 || (it->ifa_flags & IFF_LOOPBACK) != 0) {
                continue;
            }
            char text[INET_ADDRSTRLEN] = {};
            const auto* in = reinterpret_cast<const sockaddr_in*>(it->ifa_addr);
            inet_ntop(AF_INET, &in->sin_addr, text, sizeof text);
            addresses.emplace_back(text);
        }
        freeifaddrs(list);
    }
    if (addresses.empty()) {
        addresses.emplace_back("127.0.0.1");
    }
    return addresses;
}
