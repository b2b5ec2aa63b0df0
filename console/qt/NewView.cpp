#include "console/qt/NewView.h"

#include <algorithm>
#include <iterator>

#include <QHeaderView>
#include <QMessageBox>
#include <QPainter>
#include <QResizeEvent>

#include "console/StatusBarGeometry.h"
#include "console/qt/AlertBox.h"
#include "console/qt/IcmpReport.h"
#include "console/qt/VersionDlg.h"
#include "extras/IcmpMonitor.h"
#include "server/ServerApp.h"

void ClientRowDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                              const QModelIndex& index) const {
    const QRect cell = option.rect;
    painter->save();
    painter->fillRect(cell, option.palette.color(QPalette::Base));
    const QString text = index.data(Qt::DisplayRole).toString();
    const StatusBarGeometry bar = index.column() == CClientListModel::kStatus
                                      ? StatusBarFor(text.toStdString(), m_bUseGraphic, cell.left(),
                                                     cell.width(), cell.top(), cell.bottom() + 1)
                                      : StatusBarGeometry{};
    if (bar.bDrawn) {
        const CellRect& f = bar.frame;
        painter->setPen(QColor(255, 0, 0));
        painter->setBrush(Qt::NoBrush);
        // A one-pixel pen strokes a QRect one pixel wider and taller than its size.
        painter->drawRect(QRect(f.left, f.top, f.right - f.left - 1, f.bottom - f.top - 1));
        if (bar.bHasBar) {
            const CellRect& b = bar.bar;
            painter->fillRect(QRect(QPoint(b.left, b.top), QPoint(b.right - 1, b.bottom - 1)),
                              QColor(0, 0, 255));
        }
    } else {
        painter->setPen(index.data(Qt::ForegroundRole).value<QColor>());
        const QRect textRect = cell.adjusted(3, 0, -3, 0);
        painter->drawText(textRect, Qt::AlignLeft | Qt::AlignVCenter,
                          option.fontMetrics.elidedText(text, Qt::ElideRight, textRect.width()));
    }
    painter->restore();
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
    setSelectionMode(QAbstractItemView::NoSelection);
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
        QWidget* frame = window();
        frame->move(rect[0], rect[1]);
        frame->resize(rect[2] - rect[0], rect[3] - rect[1]);
    }
    if (bDone) {
        return;
    }
    bDone = true;
    const bool bDefaults =
        std::equal(std::begin(widths), std::end(widths), std::begin(CSettings::kDefaultWidths));
    for (int column = 0; column < CClientListModel::kColumns; ++column) {
        setColumnWidth(column, bDefaults ? DefaultWidth(column) : widths[column]);
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

void CNewView::OnDestroy() {
    const QWidget* frame = window();
    const QRect r = frame->frameGeometry();
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
        setColumnWidth(column, DefaultWidth(column));
    }
}

int CNewView::DefaultWidth(int column) const {
    // The default widths were made for a font in which a time just fits the Start column; a
    // wider font widens every column alike, so that times and figures are not cut.
    const int timeWidth = fontMetrics().horizontalAdvance("28 Nov, 00:00:00") + 10;
    const double scale =
        std::max(1.0, timeWidth / double(CSettings::kDefaultWidths[CClientListModel::kStart]));
    return static_cast<int>(CSettings::kDefaultWidths[column] * scale + 0.5);
}

void CNewView::OnTimer() {
    m_model.OnTimer();
    m_itemModel.FlushChanges();
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
