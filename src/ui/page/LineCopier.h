#pragma once

#include "ui/logtable/RowSelection.h"
#include "ui/page/CopyLinesOperation.h"

#include <QObject>
#include <QString>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace korvane {

class AlertPresenter;
class LogTableView;
class OperationQueue;
class LineTexts;

/// Copies the selection of a log table to the clipboard: selected text, or any number of whole lines, which
/// are read in the background. Asks before it takes much memory. When no line can be read, the clipboard
/// keeps its content. Main thread.
class LineCopier : public QObject {
    Q_OBJECT

public:
    /// Maximum size copied without asking, in bytes.
    static constexpr std::uint64_t largeCopyBytes = 100'000'000;

    /// `table` must outlive the copier.
    LineCopier(std::shared_ptr<LineTexts> dataSource, AlertPresenter& alerts, LogTableView& table,
               QObject* parent = nullptr);
    ~LineCopier() override;

    /// What to do with lines that rules hide.
    enum class HiddenLines : unsigned char { LeftOut, Included };
    /// `hidden`: of whole lines; selected text is copied as it is, unless the format has line numbers: then
    /// the lines that it lies in are copied.
    void copySelection(HiddenLines hidden = HiddenLines::LeftOut,
                       CopyFormat::Kind format = CopyFormat::Kind::Plain);
    /// What the format tells of where the lines are from, asked when copying.
    void setPlace(std::function<QString()> place) { place_ = std::move(place); }
    /// Copies lines by zero-based index; cancels the copy under way, if any.
    void copy(std::vector<RowSelection::Range> lines, HiddenLines hidden,
              CopyFormat::Kind format = CopyFormat::Kind::Plain);
    bool canCopy() const;
    /// Whole lines are selected.
    bool canCopyLines() const;
    void cancel();

Q_SIGNALS:
    /// Percent done; -1 when the copy has ended.
    void progress(int percent);
    /// The copy ended with a result worth telling the user.
    void ended(const QString& text);

private:
    /// What the table shows; nullopt while it shows all rows.
    std::optional<CopyLinesOperation::Shown> shownLines() const;
    void start(const std::vector<RowSelection::Range>& lines, HiddenLines hidden, CopyFormat::Kind format);

    const std::shared_ptr<LineTexts> dataSource_;
    AlertPresenter& alerts_;
    LogTableView& table_;
    const std::unique_ptr<OperationQueue> queue_;
    std::shared_ptr<CopyLinesOperation> operation_;
    std::function<QString()> place_ = [] { return QString(); };
};

} // namespace korvane
