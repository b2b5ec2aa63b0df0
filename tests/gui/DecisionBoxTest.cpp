#include <gtest/gtest.h>

#include <QApplication>
#include <QPushButton>

#include "GuiServer.h"
#include "console/qt/DecisionDlg.h"

namespace {

// The button of that text if exactly one decision box on the screen has one, else nothing.
QPushButton* DecisionButton(const QString& text) {
    std::vector<QPushButton*> found;
    for (QWidget* box : QApplication::topLevelWidgets()) {
        for (QPushButton* button : box->findChildren<QPushButton*>()) {
            if (qobject_cast<CDecisionDlg*>(box) && box->isVisible() && button->text() == text) {
                found.push_back(button);
            }
        }
    }
    return found.size() == 1 ? found[0] : nullptr;
}

}  // namespace

TEST(DecisionBoxes, KeepClientsLetsAHangingClientCarryOnAndDropClientsCutsIt) {
    GuiServer s;
    ASSERT_TRUE(s.Start());
    auto peer = s.HangingRead();
    ASSERT_TRUE(peer);
    CMainFrame& f = *s.frame;

    f.m_pStopServing->trigger();
    QPushButton* keep = DecisionButton("Keep Clients");
    ASSERT_NE(keep, nullptr);
    keep->click();
    s.Pump();
    EXPECT_EQ(DecisionButton("Keep Clients"), nullptr) << "the box is gone";
    EXPECT_EQ(s.app.ClientCount(), 1);
    peer->Reply(tftp::Ack(1));
    auto next = peer->Receive();
    ASSERT_TRUE(next);
    EXPECT_EQ(tftp::Number(*next), 2);

    f.m_pStartServing->trigger();
    ASSERT_EQ(s.app.m_bServing, 1);
    f.m_pStopServing->trigger();
    QPushButton* drop = DecisionButton("Drop Clients");
    ASSERT_NE(drop, nullptr);
    drop->click();
    s.Pump();
    EXPECT_EQ(DecisionButton("Drop Clients"), nullptr) << "the box is gone";
    EXPECT_EQ(s.app.ClientCount(), 0);
    EXPECT_TRUE(f.m_pStartServing->isEnabled()) << "serving has stopped";
    peer->Reply(tftp::Ack(2));
    EXPECT_FALSE(peer->Receive(100)) << "the dropped client gets nothing more";
}
