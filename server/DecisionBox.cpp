#include "server/DecisionBox.h"

#include "server/ServerApp.h"

std::vector<std::string> CDecisionBox::Texts() const {
    if (m_kind == Kind::PortChange) {
        return {
            "The server is currently busy, if you press the 'Drop Clients' button now all "
            "existing connections will be dropped and the new port assignment will take place",
            "Pressing the 'Keep Clients' button will mean the new port will only take effect "
            "after the server is re-started",
            "If you wait and do nothing with this dialog box then as soon as all clients are "
            "finished then the listening port will change automatically"};
    }
    return {
        "The server is currently busy, if you press the 'Drop Clients' button now all "
        "existing connections will be dropped and the server will no longer serve",
        "Pressing the 'Keep Clients' button will simply prevent the server from serving new "
        "clients"};
}

void CDecisionBox::OnOK() {
    m_app.ResetListener(true);
}

void CDecisionBox::OnCancel() {
    m_app.ResetListener(false);
}
