#include "ui/AppFixture.h"

#include "core/search/SearchItem.h"
#include "rules/FilterRule.h"
#include "rules/HighlightRule.h"
#include "rules/NotificationRule.h"
#include "rules/RuleSwitch.h"
#include "ui/rules/FilterRulesEditor.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <algorithm>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using test::AppFixture;
using test::TemporaryFile;

class FilterRulesEditorTest : public AppFixture {
protected:
    FilterRulesEditorTest() {
        page_ = open(file_);
        windows_.editRules(*qobject_cast<MainWindow*>(page_->window()), {});
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            if (auto* editor = qobject_cast<FilterRulesEditor*>(widget))
                editor_ = editor;
        }
        list_ = editor_->findChild<QListWidget*>();
    }

    template <typename Button>
    Button* button(const QString& text) const {
        for (auto* candidate : editor_->findChildren<Button*>()) {
            if (QString(candidate->text()).remove(u'&') == text)
                return candidate;
        }
        return nullptr;
    }
    QLineEdit* searchText() const {
        for (auto* field : editor_->findChildren<QLineEdit*>()) {
            if (field->accessibleName() == u"Search text")
                return field;
        }
        return nullptr;
    }
    QString hint() const {
        QStringList texts;
        for (const auto* label : editor_->findChildren<QLabel*>())
            texts.append(label->text());
        return texts.join(u'|');
    }
    bool isActive(const FilterRule& rule) const {
        return isRuleActive(rule.id(), absoluteString(file_.url()));
    }
    QColor colorOf(qint64 row) const {
        const auto view = page_->logView().tableView().delegate().viewForTableColumn(cell::line, row);
        const auto* attributes = view.row ? view.row->line.attributesAt(0) : nullptr;
        return attributes ? attributes->color(attribute::foreground).value_or(QColor()) : QColor();
    }
    QLatin1StringView cellOf(qint64 row) const {
        return page_->logView().tableView().delegate().viewForTableColumn(cell::line, row).identifier;
    }
    static const FiltersManager::Rules& rules() { return FiltersManager::shared().rules(); }

    const TemporaryFile file_{QByteArray("INFO one\nERROR two\nplain three\n").repeated(400)};
    MainWindowController* page_ = nullptr;
    FilterRulesEditor* editor_ = nullptr;
    QListWidget* list_ = nullptr;
};

TEST_F(FilterRulesEditorTest, ARuleSwitchedOnPaintsItsLinesWithoutMovingTheView) {
    ASSERT_EQ(list_->count(), 4);
    page_->logView().tableView().setTopRow(300);
    EXPECT_EQ(list_->item(0)->checkState(), Qt::Unchecked);
    list_->item(0)->setCheckState(Qt::Checked);
    EXPECT_TRUE(isActive(*rules()[0]));
    ASSERT_TRUE(until([&] { return colorOf(300) == QColor(0, 140, 0); }));
    EXPECT_NE(colorOf(301), QColor(0, 140, 0));
    EXPECT_EQ(page_->logView().tableView().firstVisibleRow(), 300);
    list_->item(0)->setCheckState(Qt::Unchecked);
    EXPECT_FALSE(isActive(*rules()[0]));
    ASSERT_TRUE(until([&] { return colorOf(300) != QColor(0, 140, 0); }));
}

TEST_F(FilterRulesEditorTest, EveryEditReachesTheOpenDocument) {
    QTest::mouseClick(button<QPushButton>(u"Add"_s), Qt::LeftButton);
    ASSERT_EQ(rules().size(), 5U);
    EXPECT_TRUE(isActive(*rules()[4])) << "a new rule is meant for the file in front";
    QTest::keyClicks(searchText(), u"plain"_s);
    rules()[4]->highlightRule()->setForeground(Qt::magenta);
    ASSERT_TRUE(until([&] { return colorOf(2) == QColor(Qt::magenta); }));
    EXPECT_EQ(rules()[4]->searchItem()->searchStr(), u"plain"_s);
    EXPECT_EQ(list_->item(4)->text(), u"plain"_s);
    editor_->findChild<QComboBox*>()->setCurrentIndex(1);
    ASSERT_TRUE(rules()[4]->hide());
    ASSERT_TRUE(until([&] { return cellOf(2) == cell::filtered; }));
    EXPECT_EQ(cellOf(0), cell::line);
}

TEST_F(FilterRulesEditorTest, LinesThatNoRuleClaimsAreHiddenOnDemand) {
    list_->item(3)->setCheckState(Qt::Checked); // ERROR
    page_->logView().setHidesUnclaimedLines(true);
    ASSERT_TRUE(until([&] { return cellOf(0) == cell::filtered && cellOf(1) == cell::line; }));
    page_->logView().setHidesUnclaimedLines(false);
    ASSERT_TRUE(until([&] { return cellOf(0) == cell::line; }));
}

TEST_F(FilterRulesEditorTest, DeletingAsksAndForgetsTheRuleInThisFile) {
    const auto rule = rules()[1];
    list_->item(1)->setCheckState(Qt::Checked);
    list_->setCurrentRow(1);
    alerts_.nextAnswer = 1;
    QTest::mouseClick(button<QPushButton>(u"Delete"_s), Qt::LeftButton);
    ASSERT_EQ(alerts_.alerts.size(), 1U);
    EXPECT_EQ(rules().size(), 4U);
    alerts_.alerts.back().suppress();
    EXPECT_FALSE(Preferences::shared().confirmDeleteFilterHighlightRule());
    QTest::mouseClick(button<QPushButton>(u"Delete"_s), Qt::LeftButton);
    EXPECT_EQ(alerts_.alerts.size(), 1U) << "not asked again";
    EXPECT_EQ(rules().size(), 3U);
    EXPECT_FALSE(isActive(*rule));
    EXPECT_EQ(list_->count(), 3);
}

TEST_F(FilterRulesEditorTest, TheHintTellsAWrongPatternAndCountsMatches) {
    QTest::mouseClick(button<QPushButton>(u"Add"_s), Qt::LeftButton);
    QTest::keyClicks(searchText(), u"ERR("_s);
    EXPECT_TRUE(hint().contains(u"Matches 0 of"_s)) << qPrintable(hint());
    button<QCheckBox>(u"Regular expression"_s)->setChecked(true);
    EXPECT_TRUE(hint().contains(u"matches nothing"_s)) << qPrintable(hint());
    QTest::keyClicks(searchText(), u"OR|AND)"_s);
    const auto lines = page_->logView().visibleLines();
    const auto expected = std::count_if(lines.begin(), lines.end(),
                                        [](const QString& line) { return line.contains(u"ERROR"_s); });
    ASSERT_GT(expected, 0);
    EXPECT_TRUE(hint().contains(u"Matches %1 of the %2"_s.arg(expected).arg(lines.size())))
        << qPrintable(hint());
}

TEST_F(FilterRulesEditorTest, TellingOfOneRuleLeavesTheOthersQuiet) {
    list_->setCurrentRow(0);
    ASSERT_EQ(rules()[0]->notificationRule(), NotificationRule::defaultRule());
    button<QCheckBox>(u"Notify me of a match"_s)->setChecked(true);
    EXPECT_TRUE(rules()[0]->notificationRule()->enabled());
    EXPECT_FALSE(NotificationRule::defaultRule()->enabled());
    EXPECT_FALSE(rules()[1]->notificationRule()->enabled());
}

TEST_F(FilterRulesEditorTest, RulesGoOutAndComeBackAsAFile) {
    const QString path = settings_.path() + u"/some.rules"_s;
    editor_->exportTo(path);
    editor_->importFrom(path);
    ASSERT_EQ(rules().size(), 8U);
    EXPECT_EQ(rules()[5]->searchItem()->searchStr(), rules()[1]->searchItem()->searchStr());
    EXPECT_NE(rules()[5]->id(), rules()[1]->id());
    EXPECT_TRUE(alerts_.alerts.empty());
    const TemporaryFile wrong("no rules at all");
    editor_->importFrom(QString::fromLocal8Bit(wrong.path()));
    ASSERT_EQ(alerts_.alerts.size(), 1U);
    EXPECT_EQ(rules().size(), 8U);
}

TEST_F(FilterRulesEditorTest, ASwitchedRuleIsStillOnAtTheNextStart) {
    list_->item(2)->setCheckState(Qt::Checked);
    const auto rulesThen = std::move(FiltersManager::load(settings_.path())).value();
    const auto statesThen = std::move(FilterRulesMemento::load(settings_.path())).value();
    const auto ids = statesThen->activeRuleIds(absoluteString(file_.url()));
    ASSERT_EQ(ids.size(), 1U);
    ASSERT_TRUE(rulesThen->ruleWithId(ids[0])) << "a rule of the first start keeps its identity";
    EXPECT_EQ(rulesThen->ruleWithId(ids[0])->searchItem()->searchStr(),
              rules()[2]->searchItem()->searchStr());
}

TEST_F(FilterRulesEditorTest, TheMenuSwitchesRulesByTheirNumber) {
    QTest::keyClick(page_->window(), Qt::Key_4, Qt::ControlModifier);
    EXPECT_TRUE(isActive(*rules()[3]));
    EXPECT_EQ(list_->item(3)->checkState(), Qt::Checked) << "the editor follows";
    QTest::keyClick(page_->window(), Qt::Key_4, Qt::ControlModifier);
    EXPECT_FALSE(isActive(*rules()[3]));
}

} // namespace
} // namespace korvane
