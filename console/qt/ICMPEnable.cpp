#include "console/qt/ICMPEnable.h"

#include <QCheckBox>
#include <QGridLayout>

#include "console/FilterPages.h"
#include "server/ServerApp.h"

CICMPEnable::CICMPEnable(CServerApp& app, COptions* sheet)
    : COptionsPage(app, "ICMP Messages", sheet) {
    auto* grid = new QGridLayout(this);
    int rows[2] = {0, 0};
    for (const IcmpBox& item : kIcmpBoxes) {
        auto* box = new QCheckBox(item.caption, this);
        const int column = item.bRightColumn ? 1 : 0;
        grid->addWidget(box, rows[column]++, column);
        connect(box, &QCheckBox::clicked, this, [this] { SetModified(); });
        m_boxes.push_back(box);
    }
    grid->setRowStretch(std::max(rows[0], rows[1]), 1);
}

void CICMPEnable::OnInitDialog() {
    const std::vector<bool> checked = IcmpBoxesOf(m_app.IcmpFlags);
    for (std::size_t i = 0; i < m_boxes.size(); ++i) {
        m_boxes[i]->setChecked(checked[i]);
    }
}

void CICMPEnable::OnOK() {
    std::vector<bool> checked;
    for (const QCheckBox* box : m_boxes) {
        checked.push_back(box->isChecked());
    }
    m_app.IcmpFlags = IcmpFlagsOf(checked);
}
