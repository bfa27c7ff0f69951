#include "ui/page/FileNotices.h"

#include "core/Preferences.h"
#include "foundation/text/Translations.h"

#include <QCoreApplication>
#include <QLocale>

#include <utility>

namespace korvane {
namespace {

using Remedy = PageNotice::Remedy;

/// Maximum length of a rule's text in a notice, in characters.
constexpr qsizetype mostCharacters = 60;

struct NoticeTexts {
    Q_DECLARE_TR_FUNCTIONS(FileNotices)
};

} // namespace

void FileNotices::setStatus(FileStatus status, QTime time) {
    status_ = status;
    statusTime_ = time;
    dismissed_.erase(Subject::FileState);
}

void FileNotices::followingChanged(bool isFollowed) {
    if (isFollowed)
        fault_ = FileFault::None;
    else
        status_ = FileStatus::Present;
}

void FileNotices::readAnew() {
    fault_ = FileFault::None;
    status_ = FileStatus::Present;
    dismissed_.erase(Subject::InvalidBytes);
    dismissed_.erase(Subject::Reading);
}

void FileNotices::setSlowRules(std::vector<SlowRule> rules) {
    slowRules_ = std::move(rules);
    for (const SlowRule& rule : slowRules_)
        if (toldRules_.insert(rule.id).second)
            dismissed_.erase(Subject::SlowRules);
}

PageNotice FileNotices::current() const {
    return first().notice;
}

void FileNotices::dismissCurrent() {
    const Candidate shown = first();
    if (!shown.notice.canDismiss)
        return;
    if (shown.subject == Subject::Store)
        storeFault_.clear();
    else if (shown.subject == Subject::HiddenLines)
        Preferences::shared().setOffersToLeaveOut(false);
    else
        dismissed_.insert(shown.subject);
}

FileNotices::Candidate FileNotices::first() const {
    for (const Subject subject :
         {Subject::Unreadable, Subject::Input, Subject::Store, Subject::Fault, Subject::FileState,
          Subject::InvalidBytes, Subject::SlowRules, Subject::HiddenLines, Subject::Reading}) {
        if (dismissed_.contains(subject))
            continue;
        if (PageNotice notice = noticeOf(subject); !notice.text.isEmpty())
            return {subject, std::move(notice)};
    }
    return {};
}

PageNotice FileNotices::noticeOf(Subject subject) const {
    switch (subject) {
    case Subject::Unreadable:
        return unreadableNotice();
    case Subject::Input:
        return {inputPause_, true, {Remedy::GoOn, Remedy::End}};
    case Subject::Store:
        return {storeFault_, true, {Remedy::CopyText}, true};
    case Subject::Fault:
        return faultNotice();
    case Subject::FileState:
        return statusNotice();
    case Subject::InvalidBytes:
        if (!hasInvalidLines_)
            return {};
        return {NoticeTexts::tr("Bytes that are not valid %1 are shown as �")
                    .arg(encodingName(document_.fileEncoding())),
                false, document_.hasEncodingChoice() ? QList{Remedy::ChooseEncoding} : QList<Remedy>(), true};
    case Subject::SlowRules:
        return slowRulesNotice();
    case Subject::HiddenLines:
        if (!offersLeavingOut_)
            return {};
        return {
            NoticeTexts::tr("Lines that rules hide still have their rows"), false, {Remedy::LeaveOut}, true};
    case Subject::Reading:
        return {document_.readingNote(), false, {}, true};
    }
    return {};
}

PageNotice FileNotices::unreadableNotice() const {
    switch (document_.connectionState()) {
    case ConnectionState::Lost:
    case ConnectionState::Unconnected:
        return {}; // shown by the connection strip
    case ConnectionState::Local:
        return {document_.openFault(), true, {Remedy::Reload, Remedy::CopyText}};
    default:
        return {document_.openFault(), true, {Remedy::CopyText}};
    }
}

PageNotice FileNotices::faultNotice() const {
    switch (fault_) {
    case FileFault::None:
        break;
    case FileFault::Removed:
        return {NoticeTexts::tr("The file has been removed: these are its last lines"), true, {}};
    case FileFault::Replaced:
        return {NoticeTexts::tr("Another file has taken this file's place: reload it to see that one"),
                true,
                {Remedy::Reload}};
    case FileFault::Truncated:
        return {NoticeTexts::tr("The file has been cut short: reload it to see what it holds now"),
                true,
                {Remedy::Reload}};
    }
    return {};
}

PageNotice FileNotices::statusNotice() const {
    const QString time = QLocale().toString(statusTime_, QStringLiteral("HH:mm:ss"));
    switch (status_) {
    case FileStatus::Present:
        break;
    case FileStatus::Rotated:
        return {
            NoticeTexts::tr("Rotated at %1: these are the lines of the new file").arg(time), false, {}, true};
    case FileStatus::Truncated:
        return {
            NoticeTexts::tr("Cut short at %1: this is what the file holds now").arg(time), false, {}, true};
    case FileStatus::Deleted:
        return {
            NoticeTexts::tr("The file has been deleted: these are its last lines. It is picked up when it "
                            "returns"),
            true,
            {}};
    case FileStatus::Unreadable:
        return {NoticeTexts::tr("The file cannot be read any more: these are the lines read before"),
                true,
                {Remedy::Reload}};
    }
    return {};
}

PageNotice FileNotices::slowRulesNotice() const {
    if (slowRules_.empty())
        return {};
    const SlowRule& rule = slowRules_.front();
    QString text = rule.searchStr;
    if (text.size() > mostCharacters)
        text = text.left(mostCharacters) + u'…';
    const QString lines =
        NoticeTexts::tr("%1 line(s) given up", nullptr, translations::pluralOf(rule.lineCount))
            .arg(QLocale().toString(rule.lineCount));
    QString notice = NoticeTexts::tr("Rule too slow for this file, %1: “%2”").arg(lines, text);
    if (slowRules_.size() > 1)
        notice = NoticeTexts::tr("%1 rule(s) too slow for this file; the first, %2: “%3”", nullptr,
                                 translations::pluralOf(std::ssize(slowRules_)))
                     .arg(QLocale().toString(static_cast<qulonglong>(slowRules_.size())), lines, text);
    return {notice, true, {Remedy::EditRules}, true};
}

} // namespace korvane
