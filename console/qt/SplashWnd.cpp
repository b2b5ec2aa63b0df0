#include "console/qt/SplashWnd.h"

#include "console/qt/PressEvent.h"

#include <QEvent>
#include <QGuiApplication>
#include <QPainter>
#include <QScreen>

namespace {
bool g_bEnabled = false;
CSplashWnd* g_pSplash = nullptr;
constexpr int kShowMs = 20000;
}  // namespace

void CSplashWnd::EnableSplashScreen(bool bEnable) {
    g_bEnabled = bEnable;
}

CSplashWnd* CSplashWnd::Current() {
    return g_pSplash;
}

void CSplashWnd::ShowSplashScreen(QWidget* parent) {
    if (!g_bEnabled || g_pSplash != nullptr) {
        return;
    }
    // A screen at twice the density gets the picture drawn at twice the size.
    const QScreen* screen = QGuiApplication::primaryScreen();
    const bool bDense = screen != nullptr && screen->devicePixelRatio() >= 2;
    QPixmap picture(bDense ? ":/splash@2x.png" : ":/splash.png");
    if (picture.isNull()) {
        return;
    }
    picture.setDevicePixelRatio(bDense ? 2.0 : 1.0);
    g_pSplash = new CSplashWnd(picture, parent);
    g_pSplash->show();
    g_pSplash->repaint();
}

CSplashWnd::CSplashWnd(const QPixmap& picture, QWidget* parent)
    : QWidget(parent, Qt::SplashScreen | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint),
      m_bitmap(picture) {
    setAttribute(Qt::WA_DeleteOnClose);
    setCursor(Qt::ArrowCursor);
    const QSize size = m_bitmap.deviceIndependentSize().toSize();
    setFixedSize(size);
    if (const QScreen* screen = QGuiApplication::primaryScreen()) {
        move(screen->availableGeometry().center() - QPoint(size.width() / 2, size.height() / 2));
    }
    startTimer(kShowMs);
}

CSplashWnd::~CSplashWnd() {
    if (g_pSplash == this) {
        g_pSplash = nullptr;
    }
}

bool CSplashWnd::PreTranslateAppMessage(QEvent* event) {
    if (g_pSplash == nullptr) {
        return false;
    }
    if (!IsPressEvent(event)) {
        return false;
    }
    HideSplashScreen();
    return true;
}

void CSplashWnd::HideSplashScreen() {
    if (g_pSplash == nullptr) {
        return;
    }
    QWidget* parent = g_pSplash->parentWidget();
    g_pSplash->close();  // deletes it
    g_pSplash = nullptr;
    if (parent != nullptr) {
        parent->update();
    }
}

void CSplashWnd::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.drawPixmap(0, 0, m_bitmap);
}

void CSplashWnd::timerEvent(QTimerEvent*) {
    HideSplashScreen();
}
