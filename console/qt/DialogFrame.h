#pragma once

class QString;
class QWidget;

// A dialog's frame: its caption, shown whole; the program's icon; a close box only where the
// dialog has one, and never a minimise or maximise box, whatever the window manager would give a
// window without a parent.
void UseDialogFrame(QWidget* dialog, const QString& caption, bool bCloseBox);
