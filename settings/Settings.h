#pragma once

#include <cstdint>
#include <list>
#include <string>

// Every stored setting with its start value, the values the command line gives one run, and the
// allow and deny lists; with what reads and writes them. No socket, no client, no drawing.
class CSettings {
  public:
    // Column widths of the client list in pixels when none are stored, and after "Reset Columns".
    static constexpr int kDefaultWidths[6] = {150, 120, 80, 90, 90, 110};

    // The settings store: one registry file under m_ConfigDir, read once at the start and
    // written once at the end.
    void LoadSettings();
    void SaveSettings() const;
    // Fills the stored frame rectangle (left, top, right, bottom) and the six column widths;
    // 1 if a rectangle was stored.
    int LoadWindowPlacement(int rect[4], std::uint32_t* pbMinimized, int* pCol1, int* pCol2,
                            int* pCol3, int* pCol4, int* pCol5, int* pCol6) const;
    // Stores the frame rectangle and, unless col1 or col2 is -1, the six column widths.
    void SaveWindowPlacement(int left, int top, int right, int bottom, int reserved, int col1,
                             int col2, int col3, int col4, int col5, int col6) const;

    // Command line (-A, -I, -O).
    void ParseArguments(int argc, const char* const* argv);

    // The XDG autostart entry that starts the program (empty path) or an update once.
    void WriteRunOnce(std::string path) const;

    // Stored.
    std::string InPath;
    std::string OutPath;
    std::string Port = "69";
    std::string Timeout = "30";
    std::string ForceFile;
    std::string LogFile = "Quaylon.log";
    std::string ADData;
    std::string SysLogData;
    std::uint32_t SysLogFlags = 0;
    std::uint32_t IcmpFlags = 0;
    std::uint32_t nDefAddress = 255;
    std::uint32_t nMaxClientsPos = 4;
    std::uint32_t nMaxDisplayPos = 6;
    std::uint32_t nPriority = 4;
    std::uint32_t bForce = 0;
    std::uint32_t bAllow = 0;
    std::uint32_t bDeny = 0;
    std::uint32_t bDisplay = 1;
    std::uint32_t bShowAlert = 1;
    std::uint32_t bAllowTsize = 1;
    std::uint32_t bAllowTimeout = 1;
    std::uint32_t bNoSplash = 0;
    std::uint32_t bRaisePriority = 0;
    std::uint32_t bUseGraphic = 0;
    std::uint32_t bMinimizeAtStartup = 0;
    std::uint32_t bShowMultihomed = 0;
    std::uint32_t bPreventAutoRestart = 0;
    std::uint32_t bOutboundPaths = 0;
    std::uint32_t bNoOutbound = 0;
    std::uint32_t bNoIncoming = 0;
    std::uint8_t bUseTaskbar = 0;
    std::uint8_t bSkipRetry = 0;
    std::uint8_t bInboundPaths = 0;
    std::uint8_t bCreatePaths = 0;
    std::uint8_t bRenameDuplicate = 0;
    std::uint8_t bRenameExisting = 0;
    std::uint8_t bRejectDuplicate = 0;
    std::uint8_t bDeleteAfterSend = 0;

    // Not stored as such.
    std::string m_AppPath;
    std::string m_StoredLocation;
    std::int32_t m_nArgAddress = -1;
    std::uint8_t m_bInPathArg = 0;
    std::uint8_t m_bOutPathArg = 0;
    std::list<std::string> m_AllowList;
    std::list<std::string> m_DenyList;

    // Directory of the settings store: --config-dir, else $XDG_CONFIG_HOME/Orrelin.
    std::string m_ConfigDir;

    // For this run only: the address to serve on (skipping the address choice), and a Port
    // given on the command line, which like -I leaves the stored value alone.
    std::string m_BindAddress;
    std::uint8_t m_bPortArg = 0;
};
