#pragma once

#include "foundation/notices/Notice.h"

#include <QDialog>
#include <QTimer>

#include <functional>
#include <memory>
#include <vector>

class QComboBox;
class QLabel;
class QListWidget;
class QListWidgetItem;
class QPushButton;

namespace korvane {

class AlertPresenter;
class Document;
class FilterRule;
class RuleForm;
struct SlowRule;

/// The window for editing all rules and switching them for the document of the window used last.
/// Every change is saved and reaches the open documents at once. Main thread; needs the shared rule stores.
class FilterRulesEditor : public QDialog {
    Q_OBJECT

public:
    explicit FilterRulesEditor(AlertPresenter& alerts, QWidget* parent = nullptr);

    /// The document that the check boxes are for; may be null. `visibleLines` returns the lines on its
    /// screen.
    void setDocument(const std::shared_ptr<Document>& document, std::function<QStringList()> visibleLines);
    /// Adds a rule for the text, switched on for the document, and lets the user edit it.
    void addRule(const QString& searchText);
    /// Puts the text being typed into the rule.
    void commitTyping();

    /// Reads or writes rules as a file of their own. Also reached by the buttons, which ask for the file.
    /// The user is asked before rules are added that the list has already.
    void importFrom(const QString& path);
    void exportTo(const QString& path);

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    QWidget* makeList();
    QWidget* makeDocumentRow();
    void handleFiltersManagerNotification();
    void showRules();
    void showItem(QListWidgetItem& item, const FilterRule& rule, const SlowRule* slow) const;
    void itemChanged(const QListWidgetItem& item);
    void currentRuleChanged();
    void ruleEdited(const std::shared_ptr<FilterRule>& rule);
    void followVisibleLines();
    void duplicateRule();
    void askToDelete();
    void deleteRule(const std::shared_ptr<FilterRule>& rule);
    void updateDocumentRow();
    QString docKey() const;

    AlertPresenter& alerts_;
    std::weak_ptr<Document> document_;
    std::function<QStringList()> visibleLines_;
    QListWidget* list_;
    QPushButton* delete_;
    QPushButton* duplicate_;
    RuleForm* form_;
    QLabel* documentLabel_;
    QComboBox* defaultAction_;
    /// The list is being filled, or has caused the change under way.
    bool isBusy_ = false;
    /// Polls for other lines on the screen while the editor is shown.
    QTimer visibleLinesTimer_;
    Subscriptions subscriptions_;
    /// To the notices of the document.
    Subscriptions ofDocument_;
};

} // namespace korvane
