#include "app/DaemonOperator.h"

#include "platform/EventLoop.h"
#include "server/DecisionBox.h"
#include "server/ServerApp.h"

void DaemonOperator::ShowMessage(const std::string& text, BoxIcon) {
    std::fprintf(stderr, "%s\n", text.c_str());
}

bool DaemonOperator::AskYesNo(const std::string& text) {
    std::fprintf(stderr, "%s\n  -> No\n", text.c_str());
    return false;  // the answer that changes nothing
}

void PrintAddresses(const char* heading, const std::vector<std::string>& addresses) {
    std::fprintf(stderr, "%s\n", heading);
    for (std::size_t i = 0; i < addresses.size(); ++i) {
        std::fprintf(stderr, "  %zu  %s\n", i, addresses[i].c_str());
    }
}

Operator::MultihomedChoice DaemonOperator::ChooseAddress(const std::vector<std::string>& addresses,
                                                         bool) {
    PrintAddresses(
        "This host has several addresses; serving on index 0 (choose with -A or --bind):",
        addresses);
    return {};  // as a dismissed box: index 0, settings untouched
}

std::optional<std::string> DaemonOperator::AskListenAddress() {
    std::fprintf(stderr, "No address to serve on: give one with --bind\n");
    return std::nullopt;
}

void DaemonOperator::ShowDecisionBox(CDecisionBox& box) {
    std::fprintf(stderr, "%s\n", CDecisionBox::Caption());
    for (const std::string& text : box.Texts()) {
        std::fprintf(stderr, "  %s\n", text.c_str());
    }
    std::fprintf(stderr, "  -> %s\n", CDecisionBox::CancelText());
    // Answered from the loop, never from inside the call that opened the box.
    CServerApp* pApp = m_pApp;
    if (pApp != nullptr) {
        pApp->Loop().StartTimer(0, false, [pApp] {
            if (pApp->m_pPortChangeDlg || pApp->m_pStopServingDlg) {
                pApp->ResetListener(false);
            }
        });
    }
}

void DaemonOperator::DestroyDecisionBox(CDecisionBox&) {}
