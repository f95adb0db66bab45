// main() of the window tests: they need an application object, and run without a display
// unless one is asked for.
#include <QApplication>

#include <gtest/gtest.h>

#if defined(__SANITIZE_THREAD__)
// Qt is not built with ThreadSanitizer: its mutexes (futex based), its posted-event queue and its
// painting thread pool are invisible to it, so the copies and frees that Qt makes under its own
// locks look like races. Only calls made from inside Qt's libraries are ignored; everything in our
// code, and our own hand-over to the GUI thread, is still checked.
extern "C" const char* __tsan_default_suppressions() {
    return "called_from_lib:libQt6Core.so.6\n"
           "called_from_lib:libQt6Gui.so.6\n"
           "called_from_lib:libQt6Widgets.so.6\n";
}
#endif

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    ::testing::InitGoogleTest(&argc, argv);
    QApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
