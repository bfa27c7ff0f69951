#include <QCoreApplication>
#include <gtest/gtest.h>

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    QCoreApplication application(argc, argv);
    // The toolkit prepares its log behind a lock that the thread sanitizer does not see, so not on two
    // threads at once.
    static_cast<void>(qFormatLogMessage(QtInfoMsg, QMessageLogContext(), QString()));
    return RUN_ALL_TESTS();
}
