#include "console/qt/IcmpReport.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <algorithm>

namespace {
constexpr int kSourceWidth = 100;
constexpr int kStampWidth = 200;
// The message column takes the list's width less the other two and a margin.
constexpr int kOtherWidths = 316;
}  // namespace

CIcmpReport::CIcmpReport(QWidget* parent) : QDialog(parent, Qt::Tool) {
    setWindowTitle("Detected ICMP Messages");
    m_List = new QTreeWidget(this);
    m_List->setRootIsDecorated(false);
    m_List->setUniformRowHeights(true);
    m_List->setHeaderLabels({"Source IP", "Stamp", "Message"});
    m_List->header()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    m_List->header()->setStretchLastSection(false);
    m_List->setColumnWidth(0, kSourceWidth);
    m_List->setColumnWidth(1, kStampWidth);
    auto* hide = new QPushButton("Hide", this);
    hide->setDefault(true);
    connect(hide, &QPushButton::clicked, this, &QWidget::hide);
    auto* buttons = new QHBoxLayout();
    buttons->addStretch();
    buttons->addWidget(hide);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_List);
    layout->addLayout(buttons);
    resize(560, 300);
}

void CIcmpReport::Apply(const CIcmpReportRows& rows, const CIcmpReportRows::Change& change) {
    if (change.bInserted && !rows.Rows().empty()) {
        const IcmpRow& row = rows.Rows().front();
        m_List->insertTopLevelItem(0, new QTreeWidgetItem({QString::fromStdString(row.source),
                                                           QString::fromStdString(row.stamp),
                                                           QString::fromStdString(row.message)}));
    }
    for (std::size_t i = 0; i < change.nRemovedFromEnd && m_List->topLevelItemCount() > 0; ++i) {
        delete m_List->takeTopLevelItem(m_List->topLevelItemCount() - 1);
    }
}

void CIcmpReport::resizeEvent(QResizeEvent* event) {
    QDialog::resizeEvent(event);
    m_List->setColumnWidth(2, std::max(0, m_List->viewport()->width() - kOtherWidths));
}
