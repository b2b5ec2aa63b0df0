#pragma once

#include <QDialog>

class QLabel;
class QLineEdit;
class QMovie;

// A small always-on-top box that names the client just taken on while the window is minimised.
// Any key or mouse press on it hides it; the view destroys it when the server falls idle.
class CAlertBox : public QDialog {
    Q_OBJECT
  public:
    CAlertBox();

    void ShowClient(const QString& text);
    QString ClientText() const;
    bool Animating() const;

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    QLineEdit* m_pText;
    QLabel* m_pAnimation;
    QMovie* m_pMovie;
};
