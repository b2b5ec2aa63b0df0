#pragma once

#include "console/ServerPages.h"
#include "console/qt/OptionsPage.h"

class QSlider;

// The figures of a slider's scale, each centred under its tick; the text is the scale as given,
// its words in tick order.
class SliderScale : public QWidget {
    Q_OBJECT
  public:
    SliderScale(const QString& text, QSlider* slider, QWidget* parent);

    const QString& Text() const { return m_text; }
    // The centre of each figure, in this widget's coordinates.
    std::vector<int> TickCentres() const;
    QStringList Figures() const;
    QSize minimumSizeHint() const override;
    QSize sizeHint() const override { return minimumSizeHint(); }

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    QString m_text;
    QSlider* m_pSlider;
};

// The "Client Limits" page: two sliders that hold positions.
class CClientsPage : public COptionsPage {
    Q_OBJECT
  public:
    CClientsPage(CServerApp& app, COptions* sheet);

    void OnOK() override;

    QSlider* MaxClients() const { return m_pMaxClients; }
    QSlider* MaxDisplay() const { return m_pMaxDisplay; }

  protected:
    void OnInitDialog() override;

  private:
    QSlider* m_pMaxClients;
    QSlider* m_pMaxDisplay;
};
