#pragma once

#include <QPixmap>
#include <QWidget>

class QEvent;

// The start-up picture: frameless, centred, gone after 20 seconds or at the first key or mouse
// press anywhere in the program, which it swallows.
class CSplashWnd : public QWidget {
    Q_OBJECT
  public:
    static void EnableSplashScreen(bool bEnable);
    static void ShowSplashScreen(QWidget* parent);
    // Offered every event first; true when it took the event.
    static bool PreTranslateAppMessage(QEvent* event);
    static void HideSplashScreen();
    static CSplashWnd* Current();

    ~CSplashWnd() override;

  protected:
    void paintEvent(QPaintEvent* event) override;
    void timerEvent(QTimerEvent* event) override;

  private:
    explicit CSplashWnd(const QPixmap& picture, QWidget* parent);

    QPixmap m_bitmap;
};
