#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "console/ClientStatus.h"
#include "platform/Priority.h"

class CListenSocket;
class CDecisionBox;
class Clock;
class EventLoop;
class Operator;

// The one application object: every setting, the listening socket, the status record and the
// lock of the client table. Reached from anywhere through GetServerApp().
class CServerApp {
  public:
    CServerApp(EventLoop& loop, Operator& op, const Clock& clock);
    ~CServerApp();
    CServerApp(const CServerApp&) = delete;
    CServerApp& operator=(const CServerApp&) = delete;

    // Start-up up to a bound listening socket: settings, priority, command line, socket.
    // Returns 0 after telling the operator why the server cannot run.
    int InitInstance(int argc, const char* const* argv);

    // The road from the server core to the client list.
    void NotifyView(int code, std::int32_t serial);
    void SetView(CClientView* pView) { m_pView = pView; }
    CClientView* View() const { return m_pView; }

    // The settings store: one registry file under m_ConfigDir, read once at the start and
    // written once at the end.
    void LoadSettings();
    void SaveSettings();
    // Fills the stored frame rectangle (left, top, right, bottom) and the six column widths;
    // 1 if a rectangle was stored.
    int LoadWindowPlacement(int rect[4], std::uint32_t* pbMinimized, int* pCol1, int* pCol2,
                            int* pCol3, int* pCol4, int* pCol5, int* pCol6);
    // The XDG autostart entry that starts the program (empty path) or an update once.
    void WriteRunOnce(std::string path);

    // Command line (-A, -I, -O).
    void ParseArguments(int argc, const char* const* argv);

    // Address rules and their file.
    int IsInDenyList(const char* pszAddress);
    int IsInAllowList(const char* pszAddress);
    void LoadRules();
    void SaveRules();
    std::string RulesFileName() const;

    // Serving control.
    void OnStartServing();
    void OnStopServing();
    void PortChanged();
    void ResetListener(bool bRecreate);
    void CloseDecisionBoxes();
    void ApplyProcessPriority();
    void ApplyThreadPriorities();
    // Number of clients on the table of the current listening socket.
    int ClientCount() const;

    EventLoop& Loop() const { return m_loop; }
    Operator& Op() const { return m_operator; }
    const Clock& Time() const { return m_clock; }

    // Set when a failure has ended the service: the front end leaves its loop.
    bool m_bTerminate = false;
    // Called when a new listening socket has given the document a new title.
    std::function<void()> m_OnNewDocument;

    // Runtime members.
    std::string m_ServerTitle;
    std::unique_ptr<CDecisionBox> m_pPortChangeDlg;
    std::unique_ptr<CDecisionBox> m_pStopServingDlg;
    std::recursive_mutex m_ClientLock;
    std::unique_ptr<CListenSocket> m_pListenSocket;
    CClientStatus m_Status;
    std::int32_t m_bServing = 1;
    // Serials run 1 to 1001 and then from 1 again; kept across listening sockets.
    std::int32_t m_nClientSerial = 0;

    // Settings.
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

  private:
    EventLoop& m_loop;
    Operator& m_operator;
    const Clock& m_clock;
    CClientView* m_pView = nullptr;
    pid_t m_mainThread;
    // What the last priority pass saw.
    std::uint32_t m_nLastPriorityMode = 99;
    int m_nLastPriorityCount = 99;
};

// The one application object, or null outside its lifetime.
CServerApp* GetServerApp();

// Stores the frame rectangle and, unless col1 or col2 is -1, the six column widths.
void SaveWindowPlacement(int left, int top, int right, int bottom, int reserved, int col1, int col2,
                         int col3, int col4, int col5, int col6);
