#pragma once

#include <QMainWindow>
#include <QPointer>
#include <memory>

#include "console/qt/About.h"
class CMusic;
class CNewView;
class CServerApp;
class MidiPlayer;
class QAction;
class QLabel;
class QMenu;
class QSystemTrayIcon;
class QToolBar;
class QtOperator;

// The main window: menu, toolbar, status bar with prompts, the client list, and the tray icon.
class CMainFrame : public QMainWindow {
    Q_OBJECT
  public:
    CMainFrame(CServerApp& app, QtOperator& op);
    ~CMainFrame() override;

    CNewView* View() const { return m_pView; }

    // The title follows the listener: "Quaylon - " and its address and port.
    void OnNewDocument();
    // Brings the enable and check states of the commands up to date.
    void UpdateCommandUI();

    void InstallTrayIcon();
    void RemoveTrayIcon();
    bool TrayIconShown() const;

    // Tray popup commands.
    void OnTrayShow();
    void OnTrayClose();
    QMenu* TrayMenu() const { return m_pTrayMenu; }

    // The session manager asks whether the session may end: the rows go to the log. The session
    // may still go on, so nothing else happens yet.
    void OnQueryEndSession();
    bool EndSessionAsked() const { return m_bEndSessionAsked; }
    // The session really ends: the restart entry and the window's place.
    void OnEndSession();

    void OnAbout();
    void OnSetup();
    void OnInfo();
    void OnMusic();
    void OnFileOpen();
    CAbout* About() const { return m_pAbout; }
    bool Ended() const { return m_bEnded; }

    QAction* m_pStopServing;
    QAction* m_pStartServing;
    QAction* m_pExit;
    QAction* m_pSetup;
    QAction* m_pInfo;
    QAction* m_pToolbarToggle;
    QAction* m_pStatusBarToggle;
    QAction* m_pClearDisplay;
    QAction* m_pUseGraphic;
    QAction* m_pIcmpReport;
    QAction* m_pHelpTopics;
    QAction* m_pContextHelp;
    QAction* m_pAboutAction;
    QAction* m_pCheckVersion;
    QAction* m_pResetColumns;
    QAction* m_pMusicAction;
    QAction* m_pFileOpen;

  protected:
    bool event(QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    QAction* MakeAction(const QString& text, const QString& prompt, const QKeySequence& key = {});
    void BuildMenus();
    void BuildToolBar();
    void EndView();

    CServerApp& m_app;
    QtOperator& m_operator;
    CNewView* m_pView;
    QToolBar* m_pToolBar;
    QLabel* m_pIdleText;
    QSystemTrayIcon* m_pTray = nullptr;
    QMenu* m_pTrayMenu;
    QPointer<CAbout> m_pAbout;
    std::unique_ptr<MidiPlayer> m_pPlayer;
    std::unique_ptr<CMusic> m_pMusic;
    bool m_bEnded = false;
    bool m_bEndSessionAsked = false;
};
