#pragma once

#include "core/DocumentProtocol.h"
#include "core/reader/LogFileReaderProtocol.h"
#include "documents/ConnectionState.h"
#include "documents/FileCheck.h"
#include "documents/FileInformation.h"
#include "documents/LoadState.h"
#include "foundation/Result.h"
#include "foundation/notices/WindowId.h"

#include <functional>
#include <memory>
#include <optional>

namespace korvane {

class LineMarkLookup;
class LoadProgressController;

/// One open log file, wherever it lies.
///
/// Held by shared pointer, by the controller and the window. Main thread, unless said otherwise. Background
/// work keeps what it needs alive, never the document.
class Document : public DocumentProtocol, public std::enable_shared_from_this<Document> {
public:
    /// Makes the data source and checks what can be checked without reading. Called once.
    virtual Status readFromUrl(const QUrl& url) = 0;

    /// Starts to load in the background; rows appear as they are loaded. Called once, after `readFromUrl`.
    virtual void startLoading() = 0;
    /// The document has its window: it is followed if the settings say so, and `DocumentNotices::loaded` is
    /// posted, each as soon as possible. Called once, after `startLoading`.
    virtual void windowMade() = 0;
    /// Whether its rows are on the screen, or about to be; true at first. Visible documents are loaded first.
    virtual void setShown(bool /*isShown*/) {}
    /// The first rows are on the screen: background work need not yield to them any longer.
    virtual void firstScreenShown() {}
    /// Loads in the background what was appended to the file since the last load. For files that this program
    /// itself still writes.
    virtual void loadMore() {}
    /// Stops loading and following; the progress says "Canceled!". Lines found so far stay.
    virtual void cancelLoading() = 0;
    /// Starts to follow the file as soon as it is loaded, unless `stopTailing` is called before.
    virtual void startTailingWhenLoaded() = 0;
    virtual void stopTailing() = 0;
    /// Reads the file again from its first byte.
    virtual void reload() = 0;

    /// Stops all background work without waiting; late reports are ignored. The document must not be used
    /// afterwards.
    virtual void close() = 0;
    virtual bool isClosed() const = 0;

    QString displayName() const override;
    /// The place of the file for display; the name if it has no place.
    QString displayPlace() const;
    QString settingsId() const override;
    /// Replaces the name made of the address (for the copy of a pipe).
    void setDisplayName(const QString& name) { displayName_ = name; }
    /// The address cannot be opened another time.
    bool isTransient() const { return !displayName_.isEmpty(); }

    /// Whether the encoding can be chosen; if not, `setEncodingChoice` changes nothing.
    virtual bool hasEncodingChoice() const = 0;
    virtual EncodingChoice encodingChoice() const = 0;
    /// Shows the file in another encoding.
    virtual void setEncodingChoice(EncodingChoice choice) = 0;
    /// The detected or chosen encoding; `encoding::unknown` before the first read.
    virtual StringEncoding fileEncoding() const = 0;

    /// Why the file cannot be read and the remedy, for display; empty when it can be read.
    virtual QString openFault() const = 0;
    /// Reports that the file is read in another way than the user has set, and why; empty otherwise.
    virtual QString readingNote() const { return {}; }
    /// Whether a monitor follows the file now.
    bool isFollowed() const;
    /// Checks in the background whether the file is still the one that was opened, and reports on the main
    /// thread unless the document has been closed. Does nothing while an earlier check is under way.
    virtual void checkFile(std::function<void(FileFault)> report) = 0;

    /// The size in bytes if it is known without asking the file system or a server; nullopt otherwise.
    virtual std::optional<quint64> knownFileSize() const = 0;
    using FileInformationReport = std::function<void(const std::optional<FileInformation>&)>;
    /// Queries the file's attributes in the background, and reports on the main thread unless the document
    /// has been closed; nullopt when they cannot be read.
    virtual void askFileInformation(FileInformationReport report) = 0;

    LoadState loadState() const { return loadState_.state(); }
    bool isLoading() const { return loadState() == LoadState::Waiting || loadState() == LoadState::Loading; }
    /// The progress of the loading, or of the last `reload`, for a progress bar; never null after
    /// `readFromUrl`. It may end a moment before `loadState`.
    virtual std::shared_ptr<const LoadProgressController> loadProgress() const = 0;

    /// `DocumentNotices::connectionStateChanged` reports every change.
    virtual ConnectionState connectionState() const { return ConnectionState::Local; }
    /// Connects if nothing has been loaded yet, or again after a failed attempt or a loss, and then follows
    /// the file as before. Lines, selection and rows stay.
    virtual void reconnect() {}
    /// Called from time to time while the rows are visible, to re-establish a lost connection.
    virtual void stayConnected() {}
    /// Whether `stayConnected` will try; otherwise the user has to `reconnect`.
    virtual bool triesToConnect() const { return false; }
    /// The window (or an object in it) over which alerts about the document are shown; null for none.
    virtual void setWindow(WindowId /*window*/) {}

    /// Null = no line carries a mark. After `readFromUrl` and before `close`.
    virtual void setLineMarkLookup(std::shared_ptr<const LineMarkLookup> lookup) = 0;

    /// Whether long lines are wrapped in this document's window.
    bool wrapping() const { return wrapping_; }
    void setWrapping(bool wrapping) { wrapping_ = wrapping; }

protected:
    /// Reports every change, and a reload that begins before the last one has ended.
    void setLoadState(LoadState state);

private:
    StateMachine<LoadState> loadState_{LoadState::Waiting, loadTransitions};
    QString displayName_;
    bool wrapping_ = false;
};

} // namespace korvane
