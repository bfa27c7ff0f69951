#include "foundation/text/Translations.h"
#include "foundation/work/OperationQueue.h"

#ifdef QT_WIDGETS_LIB
#include <QApplication>
using Application = QApplication;
#else
#include <QCoreApplication>
using Application = QCoreApplication;
#endif
#include <chrono>
#include <csignal>
#include <gtest/gtest.h>

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN); // as the program does
    ::testing::InitGoogleTest(&argc, argv);
    Application application(argc, argv);
    korvane::translations::install(QLocale(QLocale::English, QLocale::UnitedStates));
    // The toolkit initialises its log under a lock unknown to the thread sanitizer, so not from two threads
    // at once.
    static_cast<void>(qFormatLogMessage(QtInfoMsg, QMessageLogContext(), QString()));
    const int status = RUN_ALL_TESTS();
    return korvane::OperationQueue::waitForAllWorkers(std::chrono::seconds(60)) ? status : 1;
}
