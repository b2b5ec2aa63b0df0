#include "console/qt/ServerInfoDlg.h"

#include <sys/resource.h>

#include <algorithm>

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QVBoxLayout>

#include "console/qt/DialogFrame.h"
#include "server/ListenSocket.h"

namespace {
// The largest UDP datagram over IPv4: 65535 less the IP and UDP headers.
constexpr int kMaxUdp = 65507;
}  // namespace

CServerInfoDlg::CServerInfoDlg(QWidget* parent) : QDialog(parent) {
    UseDialogFrame(this, "Local Server Info", true);
}

void CServerInfoDlg::Fill(const CListenSocket* pListener) {
    if (pListener != nullptr) {
        m_HostName = QString::fromStdString(pListener->m_HostName);
        m_HostIp = QString::fromStdString(pListener->m_LocalIp);
        m_Adaptors = QString::number(pListener->m_nAddressCount);
    }
    m_SocketsVersion = "2.2 -> 2.2";
    m_MaxUdp = QString::number(kMaxUdp);
    rlimit files{};
    getrlimit(RLIMIT_NOFILE, &files);
    // A 16-bit figure: a larger limit shows as the most it can hold.
    m_MaxSockets = QString::number(std::min<rlim_t>(files.rlim_cur, 65535));
}

int CServerInfoDlg::exec() {
    auto* layout = new QVBoxLayout(this);
    auto* form = new QFormLayout();
    for (const auto& [label, value] : {std::pair<const char*, QString>{"Host Name", m_HostName},
                                       {"Host I.P.", m_HostIp},
                                       {"Adaptors", m_Adaptors},
                                       {"Sockets Version", m_SocketsVersion},
                                       {"Max. UDP", m_MaxUdp},
                                       {"Max. Sockets", m_MaxSockets}}) {
        auto* field = new QLabel(value, this);
        field->setTextInteractionFlags(Qt::TextSelectableByMouse);
        form->addRow(label, field);
    }
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok, this);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    layout->addLayout(form);
    layout->addWidget(buttons);
    return QDialog::exec();
}
