#include <fstream>

#include "platform/Operator.h"
#include "policy/AddressRules.h"
#include "server/ServerApp.h"

int CServerApp::IsInDenyList(const char* pszAddress) {
    return IsInList(m_DenyList, pszAddress);
}

int CServerApp::IsInAllowList(const char* pszAddress) {
    return IsInList(m_AllowList, pszAddress);
}

std::string CServerApp::RulesFileName() const {
    if (!ADData.empty()) {
        return ADData;
    }
    const auto slash = m_AppPath.rfind('/');
    return (slash == std::string::npos ? m_AppPath : m_AppPath.substr(0, slash + 1)) +
           "AllowDeny.dat";
}

void CServerApp::LoadRules() {
    std::ifstream in(RulesFileName(), std::ios::binary);
    if (!in) {
        bAllow = 0;
        bDeny = 0;
        return;
    }
    // A file that ends early keeps what was read.
    ReadRules(in, m_AllowList, m_DenyList);
}

void CServerApp::SaveRules() {
    const std::string name = RulesFileName();
    std::ofstream out(name, std::ios::binary | std::ios::trunc);
    if (!out) {
        m_operator.ShowMessage("Unable to create or Open the file :\n" + name,
                               BoxIcon::Exclamation);
        return;
    }
    WriteRules(out, m_AllowList, m_DenyList);
}
