#include "console/qt/OptionsPage.h"

#include "console/qt/Options.h"

COptionsPage::COptionsPage(CServerApp& app, const QString& caption, COptions* sheet)
    : QWidget(sheet), m_app(app), m_sheet(*sheet), m_caption(caption) {}

void COptionsPage::Activate() {
    if (!m_bOpened) {
        m_bOpened = true;
        OnInitDialog();
    }
}

void COptionsPage::SetModified(bool bModified) {
    m_bModified = bModified;
    emit ModifiedChanged();
}
