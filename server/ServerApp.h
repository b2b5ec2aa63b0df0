#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "platform/Priority.h"
#include "server/ClientListHost.h"
#include "server/ClientStatus.h"
#include "server/Manager.h"
#include "settings/Settings.h"

class CListenSocket;
class CDecisionBox;
class Clock;
class EventLoop;
class Operator;

// The one application object: the settings it serves by, the listening socket, the status
// record and the lock of the client table.
class CServerApp : public CSettings, public ClientListHost {
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

    // Address rules and their file (AllowDeny.dat beside the program, or ADData).
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

    const CSettings& Settings() const override { return *this; }
    int ClientCount() const override;
    void Tick() override;

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
    // How a client's worker thread is started; the tests make it fail.
    ThreadLauncher m_LaunchThread = [](std::function<void()> run) { return WorkerThread(run); };

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
