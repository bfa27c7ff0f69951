#pragma once

#include "bookmarks/LineMarkList.h"

#include <QByteArray>
#include <QString>
#include <QUrl>

#include <memory>
#include <optional>

namespace korvane {

/// A file to be opened again, with its line marks. Held by shared pointer and identified by its address; main
/// thread.
class BookmarkEntry {
public:
    inline static const QString KEY_NAME = QStringLiteral("name");
    inline static const QString KEY_PATH = QStringLiteral("path");
    inline static const QString KEY_URL_STR = QStringLiteral("urlString");
    inline static const QString KEY_DATA = QStringLiteral("data");
    inline static const QString KEY_LINES = QStringLiteral("lines");

    BookmarkEntry(QString name, const QUrl& url);
    /// From the parts stored in an archive.
    BookmarkEntry(QString name, QString path, QString urlStr);
    BookmarkEntry(const BookmarkEntry&) = delete;
    BookmarkEntry& operator=(const BookmarkEntry&) = delete;

    /// As shown: the file's name when the bookmark was made.
    const QString& name() const { return name_; }
    /// Of a remote file, the path on the server.
    const QString& path() const { return path_; }
    /// The URL's absolute string.
    const QString& urlStr() const { return urlStr_; }
    /// Another system's data for finding the file. Not used here, and saved unchanged.
    const std::optional<QByteArray>& data() const { return data_; }
    void setData(const QByteArray& value) { data_ = value; }
    /// The file's marks, shared with the store; never null.
    const std::shared_ptr<LineMarkList>& lines() const { return lines_; }
    void setLines(std::shared_ptr<LineMarkList> value) { lines_ = std::move(value); }

    /// Nullopt when the stored text is not a URL.
    std::optional<QUrl> url() const;
    bool isLocal() const;
    /// Whether this is a bookmark of the file: both local or both remote, with the same path and server. User
    /// and port are not compared.
    bool matches(const QUrl& other) const;

private:
    QString name_;
    QString path_;
    QString urlStr_;
    std::optional<QByteArray> data_;
    std::shared_ptr<LineMarkList> lines_ = std::make_shared<LineMarkList>();
};

/// Nullopt when the text is not a URL.
std::optional<QUrl> parsedUrl(const QString& text);

} // namespace korvane
