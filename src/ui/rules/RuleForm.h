#pragma once

#include "rules/LineMatchCounter.h"

#include <QStringList>
#include <QWidget>

#include <functional>
#include <memory>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;

namespace korvane {

class ColorButton;
class FilterRule;
class HighlightRule;

/// The fields of one rule. The text goes into the rule when its field is left or Return is pressed, and Esc
/// restores it; every other change is written to the rule at once. Main thread.
class RuleForm : public QWidget {
    Q_OBJECT

public:
    explicit RuleForm(QWidget* parent = nullptr);

    /// Commits what was typed to the previous rule, then shows this one; null empties and disables the form.
    void setRule(std::shared_ptr<FilterRule> rule);
    const std::shared_ptr<FilterRule>& rule() const { return rule_; }
    /// The lines that the count of matches looks through: those on the screen.
    void setVisibleLines(QStringList lines);
    /// Puts the cursor into the search text, all of it selected.
    void editSearchText();
    /// Writes the typed text to the rule.
    void commitTyping();

    bool eventFilter(QObject* watched, QEvent* event) override;

Q_SIGNALS:
    /// The user changed the rule, which the form perhaps shows no longer.
    void ruleChanged(const std::shared_ptr<FilterRule>& rule);

private:
    QWidget* makeSearchFields();
    QWidget* makeStyleFields();
    QWidget* makeNotificationFields();
    void showRule();
    void bindColors();
    /// Shows how many visible lines the typed text matches; counted in the background.
    void updateHint();
    void showCount(const LineMatchCounter::Answer& answer);
    void showHint(const QString& text, bool isFault = false);
    void updateContrastWarning();
    bool isTyping() const;
    /// Runs `change` on the rule and reports it, unless the form itself is being filled.
    void change(const std::function<void(FilterRule&)>& change);
    void changeLook(const std::function<void(HighlightRule&)>& change);
    void changeNotification();

    std::shared_ptr<FilterRule> rule_;
    QStringList visibleLines_;
    bool isFilling_ = false;
    LineMatchCounter counter_;

    QLineEdit* searchText_;
    QCheckBox* regex_;
    QCheckBox* ignoreCase_;
    QLabel* hint_;
    QComboBox* action_;
    QCheckBox* bold_;
    QCheckBox* italic_;
    QCheckBox* underline_;
    ColorButton* foreground_;
    QCheckBox* useViewBackground_;
    ColorButton* background_;
    QLabel* contrastWarning_;
    QCheckBox* notify_;
    QComboBox* frequency_;
    QCheckBox* bounce_;
};

} // namespace korvane
