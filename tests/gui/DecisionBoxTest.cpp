#include <gtest/gtest.h>

#include <QApplication>
#include <QDialogButtonBox>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>

#include "GuiServer.h"
#include "ModelWatch.h"
#include "console/qt/DecisionDlg.h"

namespace {

const std::string kRefusal("\x00\x05\x00\x00Service not available\x00\x00", 27);

std::vector<CDecisionDlg*> VisibleBoxes() {
    std::vector<CDecisionDlg*> boxes;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        auto* box = qobject_cast<CDecisionDlg*>(widget);
        if (box != nullptr && box->isVisible()) {
            boxes.push_back(box);
        }
    }
    return boxes;
}

QPushButton* ButtonFor(CDecisionDlg* box, QDialogButtonBox::ButtonRole role) {
    auto* buttons = box->findChild<QDialogButtonBox*>();
    if (buttons == nullptr) {
        return nullptr;
    }
    for (QAbstractButton* button : buttons->buttons()) {
        if (buttons->buttonRole(button) == role) {
            return qobject_cast<QPushButton*>(button);
        }
    }
    return nullptr;
}

int TextCount(const CDecisionDlg* box) {
    return static_cast<int>(box->findChildren<QLabel*>().size());
}

void Press(QWidget* target, Qt::Key key) {
    QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier);
    QApplication::sendEvent(target, &event);
}

}  // namespace

TEST(DecisionBoxes, StopServingWithAClientAsksAndKeepClientsLetsItCarryOn) {
    GuiServer s;
    ASSERT_TRUE(s.Start());
    auto peer = s.HangingRead();
    ASSERT_TRUE(peer);
    CMainFrame& f = *s.frame;

    f.m_pStopServing->trigger();
    std::vector<CDecisionDlg*> boxes = VisibleBoxes();
    ASSERT_EQ(boxes.size(), 1u);
    QPointer<CDecisionDlg> box = boxes[0];
    EXPECT_EQ(box->windowTitle(), "Executive decision time ...");
    EXPECT_EQ(TextCount(box), 2);
    EXPECT_FALSE(box->windowFlags() & Qt::WindowCloseButtonHint);
    EXPECT_FALSE(box->isModal());
    QPushButton* drop = ButtonFor(box, QDialogButtonBox::AcceptRole);
    QPushButton* keep = ButtonFor(box, QDialogButtonBox::RejectRole);
    ASSERT_TRUE(drop && keep);
    EXPECT_EQ(drop->text(), "Drop Clients");
    EXPECT_TRUE(drop->isDefault());
    EXPECT_EQ(keep->text(), "Keep Clients");
    // No new client gets in while the box waits, whatever the answer will be.
    EXPECT_TRUE(f.m_pStartServing->isEnabled());
    auto stranger = s.NewPeer("127.0.0.2");
    EXPECT_EQ(stranger->Exchange(s.port, tftp::Rrq("hang.bin")), kRefusal);

    // Escape is Keep Clients: the box goes, the client stays and is served on.
    Press(box, Qt::Key_Escape);
    s.Pump();
    EXPECT_FALSE(box);
    EXPECT_TRUE(VisibleBoxes().empty());
    EXPECT_FALSE(s.app.m_pStopServingDlg);
    EXPECT_EQ(s.app.ClientCount(), 1);
    EXPECT_EQ(s.app.m_bServing, 0);
    EXPECT_TRUE(f.m_pStartServing->isEnabled());
    peer->Reply(tftp::Ack(1));
    auto next = peer->Receive();
    ASSERT_TRUE(next);
    EXPECT_EQ(tftp::Number(*next), 2);

    // Serving again, stopping again and serving once more closes the box; the client carries on.
    f.m_pStartServing->trigger();
    EXPECT_EQ(s.app.m_bServing, 1);
    f.m_pStopServing->trigger();
    ASSERT_EQ(VisibleBoxes().size(), 1u);
    box = VisibleBoxes()[0];
    f.m_pStartServing->trigger();
    s.Pump();
    EXPECT_FALSE(box);
    EXPECT_EQ(s.app.m_bServing, 1);
    EXPECT_EQ(s.app.ClientCount(), 1);
    EXPECT_TRUE(f.m_pStopServing->isEnabled());
}

TEST(DecisionBoxes, DropClientsCutsTheClientAndLeavesTheServerStopped) {
    GuiServer s;
    ASSERT_TRUE(s.Start());
    auto peer = s.HangingRead();
    ASSERT_TRUE(peer);
    s.frame->m_pStopServing->trigger();
    ASSERT_EQ(VisibleBoxes().size(), 1u);
    QPointer<CDecisionDlg> box = VisibleBoxes()[0];
    QPushButton* drop = ButtonFor(box, QDialogButtonBox::AcceptRole);
    ASSERT_NE(drop, nullptr);

    drop->click();
    s.Pump();
    EXPECT_FALSE(box);
    EXPECT_EQ(s.app.ClientCount(), 0);
    EXPECT_EQ(s.app.m_bServing, 0);
    EXPECT_FALSE(s.frame->m_pStopServing->isEnabled());
    EXPECT_TRUE(s.frame->m_pStartServing->isEnabled());
    // The new listener refuses too, and the dropped client's row stays as it stood.
    EXPECT_EQ(s.NewPeer("127.0.0.2")->Exchange(s.port, tftp::Rrq("hang.bin")), kRefusal);
    EXPECT_EQ(RowColour(s.Model(), 0), kBlue);
    peer->Reply(tftp::Ack(1));
    EXPECT_FALSE(peer->Receive(100)) << "the dropped client gets nothing more";
}

TEST(DecisionBoxes, APortChangeWithAClientAsksAndEnterDropsClientsOntoTheNewPort) {
    GuiServer s;
    ASSERT_TRUE(s.Start());
    auto peer = s.HangingRead();
    ASSERT_TRUE(peer);
    const QString oldTitle = s.frame->windowTitle();
    const std::uint16_t second = FreeUdpPort();
    s.app.Port = std::to_string(second);
    s.app.PortChanged();
    ASSERT_EQ(VisibleBoxes().size(), 1u);
    QPointer<CDecisionDlg> box = VisibleBoxes()[0];
    EXPECT_EQ(TextCount(box), 3);
    EXPECT_EQ(s.frame->windowTitle(), oldTitle) << "the old port serves until the answer";

    // A second change shows the same box; its one answer covers the latest value.
    const std::uint16_t third = FreeUdpPort();
    s.app.Port = std::to_string(third);
    s.app.PortChanged();
    EXPECT_EQ(VisibleBoxes().size(), 1u);
    EXPECT_TRUE(box);

    Press(box, Qt::Key_Return);
    s.Pump();
    EXPECT_FALSE(box);
    EXPECT_EQ(s.app.ClientCount(), 0);
    EXPECT_EQ(s.frame->windowTitle(), QString("Quaylon - 127.0.0.1.%1").arg(third));
    WriteFile(s.out / "c.txt", "third");
    auto data = s.NewPeer()->Exchange(third, tftp::Rrq("c.txt"));
    ASSERT_TRUE(data);
    EXPECT_EQ(tftp::Payload(*data), "third");
}
