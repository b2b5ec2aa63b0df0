#include "console/qt/NewView.h"

#include <algorithm>

#include <QClipboard>
#include <QGuiApplication>
#include <QHeaderView>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QMessageBox>
#include <QPainter>
#include <QResizeEvent>
#include <QScreen>
#include <QToolTip>

#include "console/StatusBarGeometry.h"
#include "console/WindowPlacement.h"
#include "console/qt/AlertBox.h"
#include "console/qt/IcmpReport.h"
#include "console/qt/VersionDlg.h"
#include "extras/IcmpMonitor.h"
#include "server/ServerApp.h"

void ClientRowDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                              const QModelIndex& index) const {
    const QRect cell = option.rect;
    painter->save();
    const bool bSelected = (option.state & QStyle::State_Selected) != 0;
    painter->fillRect(cell, option.palette.color(bSelected ? QPalette::Highlight : QPalette::Base));
    const QString text = index.data(Qt::DisplayRole).toString();
    const StatusBarGeometry bar = index.column() == CClientListModel::kStatus
                                      ? StatusBarFor(text.toStdString(), m_bUseGraphic, cell.left(),
                                                     cell.width(), cell.top(), cell.bottom() + 1)
                                      : StatusBarGeometry{};
    if (bar.bDrawn) {
        const Rect& f = bar.frame;
        painter->setPen(QColor(255, 0, 0));
        painter->setBrush(Qt::NoBrush);
        // A one-pixel pen strokes a QRect one pixel wider and taller than its size.
        painter->drawRect(QRect(f.left, f.top, f.right - f.left - 1, f.bottom - f.top - 1));
        if (bar.bHasBar) {
            const Rect& b = bar.bar;
            painter->fillRect(QRect(QPoint(b.left, b.top), QPoint(b.right - 1, b.bottom - 1)),
                              QColor(0, 0, 255));
        }
    } else {
        painter->setPen(bSelected ? option.palette.color(QPalette::HighlightedText)
                                  : index.data(Qt::ForegroundRole).value<QColor>());
        const QRect textRect = TextRect(cell);
        painter->drawText(textRect, Qt::AlignLeft | Qt::AlignVCenter,
                          option.fontMetrics.elidedText(text, Qt::ElideRight, textRect.width()));
    }
    painter->restore();
}

QRect ClientRowDelegate::TextRect(const QRect& cell) {
    return cell.adjusted(3, 0, -3, 0);
}

bool ClientRowDelegate::helpEvent(QHelpEvent* event, QAbstractItemView* view,
                                  const QStyleOptionViewItem& option, const QModelIndex& index) {
    if (event->type() != QEvent::ToolTip) {
        return QStyledItemDelegate::helpEvent(event, view, option, index);
    }
    // Only a cut text needs its whole self shown.
    const QString text = index.data(Qt::DisplayRole).toString();
    if (option.fontMetrics.horizontalAdvance(text) > TextRect(option.rect).width()) {
        QToolTip::showText(event->globalPos(), text, view, option.rect);
    } else {
        QToolTip::hideText();
    }
    return true;
}

CNewView::CNewView(CServerApp& app, QWidget* parent)
    : QTreeView(parent),
      m_app(app),
      m_model(app),
      m_itemModel(m_model),
      m_delegate(m_bUseGraphic, this) {
    setRootIsDecorated(false);
    setItemsExpandable(false);
    setUniformRowHeights(true);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setFocusPolicy(Qt::StrongFocus);
    setAllColumnsShowFocus(false);
    setModel(&m_itemModel);
    setItemDelegate(&m_delegate);
    header()->setStretchLastSection(false);
    header()->setSectionsMovable(false);
    header()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    m_itemModel.onClientArrived = [this](const std::string& text) { ShowAlert(text); };
    m_itemModel.onDestroyAlertBox = [this] { return DestroyAlert(); };
    m_timer.setInterval(kTimerMs);
    connect(&m_timer, &QTimer::timeout, this, &CNewView::OnTimer);
    m_app.SetView(&m_model);
}

CNewView::~CNewView() {
    // The socket goes before the box it reports to.
    m_pIcmpMonitor.reset();
    m_pIcmpReport.reset();
    m_app.SetView(nullptr);
    m_model.SetObserver(nullptr);
    delete m_pAlertBox.data();
}

void CNewView::OnInitialUpdate() {
    static bool bDone = false;  // once per run of the program
    int rect[4] = {};
    std::uint32_t bMinimized = 0;
    int widths[CClientListModel::kColumns] = {};
    const int found = m_app.LoadWindowPlacement(rect, &bMinimized, &widths[0], &widths[1],
                                                &widths[2], &widths[3], &widths[4], &widths[5]);
    if (found && !bMinimized && rect[1] < 2900 && rect[0] < 2900) {
        std::vector<Rect> screens;
        for (const QScreen* screen : QGuiApplication::screens()) {
            const QRect area = screen->availableGeometry();
            screens.push_back({area.left(), area.top(), area.right() + 1, area.bottom() + 1});
        }
        const Rect placed = PlaceOnScreens({rect[0], rect[1], rect[2], rect[3]}, screens);
        window()->setGeometry(placed.left, placed.top, placed.Width(), placed.Height());
    }
    if (bDone) {
        return;
    }
    bDone = true;
    for (int column = 0; column < CClientListModel::kColumns; ++column) {
        setColumnWidth(column, widths[column]);
    }
    m_timer.start();
    m_model.AddBannerRow();
    m_bUseGraphic = m_app.bUseGraphic != 0;
    StretchLastColumn();
    StartIcmpMonitor();
}

void CNewView::StartIcmpMonitor() {
    auto report = std::make_unique<CIcmpReport>(window());
    auto monitor = std::make_unique<CIcmpMonitor>(m_app.Loop(), m_app);
    if (!monitor->Create()) {
        return;
    }
    CIcmpReport* box = report.get();
    const CIcmpMonitor* rows = monitor.get();
    monitor->onChange = [box, rows](const CIcmpReportRows::Change& change) {
        box->Apply(rows->Rows(), change);
    };
    m_pIcmpReport = std::move(report);
    m_pIcmpMonitor = std::move(monitor);
}

void CNewView::OnIcmpReport() {
    if (!m_pIcmpReport) {
        return;
    }
    m_pIcmpReport->setVisible(!m_pIcmpReport->isVisible());
}

QRect CNewView::PlacementRect() const {
    // The rectangle inside the frame: what setGeometry restores, on every window manager alike.
    return window()->normalGeometry();
}

void CNewView::OnDestroy() {
    const QRect r = PlacementRect();
    m_app.SaveWindowPlacement(r.left(), r.top(), r.right() + 1, r.bottom() + 1, 0, columnWidth(0),
                              columnWidth(1), columnWidth(2), columnWidth(3), columnWidth(4),
                              columnWidth(5));
}

void CNewView::OnActivateView() {
    DestroyAlert();
}

void CNewView::OnUseGraphic() {
    m_bUseGraphic = !m_bUseGraphic;
    m_app.bUseGraphic = m_bUseGraphic ? 1 : 0;
}

void CNewView::OnCheckVersion() {
    if (QMessageBox::question(this, "Quaylon", "Are you connected to the Internet ?",
                              QMessageBox::Yes | QMessageBox::No) != QMessageBox::Yes) {
        return;
    }
    CVersionDlg dialog(m_app.Loop(), m_app, this);
    dialog.exec();
}

void CNewView::OnResetColumns() {
    for (int column = 0; column < CClientListModel::kColumns; ++column) {
        setColumnWidth(column, CSettings::kDefaultWidths[column]);
    }
    StretchLastColumn();
}

void CNewView::OnTimer() {
    m_model.OnTimer();
    m_itemModel.FlushChanges();
}

QString CNewView::SelectedText() const {
    QModelIndexList rows = selectionModel()->selectedRows();
    std::sort(rows.begin(), rows.end());
    QString text;
    for (const QModelIndex& row : rows) {
        QStringList cells;
        for (int column = 0; column < CClientListModel::kColumns; ++column) {
            cells << m_itemModel.index(row.row(), column).data(Qt::DisplayRole).toString();
        }
        text += cells.join('\t') + '\n';
    }
    return text;
}

void CNewView::keyPressEvent(QKeyEvent* event) {
    if (event->matches(QKeySequence::Copy)) {
        // One line per row, its cells between tabs, as a spreadsheet takes them.
        QGuiApplication::clipboard()->setText(SelectedText());
        return;
    }
    QTreeView::keyPressEvent(event);
}

void CNewView::resizeEvent(QResizeEvent* event) {
    QTreeView::resizeEvent(event);
    StretchLastColumn();
}

void CNewView::StretchLastColumn() {
    int used = 0;
    for (int column = 0; column < CClientListModel::kColumns - 1; ++column) {
        used += columnWidth(column);
    }
    const int rest = viewport()->width() - used;
    if (rest >= 11) {
        setColumnWidth(CClientListModel::kColumns - 1, rest);
    }
}

void CNewView::ShowAlert(const std::string& text) {
    QWidget* frame = window();
    if (frame != nullptr && frame->isMinimized()) {
        if (m_app.bShowAlert) {
            if (!m_pAlertBox) {
                m_pAlertBox = new CAlertBox();
            }
            m_pAlertBox->ShowClient(QString::fromStdString(text));
        }
    } else {
        viewport()->update();
    }
}

bool CNewView::DestroyAlert() {
    if (!m_pAlertBox) {
        return false;
    }
    // Activation reaches here while Qt is still sending events to the box: delete it later.
    m_pAlertBox->hide();
    m_pAlertBox->deleteLater();
    m_pAlertBox = nullptr;
    return true;
}
