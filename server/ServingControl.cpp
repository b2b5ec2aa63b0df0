#include "platform/EventLoop.h"
#include "platform/Operator.h"
#include "platform/Priority.h"
#include "server/DecisionBox.h"
#include "server/ListenSocket.h"
#include "server/Manager.h"
#include "server/ServerApp.h"

void CServerApp::OnStartServing() {
    if (m_pStopServingDlg) {
        ResetListener(false);
    }
    m_bServing = 1;
}

void CServerApp::OnStopServing() {
    m_bServing = 0;
    if (m_pListenSocket && ClientCount() != 0) {
        if (!m_pStopServingDlg) {
            m_pStopServingDlg =
                std::make_unique<CDecisionBox>(*this, CDecisionBox::Kind::StopServing);
        }
        m_operator.ShowDecisionBox(*m_pStopServingDlg);
        return;
    }
    ResetListener(false);
}

void CServerApp::PortChanged() {
    if (m_pListenSocket && ClientCount() != 0) {
        if (!m_pPortChangeDlg) {
            m_pPortChangeDlg =
                std::make_unique<CDecisionBox>(*this, CDecisionBox::Kind::PortChange);
        }
        m_operator.ShowDecisionBox(*m_pPortChangeDlg);
        return;
    }
    ResetListener(true);
}

void CServerApp::CloseDecisionBoxes() {
    if (m_pPortChangeDlg) {
        m_operator.DestroyDecisionBox(*m_pPortChangeDlg);
        m_pPortChangeDlg.reset();
    }
    if (m_pStopServingDlg) {
        m_operator.DestroyDecisionBox(*m_pStopServingDlg);
        m_pStopServingDlg.reset();
    }
}

void CServerApp::ResetListener(bool bRecreate) {
    if (!bRecreate) {
        CloseDecisionBoxes();
        return;
    }
    m_pListenSocket.reset();
    m_pListenSocket = std::make_unique<CListenSocket>(*this);
    if (!m_pListenSocket->StartListening()) {
        m_operator.ShowMessage(
            "Unable to initialise server operations\n\nProgram will now terminate",
            BoxIcon::Information);
        m_bTerminate = true;
        m_loop.Quit();
        return;
    }
    if (m_OnNewDocument) {
        m_OnNewDocument();
    }
    CloseDecisionBoxes();
}

void CServerApp::ApplyProcessPriority() {
    SetProcessHighPriority(bRaisePriority != 0);
}

void CServerApp::ApplyThreadPriorities() {
    const int count = ClientCount();
    if (nPriority != m_nLastPriorityMode || count != m_nLastPriorityCount) {
        m_nLastPriorityMode = nPriority;
        m_nLastPriorityCount = count;
        if (nPriority < 3) {
            static constexpr ThreadPriority kLevels[] = {
                ThreadPriority::BelowNormal, ThreadPriority::Normal, ThreadPriority::AboveNormal};
            SetThreadPriority(m_mainThread, kLevels[nPriority]);
        } else if (nPriority == 3) {
            if (count == 0) {
                SetThreadPriority(m_mainThread, ThreadPriority::BelowNormal);
            } else {
                const ThreadPriority target =
                    count >= 6 ? ThreadPriority::AboveNormal : ThreadPriority::Normal;
                for (const auto& worker : m_pListenSocket->m_ClientList) {
                    if (worker->IsRunning()) {
                        SetThreadPriority(worker->ThreadId(), target);
                    }
                }
                SetThreadPriority(m_mainThread, ThreadPriority::Normal);
            }
        }
    }
    if (count == 0 && (m_pPortChangeDlg || m_pStopServingDlg)) {
        ResetListener(true);
    }
}
