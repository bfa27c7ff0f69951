#pragma once

#include <QList>
#include <QString>
#include <QWidget>

class QHBoxLayout;
class QLabel;

namespace korvane {

class ElidedLabel;

/// Something that the user has to know of the rows below, and what helps.
struct PageNotice {
    enum class Remedy { Reload, ChooseEncoding, EditRules, CopyText, GoOn, End };
    /// What matters comes first: the middle gives way where there is no room for all of it.
    QString text;
    bool isWarning = false;
    QList<Remedy> remedies;
    /// The user may put it aside.
    bool canDismiss = false;

    friend bool operator==(const PageNotice&, const PageNotice&) = default;
};

/// One line over the rows that stays for as long as what it says holds, with the remedies as buttons. Hidden
/// while there is nothing to say. Main thread.
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
    /// Those of the notice.
    void makeButtons();
    void addButton(const QString& text, const QString& toolTip, PageNotice::Remedy remedy);

    PageNotice notice_;
    QLabel* image_;
    ElidedLabel* label_;
    QHBoxLayout* buttons_;
};

} // namespace korvane
