#include <cstdio>
#include <mutex>

#include "platform/Clock.h"
#include "server/ClientSocket.h"
#include "server/ListenSocket.h"
#include "server/Manager.h"
#include "server/ServerApp.h"

namespace {

constexpr int kMaxRetries = 5;

// The global time-out in seconds; an unusable setting is replaced by "10" and counts 30 once.
int GlobalTimeout(std::string& setting) {
    long value = 0;
    for (char c : setting) {
        if (c < '0' || c > '9' || value > 7200) {
            break;
        }
        value = value * 10 + (c - '0');
    }
    if (setting.empty() || value < 1 || value > 7200) {
        setting = "10";
        return 30;
    }
    return static_cast<int>(value);
}

}  // namespace

void CListenSocket::Housekeeping() {
    const int globalTimeout = GlobalTimeout(m_app.Timeout);
    std::lock_guard<std::recursive_mutex> lock(m_app.m_ClientLock);
    if (m_ClientList.empty()) {
        m_app.CloseDecisionBoxes();
        return;
    }
    const std::int64_t now = m_app.Time().Seconds();
    for (auto it = m_ClientList.begin(); it != m_ClientList.end();) {
        CManager& worker = **it;
        if (!worker.IsRunning()) {
            it = m_ClientList.erase(it);
            continue;
        }
        if (worker.m_bStopped || !worker.m_pSocket) {
            ++it;
            continue;
        }
        CClientSocket& client = *worker.m_pSocket;
        bool bTimedOut = false;
        if (client.m_bActive == 1) {
            const std::int64_t allowed =
                client.m_nTimeoutOption != 0 ? client.m_nTimeoutOption : globalTimeout;
            if (now - client.m_LastPacket <= allowed) {
                ++it;
                continue;
            }
            if (client.m_nRetries < kMaxRetries) {
                ++client.m_nRetries;
                client.m_LastPacket = now;
                if (client.Retransmit() == 1) {
                    ++it;
                    continue;
                }
            } else {
                bTimedOut = true;
            }
        }

        m_app.NotifyView(STATUS_DONE, client.m_nClientId);
        std::string text =
            bTimedOut ? "TimedOut" : (client.m_Result.empty() ? "Finished" : client.m_Result);
        if (client.m_nOpcode == 1) {
            text += " : Sending";
            if (!bTimedOut && client.m_Result.empty() && m_app.bDeleteAfterSend) {
                client.m_pFile.reset();
                const bool bDeleted =
                    !client.m_FullPath.empty() && std::remove(client.m_FullPath.c_str()) == 0;
                text += bDeleted ? " (file deleted)" : " (Error deleting file)";
            }
        } else {
            text += " : Receiving";
        }
        m_app.m_Status.text = text;
        m_app.NotifyView(bTimedOut ? STATUS_TIMED_OUT : STATUS_RESULT, client.m_nClientId);

        // Retire the worker; End waits for its thread, so the entry goes in this same pass.
        worker.End();
        it = m_ClientList.erase(it);
    }
}
