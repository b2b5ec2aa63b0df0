#pragma once

#include <cstdint>
#include <string>

class CServerApp;
class CSettings;

// What the options pages that edit the server's own behaviour hold, load and store, without
// a window. A page loads when the sheet or the page opens and stores when it is accepted.

// The three duplicate boxes of the inbound page, which exclude each other. Each click handler
// runs after the clicked box has taken its new state.
struct DuplicateBoxes {
    bool bRename = false;
    bool bExisting = false;
    bool bExistingEnabled = false;
    bool bReject = false;

    void OnClickRename();
    void OnClickExisting();
    void OnClickReject();
};

// The inbound and outbound pages: a directory and the page's check boxes.
struct DirectoryPageValues {
    bool bInbound = true;
    std::string path;
    bool bPathEnabled = true;  // off when the command line gave the directory
    // Inbound.
    std::uint8_t bInboundPaths = 0;
    std::uint8_t bCreatePaths = 0;
    DuplicateBoxes duplicates;
    // Outbound.
    std::uint32_t bOutboundPaths = 0;
    std::uint8_t bDeleteAfterSend = 0;
    std::uint32_t bForce = 0;
    std::string ForceFile;

    void Load(const CSettings& settings, bool bIn);
    // False when the directory was refused; then nothing of the page is stored.
    bool Store(CServerApp& app);
};

// The "Options" page.
struct OtherPageValues {
    std::string Port;
    std::string Timeout;
    std::uint8_t bSkipRetry = 0;
    bool bMultihomedEnabled = false;  // only a host with two or more addresses offers the box
    std::uint32_t bDontShowMultihomed = 0;
    std::uint32_t bShowAlert = 0;
    std::uint32_t bAllowTsize = 0;
    std::uint32_t bAllowTimeout = 0;
    std::uint32_t bNoSplash = 0;
    std::uint32_t bMinimizeAtStartup = 0;
    std::uint32_t bNoOutbound = 0;
    std::uint32_t bNoIncoming = 0;
    std::uint8_t bUseTaskbar = 0;
    std::uint32_t bPreventAutoRestart = 0;

    void Load(const CSettings& settings, int nAddressCount);
    // A port text that differs in any way is stored and moves the listener.
    void Store(CServerApp& app);
};

// The "Client Limits" page: slider positions, not numbers.
struct ClientsPageValues {
    static constexpr int kMaxClientsTop = 5;
    static constexpr int kMaxDisplayTop = 6;
    static constexpr char kMaxClientsScale[] =
        "1            5            10           15            30             ~";
    static constexpr char kMaxDisplayScale[] =
        "5         10        20         30         40        50        100";

    int nMaxClientsPos = 0;
    int nMaxDisplayPos = 0;

    // A stored position out of range shows as 1 on the first slider and 6 on the second.
    void Load(const CSettings& settings);
    void Store(CSettings& settings) const;
};

// The "MultiThreading && Logging" page.
struct ThreadsPageValues {
    std::uint32_t bRaisePriority = 0;
    // The checked radio button: 0 Low, 1 Normal, 2 High, 3 Automatic, which also stands for
    // every value beyond.
    int nMode = 3;
    std::string LogFile;

    void Load(const CSettings& settings);
    // The process priority follows at once.
    void Store(CServerApp& app) const;
};

// The text of the question for an empty directory field.
std::string EmptyDirectoryQuestion(bool bInbound);
