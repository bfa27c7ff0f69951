#pragma once

#include <QStringList>
#include <QTimer>
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

/// The fields of one rule. Every change goes straight into the rule. Main thread.
class RuleForm : public QWidget {
    Q_OBJECT

public:
    explicit RuleForm(QWidget* parent = nullptr);

    /// Shows the rule; none empties and disables the form.
    void setRule(std::shared_ptr<FilterRule> rule);
    const std::shared_ptr<FilterRule>& rule() const { return rule_; }
    /// The lines that the count of matches looks through: those on the screen.
    void setVisibleLines(QStringList lines);
    /// Puts the cursor into the search text, all of it selected.
    void editSearchText();
    /// Takes what was typed last without waiting for the typing to pause.
    void commitTyping();

Q_SIGNALS:
    /// The rule has been changed by the user.
    void ruleChanged();

private:
    QWidget* makeSearchFields();
    QWidget* makeStyleFields();
    QWidget* makeNotificationFields();
    void showRule();
    void updateHint();
    /// Runs `change` on the rule and tells of it, unless the form itself is being filled.
    void change(const std::function<void(FilterRule&)>& change);
    void changeNotification();

    std::shared_ptr<FilterRule> rule_;
    QStringList visibleLines_;
    bool isFilling_ = false;
    /// Typing is taken over when it pauses.
    QTimer typing_;

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
    QCheckBox* notify_;
    QComboBox* frequency_;
    QCheckBox* bounce_;
};

} // namespace korvane
