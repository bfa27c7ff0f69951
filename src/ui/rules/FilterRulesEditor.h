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

/// The window in which all rules are kept and switched on and off for the document of the window last used.
/// Every change is saved and reaches the open documents at once. Main thread; needs the shared rule stores.
class FilterRulesEditor : public QDialog {
    Q_OBJECT

public:
    explicit FilterRulesEditor(AlertPresenter& alerts, QWidget* parent = nullptr);

    /// The document whose check boxes are shown; null for none. `visibleLines` answers the lines on its
    /// screen.
    void setDocument(const std::shared_ptr<Document>& document, std::function<QStringList()> visibleLines);
    /// Adds a rule for the text, switched on for the document, and lets the user edit it.
    void addRule(const QString& searchText);
    /// Makes live what is being typed.
    void commitTyping();

    /// Reads or writes rules as a file of their own. Also reached by the buttons, which ask for the file.
    /// Before rules are added that the list has already, the user is asked.
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
    /// The list is being filled, or is itself the cause of a change.
    bool isBusy_ = false;
    /// Looks whether other lines are on the screen, while the editor is shown.
    QTimer visibleLinesTimer_;
    Subscriptions subscriptions_;
    /// To what the document reports.
    Subscriptions ofDocument_;
};

} // namespace korvane
