#include "ui/page/PrimarySelection.h"

#include "core/TailDataSourceProtocol.h"
#include "core/reader/Pages.h"
#include "ui/logtable/LogTableView.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>

#include <utility>

namespace korvane {
namespace {

/// Rows gathered between two turns of the event loop.
constexpr int rowsAtOnce = 2000;
const QString plainText = QStringLiteral("text/plain");

/// Lines that are joined to one text on request.
class LinesMimeData : public QMimeData {
public:
    explicit LinesMimeData(QStringList lines) : lines_(std::move(lines)) {}

    QStringList formats() const override { return {plainText}; }
    bool hasFormat(const QString& format) const override { return format == plainText; }

protected:
    QVariant retrieveData(const QString& format, QMetaType /*type*/) const override {
        return format == plainText ? QVariant(lines_.join(u'\n')) : QVariant();
    }

private:
    const QStringList lines_;
};

void offerLines(QStringList lines) {
    QGuiApplication::clipboard()->setMimeData(new LinesMimeData(std::move(lines)), QClipboard::Selection);
}

} // namespace

PrimarySelection::PrimarySelection(LogTableView& table, std::shared_ptr<TailDataSourceProtocol> dataSource,
                                   QObject* parent)
    : QObject(parent), table_(table), dataSource_(std::move(dataSource)) {
    timer_.setSingleShot(true);
    connect(&timer_, &QTimer::timeout, this, [this] { gather(); });
}

void PrimarySelection::offer(std::uint64_t mostBytes) {
    forget();
    if (!QGuiApplication::clipboard()->supportsSelection())
        return;
    if (table_.selection().text()) {
        offerLines({table_.selectedText()});
        return;
    }
    std::uint64_t bytes = 0;
    rowStart_ = dataSource_->rowStart();
    for (const auto& range : table_.selection().rows().ranges())
        bytes += dataSource_->byteCount(rowStart_ + range.first, range.last - range.first + 1);
    if (bytes > mostBytes)
        return;
    missing_ = table_.selection().rows().ranges();
    gather();
}

void PrimarySelection::forget() {
    missing_.clear();
    lines_.clear();
    timer_.stop();
}

void PrimarySelection::rowsArrived() {
    if (!missing_.empty() && !timer_.isActive())
        gather();
}

void PrimarySelection::gather() {
    if (dataSource_->rowStart() != rowStart_) {
        forget();
        return;
    }
    for (int count = 0; !missing_.empty(); ++count) {
        if (count == rowsAtOnce) {
            timer_.start(0);
            return;
        }
        RowSelection::Range& range = missing_.front();
        const auto row = dataSource_->cachedRowLine(range.first);
        if (!row) {
            dataSource_->loadPage(pages::pageOfLine(rowStart_ + range.first), true);
            return;
        }
        if (row->cutBytes > 0) {
            forget();
            return;
        }
        if (!row->marks.hideLine)
            lines_.append(row->line.string());
        if (++range.first > range.last)
            missing_.erase(missing_.begin());
    }
    offerLines(std::exchange(lines_, {}));
}

} // namespace korvane
