#include "foundation/work/OperationQueue.h"

#include <QApplication>
#include <chrono>
#include <gtest/gtest.h>

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    QApplication application(argc, argv);
    const int status = RUN_ALL_TESTS();
    return korvane::OperationQueue::waitForAllWorkers(std::chrono::seconds(60)) ? status : 1;
}
