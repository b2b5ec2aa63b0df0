#include "server/ServerApp.h"

#include "platform/Operator.h"
#include "server/DecisionBox.h"
#include "server/ListenSocket.h"

CServerApp::CServerApp(EventLoop& loop, Operator& op, const Clock& clock)
    : m_loop(loop), m_operator(op), m_clock(clock), m_mainThread(CurrentThreadId()) {}

CServerApp::~CServerApp() {
    m_pView = nullptr;
    if (m_pPortChangeDlg) {
        m_operator.DestroyDecisionBox(*m_pPortChangeDlg);
        m_pPortChangeDlg.reset();
    }
    // Deleting the listening socket stops the workers.
    m_pListenSocket.reset();
    if (m_pStopServingDlg) {
        m_operator.DestroyDecisionBox(*m_pStopServingDlg);
        m_pStopServingDlg.reset();
    }
    // The only place the settings are written, so a failed start writes them too.
    SaveSettings();
}

int CServerApp::InitInstance(int argc, const char* const* argv) {
    LoadSettings();
    ApplyProcessPriority();
    ParseArguments(argc, argv);
    m_pListenSocket = std::make_unique<CListenSocket>(*this);
    if (!m_pListenSocket->StartListening()) {
        m_operator.ShowMessage(
            "Unable to initialise server operations\n\nProgram will now terminate\n\n(Is there "
            "another TFTP Server running ?)",
            BoxIcon::Information);
        return 0;
    }
    return 1;
}

void CServerApp::NotifyView(int code, std::int32_t serial) {
    if (m_pView == nullptr) {
        return;
    }
    const auto id = static_cast<std::uint32_t>(serial);
    switch (code) {
        case STATUS_DONE:
            m_pView->OnClientDone(id, 0);
            break;
        case STATUS_NEW_CLIENT:
            m_pView->OnClientNew(id, m_Status);
            break;
        case STATUS_FILE:
            m_pView->OnClientFile(id, m_Status);
            break;
        case STATUS_PROGRESS:
        case STATUS_RETRY:
            m_pView->OnClientProgress(id, m_Status);
            break;
        case STATUS_RESULT:
        case STATUS_ERROR:
            m_Status.bFailed = 0;
            m_pView->OnClientResult(id, m_Status);
            break;
        case STATUS_TIMED_OUT:
            m_Status.bFailed = 1;
            m_pView->OnClientResult(id, m_Status);
            break;
        default:
            break;
    }
}

int CServerApp::ClientCount() const {
    return m_pListenSocket ? static_cast<int>(m_pListenSocket->m_ClientList.size()) : 0;
}

void CServerApp::Tick() {
    if (m_pListenSocket) {
        m_pListenSocket->Housekeeping();
    }
    ApplyThreadPriorities();
}
