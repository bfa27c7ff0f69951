#include "ui/FileExistence.h"

#include "foundation/FilePath.h"
#include "foundation/MainThread.h"

#include <QUrl>

#include <cerrno>
#include <sys/stat.h>
#include <utility>

namespace korvane {
namespace {

class Look : public Operation {
public:
    explicit Look(QStringList urls) : urls_(std::move(urls)) {}
    /// From the completion on.
    const QStringList& missing() const { return missing_; }

protected:
    void main() override {
        for (const QString& address : urls_) {
            if (isCancelled())
                return;
            const QUrl url = QUrl::fromEncoded(address.toUtf8(), QUrl::StrictMode);
            struct stat status {};
            if (url.isLocalFile() && ::stat(localPath(url).constData(), &status) != 0 &&
                (errno == ENOENT || errno == ENOTDIR))
                missing_.append(address);
        }
    }

private:
    const QStringList urls_;
    QStringList missing_;
};

} // namespace

void FileExistence::findMissing(const QStringList& urls,
                                std::function<void(const QStringList& missing)> report) {
    queue_.cancelAllOperations();
    const auto current = std::make_shared<const bool>(true);
    current_ = current;
    const auto look = std::make_shared<Look>(urls);
    // The operation outlives its completion, which it owns.
    look->setCompletion([look = look.get(), weak = std::weak_ptr(current), report = std::move(report)] {
        MainThread::shared().post([missing = look->missing(), weak, report] {
            if (!weak.expired())
                report(missing);
        });
    });
    queue_.addOperation(look);
}

} // namespace korvane
