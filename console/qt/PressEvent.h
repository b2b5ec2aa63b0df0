#pragma once

#include <QEvent>

// A key or mouse press of any kind: what dismisses the splash and hides the alert box.
inline bool IsPressEvent(const QEvent* event) {
    switch (event->type()) {
        case QEvent::KeyPress:
        case QEvent::MouseButtonPress:
        case QEvent::NonClientAreaMouseButtonPress:
            return true;
        default:
            return false;
    }
}
