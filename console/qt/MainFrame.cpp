#include "console/qt/MainFrame.h"

#include <QApplication>
#include <QCloseEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QStatusBar>
#include <QStatusTipEvent>
#include <QSystemTrayIcon>
#include <QToolBar>
#include <QWhatsThis>

#include "console/qt/About.h"
#include "console/qt/AlertBox.h"
#include "console/qt/NewView.h"
#include "console/qt/Options.h"
#include "console/qt/QtOperator.h"
#include "console/qt/ServerInfoDlg.h"
#include "console/qt/SplashWnd.h"
#include "extras/Music.h"
#include "extras/midi/FluidSynthPlayer.h"
#include "server/ServerApp.h"

namespace {

constexpr char kIdleText[] = "For Help, press F1, press F12 for Music :)";

}  // namespace

CMainFrame::CMainFrame(CServerApp& app, QtOperator& op)
    : m_app(app),
      m_operator(op),
      m_pPlayer(std::make_unique<FluidSynthPlayer>(app.Loop())),
      m_pMusic(std::make_unique<CMusic>(*m_pPlayer, op, [&app] { return app.m_AppPath; })) {
    setWindowIcon(QIcon(":/icons/quaylon.svg"));
    m_pView = new CNewView(app, this);
    setCentralWidget(m_pView);
    BuildMenus();
    BuildToolBar();
    m_pIdleText = new QLabel(kIdleText, this);
    statusBar()->addWidget(m_pIdleText, 1);
    resize(920, 460);

    m_pTrayMenu = new QMenu(this);
    QAction* show = MakeAction("Show", "Show server window");
    QAction* close = MakeAction("Close", "Shut server down");
    connect(show, &QAction::triggered, this, &CMainFrame::OnTrayShow);
    connect(close, &QAction::triggered, this, &CMainFrame::OnTrayClose);
    m_pTrayMenu->addAction(show);
    m_pTrayMenu->addAction(close);

    m_app.m_OnNewDocument = [this] { OnNewDocument(); };
    OnNewDocument();
    CSplashWnd::ShowSplashScreen(this);
    UpdateCommandUI();
}

CMainFrame::~CMainFrame() {
    m_app.m_OnNewDocument = nullptr;
    EndView();
    RemoveTrayIcon();
    if (m_pAbout) {
        delete m_pAbout.data();
    }
}

QAction* CMainFrame::MakeAction(const QString& text, const QString& prompt,
                                const QKeySequence& key) {
    auto* action = new QAction(text, this);
    action->setStatusTip(prompt);
    action->setWhatsThis(prompt);
    if (!key.isEmpty()) {
        action->setShortcut(key);
    }
    addAction(action);  // shortcuts work while the menu bar is hidden too
    return action;
}

void CMainFrame::BuildMenus() {
    m_pStopServing = MakeAction("&Stop Serving", "Stops the server responding to clients",
                                QKeySequence("Ctrl+S"));
    m_pStartServing =
        MakeAction("S&tart Serving", "Starts the server serving clients", QKeySequence("Ctrl+G"));
    m_pExit = MakeAction("E&xit", "Quit the Server", QKeySequence("Alt+F4"));
    m_pSetup = MakeAction("Set&up", "Setup server parameters", QKeySequence("Ctrl+U"));
    m_pInfo = MakeAction("&Info", "Local Server Information");
    m_pToolbarToggle = MakeAction("&Toolbar", "Show or hide the toolbar");
    m_pStatusBarToggle = MakeAction("&Status Bar", "Show or hide the status bar");
    m_pClearDisplay = MakeAction("&Clear Display", "Clear client list");
    m_pUseGraphic = MakeAction("&Use Graphic ", "Use graphics for Send progress");
    m_pIcmpReport = MakeAction("&ICMP Report", "Toggle ICMP report window");
    m_pHelpTopics = MakeAction("&Help Topics", "List Help topics", QKeySequence("F1"));
    m_pContextHelp = MakeAction("Help", "Display help for clicked on buttons, menus and windows",
                                QKeySequence("Shift+F1"));
    m_pAboutAction = MakeAction("&About Quaylon ...", "", QKeySequence("Ctrl+A"));
    m_pCheckVersion = MakeAction("&Check Version ...", "Check the internet for the latest version");
    m_pResetColumns = MakeAction("Reset Co&lumns", "Reset column widths");
    m_pMusicAction = MakeAction("&Music", "Toggle Music", QKeySequence("F12"));
    // The framework's file-open command: a key, no menu entry.
    m_pFileOpen = MakeAction("&Open...", "Open an existing document", QKeySequence("Ctrl+O"));
    m_pToolbarToggle->setCheckable(true);
    m_pStatusBarToggle->setCheckable(true);
    m_pUseGraphic->setCheckable(true);

    QMenu* file = menuBar()->addMenu("&File");
    file->addAction(m_pStopServing);
    file->addAction(m_pStartServing);
    file->addSeparator();
    file->addAction(m_pExit);
    QMenu* system = menuBar()->addMenu("System");
    system->addAction(m_pSetup);
    system->addSeparator();
    system->addAction(m_pInfo);
    QMenu* view = menuBar()->addMenu("&View");
    view->addAction(m_pToolbarToggle);
    view->addAction(m_pStatusBarToggle);
    view->addSeparator();
    view->addAction(m_pClearDisplay);
    view->addSeparator();
    view->addAction(m_pUseGraphic);
    view->addSeparator();
    view->addAction(m_pIcmpReport);
    QMenu* help = menuBar()->addMenu("&Help");
    help->addAction(m_pHelpTopics);
    help->addSeparator();
    help->addAction(m_pAboutAction);
    help->addSeparator();
    help->addAction(m_pCheckVersion);
    help->addSeparator();
    help->addAction(m_pResetColumns);
    help->addSeparator();
    help->addAction(m_pMusicAction);
    for (QMenu* menu : {file, system, view, help}) {
        connect(menu, &QMenu::aboutToShow, this, &CMainFrame::UpdateCommandUI);
    }

    connect(m_pStopServing, &QAction::triggered, this, [this] {
        m_app.OnStopServing();
        UpdateCommandUI();
    });
    connect(m_pStartServing, &QAction::triggered, this, [this] {
        m_app.OnStartServing();
        UpdateCommandUI();
    });
    connect(m_pExit, &QAction::triggered, this, &QWidget::close);
    connect(m_pSetup, &QAction::triggered, this, &CMainFrame::OnSetup);
    connect(m_pInfo, &QAction::triggered, this, &CMainFrame::OnInfo);
    connect(m_pToolbarToggle, &QAction::triggered, this,
            [this](bool on) { m_pToolBar->setVisible(on); });
    connect(m_pStatusBarToggle, &QAction::triggered, this,
            [this](bool on) { statusBar()->setVisible(on); });
    connect(m_pClearDisplay, &QAction::triggered, this, [this] { m_pView->OnClearDisplay(); });
    connect(m_pIcmpReport, &QAction::triggered, this, [this] { m_pView->OnIcmpReport(); });
    connect(m_pUseGraphic, &QAction::triggered, this, [this] {
        m_pView->OnUseGraphic();
        UpdateCommandUI();
    });
    connect(m_pHelpTopics, &QAction::triggered, this, [this] {
        QMessageBox::information(
            this, "Quaylon Help",
            "Quaylon serves files over TFTP to the clients in the list.\n\n"
            "Ctrl+S stops serving new clients, Ctrl+G serves again.\n"
            "Ctrl+U sets the server up, Ctrl+A tells about Quaylon.\n"
            "Each client has one row; finished rows go to the log when they leave the list.\n"
            "Shift+F1, then a click, explains a command.");
    });
    connect(m_pContextHelp, &QAction::triggered, this, [] { QWhatsThis::enterWhatsThisMode(); });
    connect(m_pAboutAction, &QAction::triggered, this, &CMainFrame::OnAbout);
    connect(m_pCheckVersion, &QAction::triggered, this, [this] { m_pView->OnCheckVersion(); });
    connect(m_pResetColumns, &QAction::triggered, this, [this] { m_pView->OnResetColumns(); });
    connect(m_pMusicAction, &QAction::triggered, this, &CMainFrame::OnMusic);
    connect(m_pFileOpen, &QAction::triggered, this, &CMainFrame::OnFileOpen);
}

void CMainFrame::BuildToolBar() {
    m_pToolBar = new QToolBar("Toolbar", this);
    m_pToolBar->setObjectName("Toolbar");
    // The style's own icon size and handle, as every toolbar of the desktop has them.
    m_pAboutAction->setIcon(QIcon(":/icons/about.svg"));
    m_pContextHelp->setIcon(QIcon(":/icons/context-help.svg"));
    m_pStopServing->setIcon(QIcon(":/icons/stop-serving.svg"));
    m_pStartServing->setIcon(QIcon(":/icons/start-serving.svg"));
    m_pClearDisplay->setIcon(QIcon(":/icons/clear-display.svg"));
    m_pIcmpReport->setIcon(QIcon(":/icons/icmp-report.svg"));
    m_pToolBar->addAction(m_pAboutAction);
    m_pToolBar->addAction(m_pContextHelp);
    m_pToolBar->addSeparator();
    m_pToolBar->addAction(m_pStopServing);
    m_pToolBar->addSeparator();
    m_pToolBar->addAction(m_pStartServing);
    m_pToolBar->addSeparator();
    m_pToolBar->addAction(m_pClearDisplay);
    m_pToolBar->addSeparator();
    m_pToolBar->addAction(m_pIcmpReport);
    // The toolbar asks for no tool tips.
    m_pToolBar->installEventFilter(this);
    for (QWidget* child : m_pToolBar->findChildren<QWidget*>()) {
        child->installEventFilter(this);
    }
    addToolBar(Qt::TopToolBarArea, m_pToolBar);
}

bool CMainFrame::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::ToolTip) {
        return true;
    }
    return QMainWindow::eventFilter(watched, event);
}

void CMainFrame::UpdateCommandUI() {
    m_pStopServing->setEnabled(m_app.m_bServing == 1);
    m_pStartServing->setEnabled(m_app.m_bServing == 0);
    m_pToolbarToggle->setChecked(m_pToolBar->isVisible() || !isVisible());
    m_pStatusBarToggle->setChecked(statusBar()->isVisible() || !isVisible());
    m_pUseGraphic->setChecked(m_pView->UseGraphic());
    // The ICMP report is made by the monitor; without one there is nothing to show.
    m_pIcmpReport->setEnabled(m_pView->IcmpReport() != nullptr);
}

void CMainFrame::OnNewDocument() {
    setWindowTitle("Quaylon - " + QString::fromStdString(m_app.m_ServerTitle));
}

void CMainFrame::InstallTrayIcon() {
    if (!QSystemTrayIcon::isSystemTrayAvailable()) {
        m_app.bUseTaskbar = 0;
        return;
    }
    if (m_pTray == nullptr) {
        m_pTray = new QSystemTrayIcon(QIcon(":/icons/quaylon.svg"), this);
        m_pTray->setToolTip("Quaylon");
        m_pTray->setContextMenu(m_pTrayMenu);
        connect(m_pTray, &QSystemTrayIcon::activated, this,
                [this](QSystemTrayIcon::ActivationReason reason) {
                    if (reason == QSystemTrayIcon::DoubleClick) {
                        OnTrayShow();
                    }
                });
    }
    m_pTray->show();
    hide();
}

void CMainFrame::RemoveTrayIcon() {
    if (m_pTray != nullptr) {
        m_pTray->hide();
        delete m_pTray;
        m_pTray = nullptr;
    }
}

bool CMainFrame::TrayIconShown() const {
    return m_pTray != nullptr && m_pTray->isVisible();
}

void CMainFrame::OnTrayShow() {
    showNormal();
    RemoveTrayIcon();
}

void CMainFrame::OnTrayClose() {
    // Straight out, without the close path: rows still in the list leave no line.
    RemoveTrayIcon();
    EndView();
    hide();
    QApplication::quit();
}

void CMainFrame::OnQueryEndSession() {
    m_pView->OnClearDisplay();
    m_bEndSessionAsked = true;
}

void CMainFrame::OnEndSession() {
    m_app.WriteRunOnce("");
    const QRect r = m_pView->PlacementRect();
    m_app.SaveWindowPlacement(r.left(), r.top(), r.right() + 1, r.bottom() + 1, 0, -1, -1, -1, -1,
                              -1, -1);
}

void CMainFrame::OnAbout() {
    if (m_pAbout) {
        return;
    }
    m_pAbout = new CAbout();
    m_pAbout->show();
}

void CMainFrame::OnSetup() {
    {
        // The pages store their own values as they are accepted: the result tells nothing.
        COptions sheet(m_app, this);
        sheet.exec();
    }
    if (m_app.bUseTaskbar) {
        InstallTrayIcon();
    } else {
        RemoveTrayIcon();
    }
    m_app.ApplyThreadPriorities();
}

void CMainFrame::OnInfo() {
    CServerInfoDlg dialog(this);
    dialog.Fill(m_app.m_pListenSocket.get());
    dialog.exec();
}

void CMainFrame::OnFileOpen() {
    // A document holds nothing to read: opening a file only gives the window its name.
    QFileDialog dialog(this, "Open");
    dialog.setFileMode(QFileDialog::ExistingFile);
    dialog.setNameFilter("All Files (*)");
    if (dialog.exec() == QDialog::Accepted && !dialog.selectedFiles().isEmpty()) {
        setWindowTitle("Quaylon - " + QFileInfo(dialog.selectedFiles().first()).fileName());
    }
}

bool CMainFrame::event(QEvent* event) {
    // Prompts replace the idle text in its own label, so the text never moves sideways.
    if (event->type() == QEvent::StatusTip) {
        const QString tip = static_cast<QStatusTipEvent*>(event)->tip();
        m_pIdleText->setText(tip.isEmpty() ? QString(kIdleText) : tip);
        return true;
    }
    return QMainWindow::event(event);
}

void CMainFrame::OnMusic() {
    m_pMusic->OnMusic();
}

void CMainFrame::EndView() {
    if (!m_bEnded) {
        m_pView->OnDestroy();
        m_bEnded = true;
    }
}

void CMainFrame::closeEvent(QCloseEvent* event) {
    // Closing the document sends every row through the log; then the window's place is kept.
    m_pView->OnClearDisplay();
    EndView();
    RemoveTrayIcon();
    event->accept();
    QApplication::quit();
}

void CMainFrame::changeEvent(QEvent* event) {
    if (event->type() == QEvent::ActivationChange && isActiveWindow()) {
        m_pView->OnActivateView();
    }
    QMainWindow::changeEvent(event);
}
