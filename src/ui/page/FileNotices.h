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

/// What there is to say of one open file, and which of it is said: the worst first, and nothing that the user
/// has put aside. Main thread.
class FileNotices {
public:
    explicit FileNotices(const Document& document) : document_(document) {}

    /// What a look at the file has found while nobody follows it.
    void setFault(FileFault fault) { fault_ = fault; }
    /// What the one who follows the file has found at its path.
    void setStatus(FileStatus status, QTime time);
    /// Following has begun or ended: the two ways of watching the file do not speak at once.
    void followingChanged(bool isFollowed);
    /// Some rows show U+FFFD for bytes that are not valid.
    void setHasInvalidLines(bool value) { hasInvalidLines_ = value; }
    /// A fault of what the program keeps; stays until it is put aside.
    void setStoreFault(const QString& text) { storeFault_ = text; }

    /// Rules that have given up lines of this file. A rule not shown before makes a dismissed notice visible
    /// again.
    void setSlowRules(std::vector<SlowRule> rules);

    /// Why reading the input pauses; empty while it does not.
    void setInputPause(const QString& reason) { inputPause_ = reason; }

    /// Without a text when there is nothing to say.
    PageNotice current() const;
    void dismissCurrent();
    /// The file is being reloaded: notices about the rows before it are cleared.
    void readAnew();

private:
    enum class Subject { Unreadable, Input, Store, Fault, FileState, InvalidBytes, SlowRules, Reading };
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
    std::vector<SlowRule> slowRules_;
    std::set<QUuid> toldRules_;
    std::set<Subject> dismissed_;
};

} // namespace korvane
