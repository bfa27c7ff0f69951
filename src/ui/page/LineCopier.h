#pragma once

#include "ui/logtable/RowSelection.h"

#include <QObject>
#include <QString>

#include <cstdint>
#include <memory>
#include <vector>

namespace korvane {

class AlertPresenter;
class CopyLinesOperation;
class OperationQueue;
class TailDataSourceProtocol;

/// Puts whole lines of a file on the clipboard, read in the background however many they are. Asks before it
/// takes much memory. When no line could be read, the clipboard stays as it is. Main thread.
class LineCopier : public QObject {
    Q_OBJECT

public:
    /// So many bytes are copied without a question.
    static constexpr std::uint64_t largeCopyBytes = 100'000'000;

    /// `window`: where questions appear; it outlives the copier.
    LineCopier(std::shared_ptr<TailDataSourceProtocol> dataSource, AlertPresenter& alerts, QWidget& window,
               QObject* parent = nullptr);
    ~LineCopier() override;

    /// What becomes of lines that rules hide.
    enum class HiddenLines : unsigned char { LeftOut, Included };
    /// Copies lines, by zero-based index, in the place of what is still being copied.
    void copy(std::vector<RowSelection::Range> lines, HiddenLines hidden);
    void cancel();

Q_SIGNALS:
    /// Percent done, or -1 when it has ended.
    void progress(int percent);
    /// What has come of it, where that does not go without saying.
    void ended(const QString& text);

private:
    void start(const std::vector<RowSelection::Range>& lines, HiddenLines hidden);

    const std::shared_ptr<TailDataSourceProtocol> dataSource_;
    AlertPresenter& alerts_;
    QWidget& window_;
    const std::unique_ptr<OperationQueue> queue_;
    std::shared_ptr<CopyLinesOperation> operation_;
};

} // namespace korvane
