#include <gtest/gtest.h>

#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>

#include "GuiServer.h"

TEST(AlertBox, ShownWhileMinimisedWithTheOptionHiddenByAKeyAndDestroyedAtTheIdleTick) {
    GuiServer s;
    ASSERT_TRUE(s.Start());
    s.app.bShowAlert = 1;
    s.NewClient(2, "10.0.0.2");
    EXPECT_EQ(s.View().AlertBox(), nullptr) << "the frame is on the screen";

    s.frame->showMinimized();
    s.Pump();
    ASSERT_TRUE(s.frame->isMinimized());
    s.app.bShowAlert = 0;
    s.NewClient(3, "10.0.0.3");
    EXPECT_EQ(s.View().AlertBox(), nullptr) << "the option is off";

    s.app.bShowAlert = 1;
    s.NewClient(4, "10.0.0.4");
    QPointer<CAlertBox> box = s.View().AlertBox();
    ASSERT_TRUE(box);
    EXPECT_TRUE(box->isVisible());
    EXPECT_EQ(box->ClientText(), "10.0.0.4");

    // A key on its text hides it, but leaves it to the tick to destroy.
    auto* text = box->findChild<QLineEdit*>();
    ASSERT_NE(text, nullptr);
    QKeyEvent key(QEvent::KeyPress, Qt::Key_Backspace, Qt::NoModifier);
    QApplication::sendEvent(text, &key);
    EXPECT_FALSE(box->isVisible());
    EXPECT_TRUE(box);

    s.View().OnTimer();
    s.Pump();
    EXPECT_FALSE(box);
}
