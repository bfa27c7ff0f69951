#include "ui/page/LineCopier.h"

#include "core/DataSourceRoles.h"
#include "foundation/notices/Alerts.h"
#include "foundation/text/Translations.h"
#include "foundation/work/OperationQueue.h"
#include "ui/logtable/LogTableView.h"
#include "ui/page/CopyLinesOperation.h"
#include "ui/widgets/SizeText.h"
#include "ui/widgets/WidgetIds.h"

#include <QApplication>
#include <QClipboard>
#include <QCoreApplication>
#include <QLocale>
#include <QPointer>

#include <utility>

namespace korvane {
namespace {

/// Limit of the clipboard, in bytes: most programs keep the length of a text in 32 bits.
constexpr std::uint64_t largestCopyBytes = 1'000'000'000;

struct CopyTexts {
    Q_DECLARE_TR_FUNCTIONS(LineCopier)
};

QString messageOf(const CopyLinesOperation::Outcome& outcome, qint64 selected) {
    if (outcome.end == CopyLinesOperation::End::Unreadable)
        return CopyTexts::tr("Nothing copied: the lines cannot be read");
    if (outcome.end == CopyLinesOperation::End::Cancelled)
        return {};
    if (outcome.lines == 0)
        return CopyTexts::tr("Nothing copied: rules hide these lines");
    if (selected == 1)
        return {};
    const QString copied = QLocale().toString(outcome.lines);
    if (outcome.hiddenLines > 0 && outcome.lines + outcome.hiddenLines == selected)
        return CopyTexts::tr("%1 line(s) copied, without the %2 that rules hide", nullptr,
                             translations::pluralOf(outcome.lines))
            .arg(copied, QLocale().toString(outcome.hiddenLines));
    return outcome.lines == selected
               ? CopyTexts::tr("%1 line(s) copied", nullptr, translations::pluralOf(outcome.lines))
                     .arg(copied)
               : CopyTexts::tr("%1 of %2 line(s) copied: the others cannot be read", nullptr,
                               translations::pluralOf(selected))
                     .arg(copied, QLocale().toString(selected));
}

/// The lines of the range that are copied.
qint64 countOf(const RowSelection::Range& range, const std::optional<CopyLinesOperation::Shown>& shown) {
    if (!shown)
        return range.last - range.first + 1;
    return shown->map.shownRowsBefore(range.last + 1 - shown->rowStart) -
           shown->map.shownRowsBefore(range.first - shown->rowStart);
}

} // namespace

LineCopier::LineCopier(std::shared_ptr<LineTexts> dataSource, AlertPresenter& alerts, LogTableView& table,
                       QObject* parent)
    : QObject(parent), dataSource_(std::move(dataSource)), alerts_(alerts), table_(table),
      queue_(std::make_unique<OperationQueue>("Copy queue", 1)) {}

LineCopier::~LineCopier() {
    queue_->cancelAllOperations();
}

bool LineCopier::canCopy() const {
    return table_.selection().text().has_value() || !table_.selection().rows().isEmpty();
}

bool LineCopier::canCopyLines() const {
    return !table_.selection().text() && !table_.selection().rows().isEmpty();
}

void LineCopier::copySelection(HiddenLines hidden, CopyFormat::Kind format) {
    const auto& text = table_.selection().text();
    if (text && format == CopyFormat::Kind::Plain) {
        QApplication::clipboard()->setText(table_.selectedText());
        return;
    }
    std::vector<RowSelection::Range> lines;
    const auto add = [&](qint64 first, qint64 last) {
        lines.push_back({dataSource_->rowStart() + first, dataSource_->rowStart() + last});
    };
    if (text)
        add(text->row, text->row);
    else
        for (const auto& range : table_.selection().rows().ranges())
            add(range.first, range.last);
    if (!lines.empty())
        copy(std::move(lines), hidden, format);
}

std::optional<CopyLinesOperation::Shown> LineCopier::shownLines() const {
    const RowMap& map = table_.scroller().map();
    return map.showsAll() ? std::nullopt
                          : std::optional(CopyLinesOperation::Shown{map, dataSource_->rowStart()});
}

void LineCopier::copy(std::vector<RowSelection::Range> lines, HiddenLines hidden, CopyFormat::Kind format) {
    const auto shown = hidden == HiddenLines::Included ? std::nullopt : shownLines();
    std::uint64_t bytes = 0;
    for (const auto& range : lines) {
        const double share =
            static_cast<double>(countOf(range, shown)) / static_cast<double>(range.last - range.first + 1);
        bytes += static_cast<std::uint64_t>(
            static_cast<double>(dataSource_->byteCount(range.first, range.last - range.first + 1)) * share);
    }
    const QString size = sizeText(bytes);
    if (bytes > largestCopyBytes) {
        alerts_.present({Alert::Kind::Warning,
                         tr("%1 are too much for the clipboard").arg(size),
                         tr("Select fewer lines, or copy the file itself."),
                         {}},
                        idOf(&table_), {});
        return;
    }
    if (bytes <= largeCopyBytes) {
        start(lines, hidden, format);
        return;
    }
    alerts_.present(
        {Alert::Kind::Question,
         tr("Copy %1 to the clipboard?").arg(size),
         tr("This takes memory in this program and in every program that the text is pasted into."),
         {tr("Copy"), tr("Cancel")}},
        idOf(&table_), [self = QPointer(this), lines = std::move(lines), hidden, format](int button) {
            if (self && button == 0)
                self->start(lines, hidden, format);
        });
}

void LineCopier::start(const std::vector<RowSelection::Range>& lines, HiddenLines hidden,
                       CopyFormat::Kind format) {
    cancel();
    const QPointer<LineCopier> self(this);
    const auto shown = hidden == HiddenLines::Included ? std::nullopt : shownLines();
    qint64 count = 0;
    for (const auto& range : lines)
        count += countOf(range, shown);
    const auto done = [self, count](const CopyLinesOperation::Outcome& outcome) {
        if (!self)
            return;
        if (outcome.end == CopyLinesOperation::End::Read && outcome.lines > 0)
            QApplication::clipboard()->setText(outcome.text);
        if (const QString message = messageOf(outcome, count); !message.isEmpty())
            Q_EMIT self->ended(message);
        Q_EMIT self->progress(-1);
    };
    const auto report = [self](int percent) {
        if (self)
            Q_EMIT self->progress(percent);
    };
    operation_ = std::make_shared<CopyLinesOperation>(dataSource_, lines,
                                                      hidden == HiddenLines::Included
                                                          ? CopyLinesOperation::Hidden::Included
                                                          : CopyLinesOperation::Hidden::LeftOut,
                                                      report, done);
    operation_->setFormat({format, lines.back().last, place_()});
    if (shown)
        operation_->setShown(*shown);
    queue_->addOperation(operation_);
}

void LineCopier::cancel() {
    if (operation_)
        operation_->cancel();
}

} // namespace korvane
