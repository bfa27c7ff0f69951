#pragma once

#include <QList>
#include <QString>
#include <QWidget>

class QHBoxLayout;
class QLabel;

namespace korvane {

class ElidedLabel;

/// A message about the rows below, with the remedies for it.
struct PageNotice {
    enum class Remedy { Reload, ChooseEncoding, EditRules, LeaveOut, CopyText, GoOn, End };
    /// Important words come first: the middle is elided when there is too little room.
    QString text;
    bool isWarning = false;
    QList<Remedy> remedies;
    /// The user may dismiss it.
    bool canDismiss = false;

    friend bool operator==(const PageNotice&, const PageNotice&) = default;
};

/// One line over the rows, shown while its notice holds, with the remedies as buttons. Hidden when there is
/// nothing to say. Main thread.
class NoticeStrip : public QWidget {
    Q_OBJECT

public:
    explicit NoticeStrip(QWidget* parent = nullptr);

    /// An empty text hides the strip.
    void showNotice(const PageNotice& notice);
    const PageNotice& notice() const { return notice_; }

Q_SIGNALS:
    void remedyChosen(PageNotice::Remedy remedy);
    void dismissed();

private:
    /// Makes the buttons of the notice.
    void makeButtons();
    void addButton(const QString& text, const QString& toolTip, PageNotice::Remedy remedy);

    PageNotice notice_;
    QLabel* image_;
    ElidedLabel* label_;
    QHBoxLayout* buttons_;
};

} // namespace korvane
