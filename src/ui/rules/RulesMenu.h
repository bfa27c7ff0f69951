#pragma once

#include "foundation/notices/Notice.h"

#include <QObject>

#include <memory>
#include <vector>

class QAction;
class QMenu;

namespace korvane {

class Document;
class FilterRule;
struct SlowRule;

/// The entries at the end of a menu by which rules are switched on and off for one document: the first
/// thirty, and one that leads to the rest. Belongs to the menu. Main thread; needs the shared rule stores.
class RulesMenu : public QObject {
    Q_OBJECT

public:
    explicit RulesMenu(QMenu& menu);

    /// The document in front; null disables the entries.
    void setDocument(const std::shared_ptr<Document>& document);

Q_SIGNALS:
    /// The user wants to see the rules that have no entry.
    void editorRequested();

private:
    void showRules();
    QAction* addEntry(std::size_t index);
    QString textOf(const FilterRule& rule, const SlowRule* slow) const;
    void toggleRule(const QAction& entry);
    QString docKey() const;

    QMenu& menu_;
    std::weak_ptr<Document> document_;
    std::vector<QAction*> entries_;
    QAction* more_ = nullptr;
    Subscriptions subscriptions_;
    Subscription slowRules_;
};

} // namespace korvane
