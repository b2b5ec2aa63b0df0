#include "console/qt/AlertBox.h"

#include "console/qt/DialogFrame.h"
#include "console/qt/PressEvent.h"

#include <QEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMovie>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>

CAlertBox::CAlertBox() : QDialog(nullptr, Qt::WindowStaysOnTopHint) {
    UseDialogFrame(this, "Quaylon          New Client being Served", false);
    setAttribute(Qt::WA_DeleteOnClose, false);
    QPalette magenta = palette();
    magenta.setColor(QPalette::Window, QColor(255, 0, 255));
    setPalette(magenta);
    setAutoFillBackground(true);

    auto* layout = new QVBoxLayout(this);
    m_pText = new QLineEdit(this);
    m_pText->setReadOnly(true);
    m_pText->setAlignment(Qt::AlignCenter);
    m_pText->setPalette(QPalette());
    auto* ok = new QPushButton("OK", this);
    ok->setDefault(true);
    ok->setPalette(QPalette());
    m_pAnimation = new QLabel(this);
    m_pAnimation->setAlignment(Qt::AlignCenter);
    m_pMovie = new QMovie(":/alert.gif", QByteArray(), this);
    if (m_pMovie->isValid()) {
        m_pMovie->setCacheMode(QMovie::CacheAll);
        m_pAnimation->setMovie(m_pMovie);
        m_pMovie->start();  // a GIF that loops forever plays without end
    }
    layout->addWidget(m_pText);
    layout->addWidget(ok);
    layout->addWidget(m_pAnimation);
    setFixedWidth(std::max(382, minimumWidth()));  // the caption shows whole

    for (QWidget* widget : std::initializer_list<QWidget*>{this, m_pText, ok, m_pAnimation}) {
        widget->installEventFilter(this);
    }
}

void CAlertBox::ShowClient(const QString& text) {
    m_pText->setText(text);
    show();
    raise();
}

QString CAlertBox::ClientText() const {
    return m_pText->text();
}

bool CAlertBox::Animating() const {
    return m_pMovie->state() == QMovie::Running;
}

bool CAlertBox::eventFilter(QObject* watched, QEvent* event) {
    if (IsPressEvent(event)) {
        hide();
        return true;
    }
    return QDialog::eventFilter(watched, event);
}
