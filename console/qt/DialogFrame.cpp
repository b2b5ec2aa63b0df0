#include "console/qt/DialogFrame.h"

#include <QFontMetrics>
#include <QIcon>
#include <QWidget>
#include <algorithm>

void UseDialogFrame(QWidget* dialog, const QString& caption, bool bCloseBox) {
    Qt::WindowFlags flags = Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint;
    if (bCloseBox) {
        flags |= Qt::WindowCloseButtonHint;
    }
    dialog->setWindowFlags(flags | (dialog->windowFlags() & Qt::WindowStaysOnTopHint));
    dialog->setWindowTitle(caption);
    dialog->setWindowIcon(QIcon(":/icons/quaylon.svg"));
    // Caption fonts run larger than the dialog's, and the icon and buttons stand beside it.
    const QFontMetrics metrics(dialog->font());
    const int need = metrics.horizontalAdvance(caption) * 5 / 4 + metrics.height() * 8;
    dialog->setMinimumWidth(std::max(dialog->minimumWidth(), need));
}
