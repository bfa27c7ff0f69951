#include "foundation/text/Translations.h"
#include "foundation/work/OperationQueue.h"

#include <QApplication>
#include <chrono>
#include <csignal>
#include <gtest/gtest.h>

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN); // as the program does
    ::testing::InitGoogleTest(&argc, argv);
    QApplication application(argc, argv);
    korvane::translations::install(QLocale(QLocale::English, QLocale::UnitedStates));
    const int status = RUN_ALL_TESTS();
    return korvane::OperationQueue::waitForAllWorkers(std::chrono::seconds(60)) ? status : 1;
}
