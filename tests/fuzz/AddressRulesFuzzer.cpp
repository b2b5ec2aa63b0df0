// The allow and deny file as the server reads it, and a client's address matched against the
// rules read. The first four bytes are the client's address, the rest the file.
#include <netinet/in.h>

#include <cstdint>
#include <cstring>
#include <list>
#include <sstream>
#include <string>

#include "fuzz/FuzzSupport.h"
#include "platform/AsyncSocket.h"
#include "policy/AddressRules.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 4) {
        return 0;
    }
    // The rules see an address as the listening socket formats its client's.
    sockaddr_in client{};
    std::memcpy(&client.sin_addr.s_addr, data, 4);
    const std::string address = FormatAddress(client);

    std::istringstream file(std::string(reinterpret_cast<const char*>(data) + 4, size - 4));
    std::list<std::string> allow, deny;
    ReadRules(file, allow, deny);
    // Every rule read is matched, for what the sanitizers see; any answer is the file's to give.
    IsInList(deny, address.c_str());

    std::ostringstream written;
    WriteRules(written, allow, deny);
    std::istringstream back(written.str());
    std::list<std::string> allowBack, denyBack;
    Require(ReadRules(back, allowBack, denyBack) && back.peek() == EOF,
            "a written rule file reads to its end");
    Require(allowBack == allow && denyBack == deny,
            "a written rule file reads as the lists it was written from");

    allow.push_back(address);
    Require(IsInList(allow, address.c_str()) == 1, "an address matches the rule that spells it");
    return 0;
}
