#include "console/qt/ClientsPage.h"

#include <QGroupBox>
#include <QPainter>
#include <QSlider>
#include <QStyle>
#include <QStyleOptionSlider>
#include <QVBoxLayout>

#include "server/ServerApp.h"

SliderScale::SliderScale(const QString& text, QSlider* slider, QWidget* parent)
    : QWidget(parent), m_text(text), m_pSlider(slider) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

QStringList SliderScale::Figures() const {
    return m_text.split(' ', Qt::SkipEmptyParts);
}

std::vector<int> SliderScale::TickCentres() const {
    QStyleOptionSlider option;
    option.initFrom(m_pSlider);
    option.orientation = Qt::Horizontal;
    option.minimum = m_pSlider->minimum();
    option.maximum = m_pSlider->maximum();
    const QRect handle = m_pSlider->style()->subControlRect(QStyle::CC_Slider, &option,
                                                            QStyle::SC_SliderHandle, m_pSlider);
    const int span = m_pSlider->width() - handle.width();
    const int offset = m_pSlider->mapTo(parentWidget(), QPoint(0, 0)).x() - x();
    std::vector<int> centres;
    for (int value = option.minimum; value <= option.maximum; ++value) {
        centres.push_back(
            offset + handle.width() / 2 +
            QStyle::sliderPositionFromValue(option.minimum, option.maximum, value, span));
    }
    return centres;
}

QSize SliderScale::minimumSizeHint() const {
    // Room for every figure at the widest figure's width, so none overlaps its neighbour.
    int widest = 0;
    for (const QString& figure : Figures()) {
        widest = std::max(widest, fontMetrics().horizontalAdvance(figure));
    }
    const int gap = fontMetrics().averageCharWidth();
    return {static_cast<int>(Figures().size()) * (widest + gap), fontMetrics().height()};
}

void SliderScale::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const QStringList figures = Figures();
    const std::vector<int> centres = TickCentres();
    for (int i = 0; i < figures.size() && i < static_cast<int>(centres.size()); ++i) {
        const int width = fontMetrics().horizontalAdvance(figures[i]);
        const int left = std::clamp(centres[static_cast<std::size_t>(i)] - width / 2, 0,
                                    std::max(0, this->width() - width));
        painter.drawText(QRect(left, 0, width, height()), Qt::AlignCenter, figures[i]);
    }
}

namespace {

QSlider* SliderGroup(const char* caption, int top, const char* scale, QWidget* page,
                     QLayout* layout) {
    auto* group = new QGroupBox(caption, page);
    auto* inner = new QVBoxLayout(group);
    auto* slider = new QSlider(Qt::Horizontal, group);
    slider->setRange(0, top);
    slider->setPageStep(1);
    slider->setTickPosition(QSlider::TicksBelow);
    slider->setTickInterval(1);
    inner->addWidget(slider);
    inner->addWidget(new SliderScale(scale, slider, group));
    layout->addWidget(group);
    return slider;
}

}  // namespace

CClientsPage::CClientsPage(CServerApp& app, COptions* sheet)
    : COptionsPage(app, "Client Limits", sheet) {
    auto* layout = new QVBoxLayout(this);
    m_pMaxClients = SliderGroup("Maximum simultaneous Clients", ClientsPageValues::kMaxClientsTop,
                                ClientsPageValues::kMaxClientsScale, this, layout);
    m_pMaxDisplay = SliderGroup("Maximum Clients in display", ClientsPageValues::kMaxDisplayTop,
                                ClientsPageValues::kMaxDisplayScale, this, layout);
    layout->addStretch(1);
    // Showing the stored positions is no change; a move of either slider is.
    connect(m_pMaxClients, &QSlider::valueChanged, this, [this] { SetModified(); });
    connect(m_pMaxDisplay, &QSlider::valueChanged, this, [this] { SetModified(); });
}

void CClientsPage::OnInitDialog() {
    ClientsPageValues values;
    values.Load(m_app);
    const QSignalBlocker blockClients(m_pMaxClients);
    const QSignalBlocker blockDisplay(m_pMaxDisplay);
    m_pMaxClients->setValue(values.nMaxClientsPos);
    m_pMaxDisplay->setValue(values.nMaxDisplayPos);
}

void CClientsPage::OnOK() {
    ClientsPageValues values;
    values.nMaxClientsPos = m_pMaxClients->value();
    values.nMaxDisplayPos = m_pMaxDisplay->value();
    values.Store(m_app);
}
