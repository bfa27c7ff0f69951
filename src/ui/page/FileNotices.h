#pragma once

#include "core/FileStatus.h"
#include "core/RuleEnforcerProtocol.h"
#include "documents/Document.h"
#include "ui/page/NoticeStrip.h"

#include <QString>
#include <QTime>
#include <QUuid>

#include <set>
#include <vector>

namespace korvane {

/// The notices about one open file, and which of them is shown: the worst first, and none that the user has
/// dismissed. Main thread.
class FileNotices {
public:
    explicit FileNotices(const Document& document) : document_(document) {}

    /// Fault found by polling the file while it is not followed.
    void setFault(FileFault fault) { fault_ = fault; }
    /// State of the file's path found while it is followed.
    void setStatus(FileStatus status, QTime time);
    /// Following has begun or ended; resets the notice of the other way of watching, so that both are never
    /// shown.
    void followingChanged(bool isFollowed);
    /// Some rows show U+FFFD for bytes that are not valid.
    void setHasInvalidLines(bool value) { hasInvalidLines_ = value; }
    /// A fault of the program's own stores; stays until it is dismissed.
    void setStoreFault(const QString& text) { storeFault_ = text; }

    /// Rules that gave up on lines of this file. A rule not shown before makes a dismissed notice visible
    /// again.
    void setSlowRules(std::vector<SlowRule> rules);

    /// Rules hide lines whose rows stay: the user has not been asked yet whether to leave them out.
    void setOffersLeavingOut(bool value) { offersLeavingOut_ = value; }
    /// Reason why reading the input pauses; empty while it does not.
    void setInputPause(const QString& reason) { inputPause_ = reason; }

    /// The notice to show; its text is empty when there is none.
    PageNotice current() const;
    void dismissCurrent();
    /// The file is being reloaded: notices about the rows before it are cleared.
    void readAnew();

private:
    enum class Subject {
        Unreadable,
        Input,
        Store,
        Fault,
        FileState,
        InvalidBytes,
        SlowRules,
        HiddenLines,
        Reading
    };
    struct Candidate {
        Subject subject;
        PageNotice notice;
    };
    Candidate first() const;
    PageNotice noticeOf(Subject subject) const;
    PageNotice unreadableNotice() const;
    PageNotice faultNotice() const;
    PageNotice statusNotice() const;
    PageNotice slowRulesNotice() const;

    const Document& document_;
    FileFault fault_ = FileFault::None;
    FileStatus status_ = FileStatus::Present;
    QTime statusTime_;
    bool hasInvalidLines_ = false;
    QString storeFault_;
    QString inputPause_;
    bool offersLeavingOut_ = false;
    std::vector<SlowRule> slowRules_;
    std::set<QUuid> toldRules_;
    std::set<Subject> dismissed_;
};

} // namespace korvane
