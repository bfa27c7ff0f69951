#include "HintBench.h"

#include "TimedApplication.h"

#include "support/Session.h"
#include "ui/rules/FilterRulesEditor.h"

#include <QCheckBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QTimer>

#include <cstdio>
#include <set>

namespace korvane::bench {
namespace {

using namespace Qt::StringLiterals;

/// Patterns with catastrophic backtracking: on lines of one letter, on words, and with a backreference.
const QStringList patterns{u"(A*)\\1[#]"_s, u"(A+)+[#]"_s, u"^(.*?,?){11}[#%]"_s, u"(A|AA)+$#"_s,
                           u"(A*)(A*)\\2\\1#"_s};

class Typist : public QObject {
public:
    Typist(QLineEdit& field, QWidget& editor) : field_(field), editor_(editor) {
        connect(&timer_, &QTimer::timeout, this, [this] { next(); });
        timer_.start(30);
    }
    std::size_t hintCount() const { return hints_.size(); }

private:
    void next() {
        for (const QLabel* label : editor_.findChildren<QLabel*>())
            if (label->text().startsWith(u"Matches"_s))
                hints_.insert(label->text());
        if (pattern_ == patterns.size()) {
            if (++rests_ == 50)
                QCoreApplication::quit();
            return;
        }
        const QString& pattern = patterns.at(pattern_);
        if (place_ == pattern.size()) {
            // Leaves time to read the hint before the next pattern.
            if (++rests_ < 30)
                return;
            rests_ = place_ = 0;
            ++pattern_;
            field_.selectAll();
            return;
        }
        const QString letter = pattern.mid(place_++, 1);
        QCoreApplication::postEvent(&field_, new QKeyEvent(QEvent::KeyPress, 0, Qt::NoModifier, letter));
    }

    QLineEdit& field_;
    QWidget& editor_;
    QTimer timer_;
    int pattern_ = 0;
    int place_ = 0;
    int rests_ = 0;
    std::set<QString> hints_;
};

} // namespace

int hint(int argc, char** argv, const char* path) {
    TimedApplication application(argc, argv);
    test::Session session(path);
    if (!session.page)
        return 1;
    while (session.page->isLoading())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    auto* const window = qobject_cast<MainWindow*>(session.page->window());
    session.windows_.editRules(*window, u"A"_s);
    FilterRulesEditor* editor = nullptr;
    for (QWidget* widget : QApplication::topLevelWidgets())
        if (auto* const found = qobject_cast<FilterRulesEditor*>(widget))
            editor = found;
    QLineEdit* field = nullptr;
    for (auto* candidate : editor->findChildren<QLineEdit*>())
        if (candidate->accessibleName() == u"Search text"_s)
            field = candidate;
    for (auto* box : editor->findChildren<QCheckBox*>())
        if (box->text().contains(u"expression"_s))
            box->setChecked(true);
    for (int i = 0; i < 100; ++i)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    // Events from opening the windows do not count.
    application.longest = 0;
    application.events = 0;
    Typist typist(*field, *editor);
    QTimer scroller;
    QObject::connect(&scroller, &QTimer::timeout, [&] {
        LogTableView& table = session.table();
        table.scroller().setTopRow((table.scroller().firstVisibleRow() + 7) % (table.rowCount() / 2));
    });
    scroller.start(400);
    QApplication::exec();
    std::printf("%.3f %.3f %.3f %d %ld %zu\n", application.longest, application.longestTimes.working,
                application.longestTimes.waiting, application.longestType, application.events,
                typist.hintCount());
    return 0;
}

} // namespace korvane::bench
