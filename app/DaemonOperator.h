#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "platform/Operator.h"

class CServerApp;

// The host's addresses with their numbers for -A, under a heading, on standard error.
void PrintAddresses(const char* heading, const std::vector<std::string>& addresses);

// The daemon has no boxes: it prints their text to standard error and takes the answer that
// leaves the service running.
class DaemonOperator : public Operator {
  public:
    void SetApp(CServerApp* pApp) { m_pApp = pApp; }

    void ShowMessage(const std::string& text, BoxIcon icon) override;
    bool AskYesNo(const std::string& text) override;
    MultihomedChoice ChooseAddress(const std::vector<std::string>& addresses,
                                   bool bDontShowAgain) override;
    std::optional<std::string> AskListenAddress() override;
    void ShowDecisionBox(CDecisionBox& box) override;
    void DestroyDecisionBox(CDecisionBox& box) override;

  private:
    CServerApp* m_pApp = nullptr;
};
