#include "console/qt/About.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QTabWidget>
#include <QVBoxLayout>

#include "console/qt/DialogFrame.h"

namespace {

QWidget* TextPage(const QStringList& lines, QWidget* parent) {
    auto* page = new QWidget(parent);
    auto* layout = new QVBoxLayout(page);
    layout->addStretch();
    for (const QString& line : lines) {
        auto* label = new QLabel(line, page);
        label->setAlignment(Qt::AlignCenter);
        label->setWordWrap(true);
        layout->addWidget(label);
    }
    layout->addStretch();
    return page;
}

}  // namespace

CAbout::CAbout() : QDialog(nullptr) {
    UseDialogFrame(this, "About Quaylon", true);
    setAttribute(Qt::WA_DeleteOnClose);
    auto* layout = new QVBoxLayout(this);
    m_pPages = new QTabWidget(this);
    m_pPages->addTab(TextPage({"Quaylon is made by the Quaylon team.\n\nQuestions, reports and "
                               "wishes are welcome through the project's issue tracker."},
                              m_pPages),
                     "Contact");
    m_pPages->addTab(TextPage({"Quaylon", "         Version 3.80",
                               "This program is provided as it is, without warranty of any kind. "
                               "You may use it and pass it on freely; the makers accept no "
                               "liability for any loss that comes of its use."},
                              m_pPages),
                     "Version");
    m_pPages->setCurrentIndex(1);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok, this);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::close);
    layout->addWidget(m_pPages);
    layout->addWidget(buttons);
    resize(400, 280);
}
