#pragma once

#include "filtering/ShownLines.h"

#include <QList>
#include <QWidget>

#include <cstddef>
#include <functional>

class QToolBar;
class QToolButton;

namespace korvane {

class ShownRows;

/// The conditions that lines must meet to be shown, one button each with a menu to change it. Hidden without
/// conditions. Main thread.
class ConditionStrip : public QWidget {
    Q_OBJECT

public:
    /// `rows` must outlive the strip.
    explicit ConditionStrip(ShownRows& rows, QWidget* parent = nullptr);

    /// Adds a condition, or makes an existing one of the other kind. Without a text, asks for one.
    void add(ShownLines::Condition::Kind kind, const QString& text);

Q_SIGNALS:
    void ruleRequested(const QString& text);

private:
    using Kind = ShownLines::Condition::Kind;

    void makeButtons();
    void addButton(std::size_t number);
    void showCounts();
    void ask(Kind kind, const QString& text, const std::function<void(const QString&)>& take);
    void edit(std::size_t number);
    void setKind(std::size_t number, Kind kind);
    void remove(std::size_t number);

    ShownRows& rows_;
    QToolBar* bar_;
    /// One for each condition.
    QList<QToolButton*> buttons_;
};

} // namespace korvane
