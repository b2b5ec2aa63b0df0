#include <gtest/gtest.h>
#include <unistd.h>

#include <QApplication>
#include <cstdlib>

int main(int argc, char** argv) {
    // The test list is also asked for at build time, where no display need exist.
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    // A test stuck in a nested event loop ends the run here rather than holding it.
    alarm(300);
    QApplication app(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
