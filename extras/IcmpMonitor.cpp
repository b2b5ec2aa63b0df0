#include "extras/IcmpMonitor.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>

#include "platform/EventLoop.h"
#include "settings/Settings.h"

namespace {

struct NamedType {
    std::uint8_t type;
    std::uint32_t bit;
    const char* text;
};

constexpr NamedType kNamedTypes[] = {
    {0, 0x0001, "Echo Reply"},          {3, 0x0002, "Destination unreachable"},
    {4, 0x0004, "Source quench"},       {5, 0x0008, "Redirect"},
    {8, 0x0010, "Echo request"},        {11, 0x0020, "Time exceeded"},
    {12, 0x0040, "IP unintelligible"},  {13, 0x0080, "Timestamp request"},
    {14, 0x0100, "Timestamp reply"},    {15, 0x0200, "Information request"},
    {16, 0x0400, "Information reply"},  {17, 0x0800, "Address mask request"},
    {18, 0x1000, "Address mask reply"},
};
constexpr std::uint32_t kUnassignedBit = 0x2000;

// The header is taken as 20 bytes: the source at 12 to 15 and the type at 20.
constexpr int kTypeOffset = 20;
constexpr int kSourceOffset = 12;

}  // namespace

IcmpKind ClassifyIcmp(std::uint8_t type) {
    for (const NamedType& named : kNamedTypes) {
        if (named.type == type) {
            return {named.bit, named.text};
        }
    }
    char text[32];
    std::snprintf(text, sizeof text, "Unassigned report (%X)", type);
    return {kUnassignedBit, text};
}

CIcmpReportRows::Change CIcmpReportRows::AddReport(const unsigned char* packet, int length,
                                                   std::uint32_t flags, const std::string& stamp) {
    Change change;
    if (length <= kTypeOffset) {
        return change;  // too short to hold a type
    }
    const IcmpKind kind = ClassifyIcmp(packet[kTypeOffset]);
    if ((flags & kind.bit) == 0) {
        return change;
    }
    char source[16];
    std::snprintf(source, sizeof source, "%d.%d.%d.%d", packet[kSourceOffset],
                  packet[kSourceOffset + 1], packet[kSourceOffset + 2], packet[kSourceOffset + 3]);
    m_rows.push_front({source, stamp, kind.text});
    change.bInserted = true;
    while (m_rows.size() > kMaxRows) {
        m_rows.pop_back();
        ++change.nRemovedFromEnd;
    }
    return change;
}

CIcmpMonitor::CIcmpMonitor(EventLoop& loop, const CSettings& settings)
    : m_loop(loop), m_settings(settings) {}

CIcmpMonitor::~CIcmpMonitor() {
    if (m_fd >= 0) {
        m_loop.Unwatch(m_fd);
        close(m_fd);
    }
}

bool CIcmpMonitor::Create() {
    m_fd = socket(AF_INET, SOCK_RAW | SOCK_NONBLOCK | SOCK_CLOEXEC, IPPROTO_ICMP);
    if (m_fd < 0) {
        return false;
    }
    m_loop.WatchReadable(m_fd, [this] { OnReceive(); });
    return true;
}

void CIcmpMonitor::OnReceive() {
    unsigned char buffer[1024];
    const ssize_t n = recv(m_fd, buffer, sizeof buffer, 0);
    if (n < 0) {
        return;  // an error skips the datagram
    }
    // IcmpFlags is read at each datagram, so a change on the page counts from the next one.
    const CIcmpReportRows::Change change =
        m_rows.AddReport(buffer, static_cast<int>(n), m_settings.IcmpFlags, IcmpStamp());
    if (change.bInserted && onChange) {
        onChange(change);
    }
}

std::string IcmpStamp() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char text[128];
    return std::strftime(text, sizeof text, "%c", &local) != 0 ? text : "";
}
