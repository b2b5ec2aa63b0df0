#pragma once

#include <cstdint>
#include <string>

// The shared record a sender fills just before NotifyView.
struct CClientStatus {
    std::string text;
    std::int32_t bFailed = 0;
    // 64 bits, so that files beyond 2 GiB show right.
    std::int64_t nPosition = 0;
    std::int64_t nTotal = 0;
};

enum StatusCode : int {
    STATUS_DONE = 0,
    STATUS_NEW_CLIENT = 1,
    STATUS_FILE = 2,
    STATUS_PROGRESS = 3,
    STATUS_RESULT = 4,
    STATUS_TIMED_OUT = 5,
    STATUS_ERROR = 6,
    STATUS_RETRY = 7,
};

// Message numbers of the five view handlers.
enum ClientMessage : unsigned {
    WM_CLIENT_DONE = 0x464,
    WM_CLIENT_NEW = 0x465,
    WM_CLIENT_FILE = 0x466,
    WM_CLIENT_PROGRESS = 0x467,
    WM_CLIENT_RESULT = 0x468,
};

// The receiver of status messages: the client list. Each call is synchronous.
class CClientView {
  public:
    virtual ~CClientView() = default;
    virtual void OnClientNew(std::uint32_t serial, CClientStatus& status) = 0;
    virtual void OnClientFile(std::uint32_t serial, CClientStatus& status) = 0;
    virtual void OnClientProgress(std::uint32_t serial, CClientStatus& status) = 0;
    // lParam 0 leaves the row's key alone; any other value becomes the row's item data.
    virtual void OnClientDone(std::uint32_t serial, std::intptr_t lParam) = 0;
    virtual void OnClientResult(std::uint32_t serial, CClientStatus& status) = 0;
};
