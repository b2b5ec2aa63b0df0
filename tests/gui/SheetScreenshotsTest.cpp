#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QGroupBox>
#include <QLabel>
#include <QProcess>
#include <QTabBar>
#include <QTabWidget>
#include <filesystem>

#include "GuiServer.h"
#include "console/qt/ClientsPage.h"
#include "console/qt/Options.h"
#include "console/qt/OptionsPage.h"

namespace {

// Every text of the widget's visible children that is narrower than what it needs, named.
std::vector<std::string> ClippedTexts(const QWidget* top) {
    std::vector<std::string> clipped;
    const auto check = [&clipped](const QWidget* w, const QString& text, int need) {
        if (w->isVisible() && w->width() < need) {
            clipped.push_back(text.toStdString() + ": " + std::to_string(w->width()) + " < " +
                              std::to_string(need));
        }
    };
    for (const QAbstractButton* b : top->findChildren<QAbstractButton*>()) {
        check(b, b->text(), b->sizeHint().width());
    }
    for (const QLabel* l : top->findChildren<QLabel*>()) {
        check(l, l->text(), l->wordWrap() ? 0 : l->sizeHint().width());
    }
    for (const QGroupBox* g : top->findChildren<QGroupBox*>()) {
        check(g, g->title(), g->fontMetrics().horizontalAdvance(g->title()) + 16);
    }
    for (const QTabBar* t : top->findChildren<QTabBar*>()) {
        check(t, "tab bar", t->sizeHint().width());
    }
    for (const SliderScale* s : top->findChildren<SliderScale*>()) {
        if (!s->isVisible()) {
            continue;
        }
        // Each figure within the gap to its neighbours' figures.
        const std::vector<int> centres = s->TickCentres();
        const QStringList figures = s->Figures();
        for (int i = 0; i + 1 < figures.size(); ++i) {
            const int room =
                centres[static_cast<std::size_t>(i) + 1] - centres[static_cast<std::size_t>(i)];
            const int need = (s->fontMetrics().horizontalAdvance(figures[i]) +
                              s->fontMetrics().horizontalAdvance(figures[i + 1])) /
                             2;
            if (room <= need) {
                clipped.push_back(s->Text().toStdString() + " at " + figures[i].toStdString());
            }
        }
    }
    return clipped;
}

}  // namespace

TEST(SheetScreenshots, EveryPageAtThisScaleAndTwiceItShowsEveryTextWhole) {
    GuiServer s;
    ASSERT_TRUE(s.Start());
    const int percent = static_cast<int>(qApp->devicePixelRatio() * 100 + 0.5);
    const std::filesystem::path dir =
        std::filesystem::current_path() / "sheet-shots" / std::to_string(percent);
    std::filesystem::create_directories(dir);
    std::cout << "screenshots in " << dir.string() << "\n";

    COptions sheet(s.app, s.frame.get());
    sheet.show();
    for (int i = 0; i < sheet.Tabs()->count(); ++i) {
        sheet.Tabs()->setCurrentIndex(i);
        s.Pump();
        const QString caption = sheet.Pages()[static_cast<std::size_t>(i)]->Caption();
        const QString name = QString("%1-%2.png").arg(i + 1).arg(caption).replace(' ', '-');
        EXPECT_TRUE(sheet.grab().save(QString::fromStdString((dir / name.toStdString()).string())));
        for (const std::string& text : ClippedTexts(&sheet)) {
            ADD_FAILURE() << caption.toStdString() << " at " << percent << "%: " << text;
        }
    }
    EXPECT_TRUE(s.frame->grab().save(QString::fromStdString((dir / "main-window.png").string())));
    sheet.close();

    // Twice the scale, as a desktop at 200% gives it, needs a process of its own.
    if (qEnvironmentVariableIsEmpty("QT_SCALE_FACTOR")) {
        QProcess twice;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("QT_SCALE_FACTOR", "2");
        twice.setProcessEnvironment(env);
        twice.setProcessChannelMode(QProcess::MergedChannels);
        twice.start(QCoreApplication::applicationFilePath(),
                    {"--gtest_filter=SheetScreenshots.EveryPageAtThisScaleAndTwiceItShowsEvery"
                     "TextWhole"});
        ASSERT_TRUE(PumpUntil([&] { return twice.state() == QProcess::NotRunning; }, 60000));
        EXPECT_EQ(twice.exitCode(), 0) << twice.readAll().toStdString();
    }
}
