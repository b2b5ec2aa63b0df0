#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>

class CSettings;
class EventLoop;

// The IcmpFlags bit of one ICMP type and the name the report gives it.
struct IcmpKind {
    std::uint32_t bit;
    std::string text;
};
IcmpKind ClassifyIcmp(std::uint8_t type);

struct IcmpRow {
    std::string source;
    std::string stamp;
    std::string message;
};

// The rows of "Detected ICMP Messages": the chosen types only, newest first, at most 1000.
class CIcmpReportRows {
  public:
    static constexpr std::size_t kMaxRows = 1000;

    // What one datagram did to the rows, for a view that mirrors them.
    struct Change {
        bool bInserted = false;           // a row went on top
        std::size_t nRemovedFromEnd = 0;  // rows that then went from the bottom
    };

    // packet holds the datagram from its IPv4 header on, taken as 20 bytes long; flags are
    // IcmpFlags as they stand now.
    Change AddReport(const unsigned char* packet, int length, std::uint32_t flags,
                     const std::string& stamp);
    const std::deque<IcmpRow>& Rows() const { return m_rows; }

  private:
    std::deque<IcmpRow> m_rows;
};

// Watches the ICMP messages that reach the host through a raw socket, which needs CAP_NET_RAW,
// and keeps the rows of the chosen types. It only listens.
class CIcmpMonitor {
  public:
    CIcmpMonitor(EventLoop& loop, const CSettings& settings);
    ~CIcmpMonitor();
    CIcmpMonitor(const CIcmpMonitor&) = delete;
    CIcmpMonitor& operator=(const CIcmpMonitor&) = delete;

    // Opens the raw socket; false without the right to one.
    bool Create();
    const CIcmpReportRows& Rows() const { return m_rows; }

    // Told after each datagram that changed the rows.
    std::function<void(const CIcmpReportRows::Change&)> onChange;

  private:
    void OnReceive();

    EventLoop& m_loop;
    const CSettings& m_settings;
    CIcmpReportRows m_rows;
    int m_fd = -1;
};

// The present local time in the locale's date and time form.
std::string IcmpStamp();
