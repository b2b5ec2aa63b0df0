#pragma once

#include <QDialog>
#include <QString>

class CListenSocket;

// The local server's figures: host, address, adaptors and what the socket layer allows.
class CServerInfoDlg : public QDialog {
    Q_OBJECT
  public:
    explicit CServerInfoDlg(QWidget* parent = nullptr);

    // Fills the six fields from the present listener and the socket layer.
    void Fill(const CListenSocket* pListener);
    int exec() override;

    QString m_HostName, m_HostIp, m_Adaptors, m_SocketsVersion, m_MaxUdp, m_MaxSockets;
};
