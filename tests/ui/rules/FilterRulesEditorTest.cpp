#include "ui/AppFixture.h"

#include "core/search/SearchItem.h"
#include "foundation/archive/KeyedArchiver.h"
#include "rules/FilterRule.h"
#include "rules/HighlightRule.h"
#include "rules/NotificationRule.h"
#include "rules/RuleSwitch.h"
#include "ui/page/NoticeStrip.h"
#include "ui/rules/FilterRulesEditor.h"

namespace korvane::test {
namespace {

class FilterRulesEditorTest : public AppFixture {
protected:
    FilterRulesEditorTest() {
        page_ = open(file_);
        windows_.editRules(*windowOf(page_), {});
        editor_ = topLevel<FilterRulesEditor>();
        list_ = editor_->findChild<QListWidget*>();
    }

    void press(const QString& name) const { button(editor_, name)->click(); }
    void check(int row, bool isChecked = true) const {
        list_->item(row)->setCheckState(isChecked ? Qt::Checked : Qt::Unchecked);
    }
    QLineEdit* searchText() const { return named<QLineEdit>(editor_, u"Search text"_s); }
    QString hint() const { return labelsOf(editor_); }
    void type(const QString& text, bool isFinal = true) const {
        QTest::keyClicks(searchText(), text);
        if (isFinal)
            QTest::keyClick(searchText(), Qt::Key_Return);
    }
    bool untilHint(const QString& expected) const {
        return until([&] { return hint().contains(expected); });
    }
    QColorDialog* openColors() const {
        press(u"Text colour"_s);
        return editor_->findChild<QColorDialog*>();
    }
    bool isActive(const FilterRule& rule) const {
        return isRuleActive(rule.id(), absoluteString(file_.url()));
    }
    QColor colorOf(qint64 row) const {
        const auto view = cellOf(page_, row);
        const auto* attributes = view.row ? view.row->line.attributesAt(0) : nullptr;
        return attributes ? attributes->foreground.value_or(QColor()) : QColor();
    }
    bool isHidden(qint64 row) const { return cellOf(page_, row).identifier == cell::filtered; }
    static const FiltersManager::Rules& rules() { return FiltersManager::shared().rules(); }

    const TemporaryFile file_{QByteArray("INFO one\nERROR two\n"
                                         "plain three and a text that goes on for some more words\n")
                                  .repeated(400) +
                              "the last line"};
    MainWindowController* page_ = nullptr;
    FilterRulesEditor* editor_ = nullptr;
    QListWidget* list_ = nullptr;
};

TEST_F(FilterRulesEditorTest, ARuleSwitchedOnPaintsItsLinesWithoutMovingTheView) {
    ASSERT_EQ(list_->count(), 4);
    tableOf(page_).scroller().setTopRow(300);
    EXPECT_EQ(list_->item(0)->checkState(), Qt::Unchecked);
    check(0);
    EXPECT_TRUE(isActive(*rules()[0]));
    ASSERT_TRUE(until([&] { return colorOf(300) == QColor(0, 140, 0); }));
    EXPECT_NE(colorOf(301), QColor(0, 140, 0));
    EXPECT_EQ(tableOf(page_).scroller().firstVisibleRow(), 300);
    check(0, false);
    EXPECT_FALSE(isActive(*rules()[0]));
    ASSERT_TRUE(until([&] { return colorOf(300) != QColor(0, 140, 0); }));
}

TEST_F(FilterRulesEditorTest, EveryEditReachesTheOpenDocument) {
    press(u"Add"_s);
    ASSERT_EQ(rules().size(), 5U);
    EXPECT_TRUE(isActive(*rules()[4])) << "a new rule is meant for the file in front";
    EXPECT_EQ(rules()[4]->highlightRule()->foreground(), Preferences::shared().logViewForeground());
    type(u"plain"_s);
    const auto isWarned = [this] { return hint().contains(u"hard to read"_s); };
    EXPECT_FALSE(isWarned());
    QColorDialog* const colors = openColors();
    colors->setCurrentColor(Qt::magenta);
    colors->accept();
    EXPECT_TRUE(isWarned()) << "magenta on white";
    ASSERT_TRUE(until([&] { return colorOf(2) == QColor(Qt::magenta); }));
    EXPECT_EQ(rules()[4]->searchItem()->searchStr(), u"plain"_s);
    EXPECT_EQ(list_->item(4)->text(), u"plain"_s);
    editor_->findChild<QComboBox*>()->setCurrentIndex(1);
    ASSERT_TRUE(rules()[4]->hide());
    ASSERT_TRUE(until([&] { return isHidden(2); }));
    EXPECT_FALSE(isHidden(0));
}

TEST_F(FilterRulesEditorTest, LinesThatNoRuleClaimsAreHiddenOnDemand) {
    check(3); // ERROR
    const auto* const action = editor_->findChildren<QComboBox*>().last();
    ASSERT_TRUE(isInFront(page_->window()));
    QTest::keyClick(page_->window(), Qt::Key_U, Qt::ControlModifier | Qt::ShiftModifier);
    ASSERT_TRUE(until([&] { return isHidden(0) && !isHidden(1); }));
    EXPECT_EQ(action->currentIndex(), 1) << "the editor says otherwise";
    page_->logView().setHidesUnclaimedLines(false);
    ASSERT_TRUE(until([&] { return !isHidden(0); }));
    EXPECT_EQ(action->currentIndex(), 0);
}

TEST_F(FilterRulesEditorTest, WhatIsTypedIsADraftUntilTheFieldIsLeft) {
    list_->setCurrentRow(1); // WARN
    QLineEdit* const field = searchText();
    field->setFocus();
    field->selectAll();
    type(u"ERROR"_s, false);
    EXPECT_TRUE(untilHint(u"Matches"_s));
    EXPECT_EQ(rules()[1]->searchItem()->searchStr(), u"WARN"_s);
    QTest::keyClick(field, Qt::Key_Escape);
    EXPECT_EQ(field->text(), u"WARN"_s);
    EXPECT_TRUE(editor_->isVisible()) << "the first Esc is the field's";

    field->selectAll();
    type(u"ERROR"_s);
    EXPECT_EQ(rules()[1]->searchItem()->searchStr(), u"ERROR"_s);
    type(u" one"_s, false);
    list_->setCurrentRow(0);
    EXPECT_EQ(rules()[1]->searchItem()->searchStr(), u"ERROR one"_s);
    EXPECT_EQ(rules()[0]->searchItem()->searchStr(), u"INFO"_s);
    QTest::keyClick(field, Qt::Key_Escape);
    EXPECT_FALSE(editor_->isVisible());
}

TEST_F(FilterRulesEditorTest, AColourBelongsToTheRuleItWasChosenFor) {
    list_->setCurrentRow(0);
    const auto before = rules()[1]->highlightRule()->foreground();
    QColorDialog* dialog = openColors();
    list_->setCurrentRow(1);
    dialog->setCurrentColor(Qt::magenta);
    dialog->accept();
    EXPECT_EQ(rules()[0]->highlightRule()->foreground(), QColor(Qt::magenta));
    EXPECT_EQ(rules()[1]->highlightRule()->foreground(), before);
    const QPointer<QColorDialog> opened(openColors());
    ASSERT_TRUE(opened);
    editor_->close();
    EXPECT_TRUE(until([&] { return !opened; })) << "the dialog outlives its window";
}

TEST_F(FilterRulesEditorTest, ASlowRuleIsShownAsSuchInListMenuAndStrip) {
    list_->setCurrentRow(0);
    press(u"Regular expression"_s);
    searchText()->selectAll();
    type(u"^(\\S+\\s*)+[#%]"_s);
    EXPECT_TRUE(untilHint(u"too slow for"_s));
    check(0);
    EXPECT_TRUE(until([&] { return list_->item(0)->text().contains(u"too slow for this file"_s); }));
    EXPECT_EQ(actionTexts(page_).filter(u"too slow for this file"_s).size(), 1);
    auto* strip = page_->findChild<NoticeStrip*>();
    ASSERT_TRUE(until([&] { return strip->notice().text.startsWith(u"Rule too slow for this file, "_s); }));
    editor_->hide();
    Q_EMIT strip->remedyChosen(strip->notice().remedies.front());
    EXPECT_TRUE(editor_->isVisible());
    Q_EMIT strip->dismissed();
    EXPECT_EQ(strip->notice().text, QString());
    check(0, false);
    EXPECT_TRUE(until([&] { return !list_->item(0)->text().contains(u"too slow"_s); }));
}

TEST_F(FilterRulesEditorTest, DeletingAsksAndForgetsTheRuleInThisFile) {
    const auto rule = rules()[1];
    check(1);
    list_->setCurrentRow(1);
    alerts_.nextAnswer = 1;
    press(u"Delete"_s);
    ASSERT_EQ(alerts_.alerts.size(), 1U);
    EXPECT_EQ(rules().size(), 4U);
    alerts_.alerts.back().suppress();
    EXPECT_FALSE(Preferences::shared().confirmDeleteFilterHighlightRule());
    press(u"Delete"_s);
    EXPECT_EQ(alerts_.alerts.size(), 1U) << "not asked again";
    EXPECT_EQ(rules().size(), 3U);
    EXPECT_FALSE(isActive(*rule));
    EXPECT_EQ(list_->count(), 3);
}

TEST_F(FilterRulesEditorTest, TheHintTellsAWrongPatternAndFollowsTheScreen) {
    press(u"Add"_s);
    type(u"ERR("_s, false);
    EXPECT_TRUE(untilHint(u"Matches 0 of"_s));
    press(u"Regular expression"_s);
    EXPECT_TRUE(untilHint(u"matches nothing"_s));
    type(u"OR|AND)"_s, false);
    const auto lines = page_->logView().visibleLines();
    const qsizetype expected = lines.filter(u"ERROR"_s).size();
    ASSERT_GT(expected, 0);
    EXPECT_TRUE(untilHint(u"Matches %1 of the %2"_s.arg(expected).arg(lines.size())));
    searchText()->selectAll();
    type(u"the last"_s, false);
    EXPECT_TRUE(untilHint(u"Matches 0 of"_s));
    page_->logView().goToLastLine();
    EXPECT_TRUE(untilHint(u"Matches 1 of"_s));
}

TEST_F(FilterRulesEditorTest, TellingOfOneRuleLeavesTheOthersQuiet) {
    list_->setCurrentRow(0);
    ASSERT_EQ(rules()[0]->notificationRule(), NotificationRule::defaultRule());
    press(u"Notify me of a match"_s);
    EXPECT_TRUE(rules()[0]->notificationRule()->enabled());
    EXPECT_FALSE(NotificationRule::defaultRule()->enabled());
    EXPECT_FALSE(rules()[1]->notificationRule()->enabled());
}

TEST_F(FilterRulesEditorTest, AnImportAsksBeforeItDoublesRulesAndTellsWhatItLeftOut) {
    const QString path = settings_.path() + u"/some.rules"_s;
    editor_->exportTo(path);
    alerts_.nextAnswer = 1;
    editor_->importFrom(path);
    ASSERT_EQ(alerts_.alerts.size(), 1U);
    EXPECT_EQ(alerts_.alerts[0].buttons.size(), 2) << "nothing in it is new";
    EXPECT_EQ(rules().size(), 4U);
    // After this, the file's rule counts as new.
    const auto changeWarn = [] {
        for (const auto& rule : rules())
            if (rule->searchItem()->searchStr() == u"WARN"_s)
                rule->searchItem()->setIgnoreCase(true);
    };
    changeWarn();
    const size_t sizes[] = {5, 9, 9}; // answers: the new rule only, all, none
    for (int answer = 0; answer < 3; ++answer) {
        alerts_.nextAnswer = answer;
        editor_->importFrom(path);
        EXPECT_EQ(rules().size(), sizes[answer]);
        changeWarn();
    }
    EXPECT_EQ(list_->currentRow(), 8);

    alerts_.alerts.clear();
    const TemporaryFile wrong("no rules at all");
    editor_->importFrom(QString::fromLocal8Bit(wrong.path()));
    ASSERT_EQ(alerts_.alerts.size(), 1U);
    EXPECT_EQ(rules().size(), 9U);
    KeyedArchiver archiver;
    const TemporaryFile foreign(archiver.archivedData(
        archiver.addArray(QStringList{u"stray"_s}, [&](const QString& text) { return archiver.add(text); })));
    editor_->importFrom(QString::fromLocal8Bit(foreign.path()));
    ASSERT_EQ(alerts_.alerts.size(), 2U);
    EXPECT_TRUE(alerts_.texts()[1].contains(u"left out: 1"_s)) << qPrintable(alerts_.texts()[1]);
}

TEST_F(FilterRulesEditorTest, ARuleSwitchedByItsNumberIsStillOnAtTheNextStart) {
    ASSERT_TRUE(isInFront(page_->window())) << "the editor came in front when it opened";
    for (const bool isOn : {true, false, true}) {
        QTest::keyClick(page_->window(), Qt::Key_3, Qt::ControlModifier);
        EXPECT_EQ(isActive(*rules()[2]), isOn);
        EXPECT_EQ(list_->item(2)->checkState() == Qt::Checked, isOn) << "the editor follows";
    }
    const auto rulesThen = std::move(FiltersManager::load(settings_.path())).value();
    const auto statesThen = std::move(FilterRulesMemento::load(settings_.path())).value();
    const auto ids = statesThen->activeRuleIds(absoluteString(file_.url()));
    ASSERT_EQ(ids.size(), 1U);
    ASSERT_TRUE(rulesThen->ruleWithId(ids[0])) << "a rule of the first start keeps its identity";
    EXPECT_EQ(rulesThen->ruleWithId(ids[0])->searchItem()->searchStr(),
              rules()[2]->searchItem()->searchStr());
}

TEST_F(FilterRulesEditorTest, TheMenuShowsTabsAndEmptyTextsAndLeadsToWhatItHasNoRoomFor) {
    for (int i = 0; i < 28; ++i)
        editor_->addRule(i == 0 ? u"a\tCtrl+Q & b"_s : QString());
    const QStringList entries = actionTexts(page_);
    EXPECT_EQ(entries.filter(u"Ctrl+Q"_s), QStringList{u"a\u21E5Ctrl+Q && b"_s});
    EXPECT_EQ(entries.filter(u"(no text)"_s).size(), 25);
    EXPECT_EQ(entries.filter(u"2 More…"_s).size(), 1);
}

} // namespace
} // namespace korvane::test
