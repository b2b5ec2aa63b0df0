#include <gtest/gtest.h>

#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPushButton>

#include "GuiServer.h"
#include "ModelWatch.h"

namespace {

void Minimise(GuiServer& s) {
    s.frame->showMinimized();
    s.Pump();
}

}  // namespace

TEST(AlertBox, ShownOnlyWhileTheFrameIsMinimisedWithTheOptionOn) {
    GuiServer s;
    ASSERT_TRUE(s.Start());
    s.app.bShowAlert = 1;
    s.NewClient(2, "10.0.0.2");
    EXPECT_EQ(s.View().AlertBox(), nullptr) << "the frame is on the screen";

    // Hidden as in the tray, but not minimised: nothing.
    s.frame->hide();
    s.NewClient(3, "10.0.0.3");
    EXPECT_EQ(s.View().AlertBox(), nullptr);

    s.frame->show();
    Minimise(s);
    ASSERT_TRUE(s.frame->isMinimized());
    s.app.bShowAlert = 0;
    s.NewClient(4, "10.0.0.4");
    EXPECT_EQ(s.View().AlertBox(), nullptr);
    EXPECT_EQ(s.Model().rowCount(), 3) << "the row comes all the same";

    s.app.bShowAlert = 1;
    s.NewClient(5, "10.0.0.5");
    QPointer<CAlertBox> box = s.View().AlertBox();
    ASSERT_TRUE(box);
    EXPECT_TRUE(box->isVisible());
    EXPECT_EQ(box->ClientText(), "10.0.0.5");
    EXPECT_EQ(box->windowTitle(), "Quaylon          New Client being Served");
    EXPECT_EQ(box->parentWidget(), nullptr) << "it must outlive the minimised frame's look";
    EXPECT_TRUE(box->windowFlags() & Qt::WindowStaysOnTopHint);
    EXPECT_TRUE(box->Animating());

    // A second client within the same spell takes over the same box.
    s.NewClient(6, "10.0.0.6");
    EXPECT_EQ(s.View().AlertBox(), box.data());
    EXPECT_EQ(box->ClientText(), "10.0.0.6");
}

TEST(AlertBox, APressHidesItAndTheIdleTickOrTheOperatorsReturnDestroysIt) {
    GuiServer s;
    ASSERT_TRUE(s.Start());
    s.app.bShowAlert = 1;
    Minimise(s);
    s.NewClient(2, "10.0.0.2");
    QPointer<CAlertBox> box = s.View().AlertBox();
    ASSERT_TRUE(box);

    // A key on its text hides it and does nothing else.
    auto* text = box->findChild<QLineEdit*>();
    ASSERT_NE(text, nullptr);
    QKeyEvent key(QEvent::KeyPress, Qt::Key_Backspace, Qt::NoModifier);
    QApplication::sendEvent(text, &key);
    EXPECT_FALSE(box->isVisible());
    EXPECT_EQ(s.View().AlertBox(), box.data()) << "hidden, not destroyed";
    EXPECT_EQ(text->text(), "10.0.0.2");

    // The next client shows it again; a click on OK hides it at the press.
    s.NewClient(3, "10.0.0.3");
    ASSERT_TRUE(box);
    EXPECT_TRUE(box->isVisible());
    EXPECT_EQ(box->ClientText(), "10.0.0.3");
    auto* ok = box->findChild<QPushButton*>();
    ASSERT_NE(ok, nullptr);
    QMouseEvent press(QEvent::MouseButtonPress, QPointF(2, 2), ok->mapToGlobal(QPointF(2, 2)),
                      Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(ok, &press);
    EXPECT_FALSE(box->isVisible());
    EXPECT_TRUE(box);

    // The idle tick destroys even a hidden box, and does no other idle work that tick.
    s.View().OnTimer();
    s.Pump();
    EXPECT_FALSE(box);
    EXPECT_EQ(s.View().AlertBox(), nullptr);
    EXPECT_EQ(RowColour(s.Model(), 0), kBlue);
    s.View().OnTimer();
    EXPECT_EQ(RowColour(s.Model(), 0), kYellow);

    // A new alert makes a new box; the operator coming back to the window destroys it.
    s.NewClient(4, "10.0.0.4");
    box = s.View().AlertBox();
    ASSERT_TRUE(box);
    s.frame->showNormal();
    s.frame->activateWindow();
    ASSERT_TRUE(PumpUntil([&] { return s.frame->isActiveWindow(); }));
    EXPECT_TRUE(PumpUntil([&] { return !box; }));
    EXPECT_EQ(s.View().AlertBox(), nullptr);
}
