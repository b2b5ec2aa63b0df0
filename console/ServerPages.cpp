#include "console/ServerPages.h"

#include <unistd.h>

#include <climits>

#include "platform/Operator.h"
#include "policy/Paths.h"
#include "server/ServerApp.h"

void DuplicateBoxes::OnClickRename() {
    bExistingEnabled = bRename;
    bReject = false;
}

void DuplicateBoxes::OnClickExisting() {
    bReject = false;
}

void DuplicateBoxes::OnClickReject() {
    bExistingEnabled = false;
    bRename = false;
    bExisting = false;
}

std::string EmptyDirectoryQuestion(bool bInbound) {
    return std::string("Do you want the ") + (bInbound ? "Inbound" : "Outbound") +
           " Directory set to the\ncurrent application path ?";
}

void DirectoryPageValues::Load(const CSettings& s, bool bIn) {
    bInbound = bIn;
    path = bIn ? s.InPath : s.OutPath;
    bPathEnabled = (bIn ? s.m_bInPathArg : s.m_bOutPathArg) == 0;
    bInboundPaths = s.bInboundPaths;
    bCreatePaths = s.bCreatePaths;
    duplicates.bRename = s.bRenameDuplicate != 0;
    duplicates.bExisting = s.bRenameExisting != 0;
    duplicates.bExistingEnabled = duplicates.bRename;
    duplicates.bReject = s.bRejectDuplicate != 0;
    bOutboundPaths = s.bOutboundPaths;
    bDeleteAfterSend = s.bDeleteAfterSend;
    bForce = s.bForce;
    ForceFile = s.ForceFile;
}

bool DirectoryPageValues::Store(CServerApp& app) {
    if (bPathEnabled) {
        if (!path.empty()) {
            path = ValidatePath(path, bInbound ? 1 : 0, app.Op());
            if (path.empty()) {
                return false;
            }
        } else if (app.Op().AskYesNo(EmptyDirectoryQuestion(bInbound))) {
            char cwd[PATH_MAX] = "";
            if (getcwd(cwd, sizeof cwd) != nullptr) {
                path = cwd;
            }
            if (!path.empty() && path.back() != '/') {
                path += '/';
            }
        }
        (bInbound ? app.InPath : app.OutPath) = path;
    }
    if (bInbound) {
        app.bInboundPaths = bInboundPaths != 0;
        app.bCreatePaths = bCreatePaths != 0;
        app.bRenameDuplicate = duplicates.bRename;
        app.bRenameExisting = duplicates.bExisting;
        app.bRejectDuplicate = duplicates.bReject;
    } else {
        app.bForce = bForce != 0;
        app.ForceFile = ForceFile;
        app.bOutboundPaths = bOutboundPaths != 0;
        app.bDeleteAfterSend = bDeleteAfterSend != 0;
    }
    return true;
}

void OtherPageValues::Load(const CSettings& s, int nAddressCount) {
    Port = s.Port;
    Timeout = s.Timeout;
    bSkipRetry = s.bSkipRetry;
    bMultihomedEnabled = nAddressCount >= 2;
    bDontShowMultihomed = bMultihomedEnabled && s.bShowMultihomed == 0;
    bShowAlert = s.bShowAlert;
    bAllowTsize = s.bAllowTsize;
    bAllowTimeout = s.bAllowTimeout;
    bNoSplash = s.bNoSplash;
    bMinimizeAtStartup = s.bMinimizeAtStartup;
    bNoOutbound = s.bNoOutbound;
    bNoIncoming = s.bNoIncoming;
    bUseTaskbar = s.bUseTaskbar;
    bPreventAutoRestart = s.bPreventAutoRestart;
}

void OtherPageValues::Store(CServerApp& app) {
    if (Port != app.Port) {
        app.Port = Port;
        // The operator's port outlives a --port that was given for this run only.
        app.m_bPortArg = 0;
        app.PortChanged();
    }
    app.Timeout = Timeout;
    if (bMultihomedEnabled) {
        app.bShowMultihomed = bDontShowMultihomed ? 0 : 1;
    }
    app.bShowAlert = bShowAlert != 0;
    app.bUseTaskbar = bUseTaskbar != 0;
    app.bAllowTsize = bAllowTsize != 0;
    app.bAllowTimeout = bAllowTimeout != 0;
    if (bMinimizeAtStartup) {
        bNoSplash = 1;
    }
    app.bNoSplash = bNoSplash != 0;
    app.bMinimizeAtStartup = bMinimizeAtStartup != 0;
    app.bPreventAutoRestart = bPreventAutoRestart != 0;
    app.bNoIncoming = bNoIncoming != 0;
    app.bNoOutbound = bNoOutbound != 0;
    app.bSkipRetry = bSkipRetry != 0;
}

void ClientsPageValues::Load(const CSettings& s) {
    nMaxClientsPos = s.nMaxClientsPos <= kMaxClientsTop ? static_cast<int>(s.nMaxClientsPos) : 1;
    nMaxDisplayPos = s.nMaxDisplayPos <= kMaxDisplayTop ? static_cast<int>(s.nMaxDisplayPos) : 6;
}

void ClientsPageValues::Store(CSettings& s) const {
    s.nMaxClientsPos = static_cast<std::uint32_t>(nMaxClientsPos);
    s.nMaxDisplayPos = static_cast<std::uint32_t>(nMaxDisplayPos);
}

void ThreadsPageValues::Load(const CSettings& s) {
    bRaisePriority = s.bRaisePriority;
    nMode = s.nPriority <= 2 ? static_cast<int>(s.nPriority) : 3;
    LogFile = s.LogFile;
}

void ThreadsPageValues::Store(CServerApp& app) const {
    app.LogFile = LogFile;
    app.bRaisePriority = bRaisePriority != 0;
    app.nPriority = static_cast<std::uint32_t>(nMode);
    app.ApplyProcessPriority();
}
