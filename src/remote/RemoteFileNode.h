#pragma once

#include "remote/ssh/RemoteEntry.h"

#include <QDateTime>
#include <QString>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace korvane {

class SFTPClient;

/// One entry of a server's file tree. Created and changed on the main thread.
struct RemoteFileNode {
    using Nodes = std::vector<std::unique_ptr<RemoteFileNode>>;

    enum class Listing : std::uint8_t {
        None,
        Pending,
        Done,
        /// To be listed again on the next visit; the old entries stay until then.
        Outdated,
    };

    /// Absolute.
    QString path;
    /// Lists the directory.
    std::shared_ptr<SFTPClient> client;
    /// For a link that has been followed: the kind of its target.
    RemoteFileKind kind = RemoteFileKind::Regular;
    bool isSymLink = false;
    /// The entries of a directory; absent until it has been listed.
    std::optional<Nodes> cachedChildren = {};
    Listing listing = Listing::None;
    /// Why it cannot be listed or opened, for the user; empty without a fault.
    QString fault = {};
    /// In bytes.
    std::optional<quint64> fileSize = {};
    QDateTime modificationDate = {};
    /// Index among the siblings in natural order of names.
    int nameRank = 0;
    /// A link that has not been followed since its directory was listed.
    bool isToBeFollowed = false;
    /// Not owned; null for the root.
    RemoteFileNode* parent = nullptr;
    /// Index among the parent's children.
    int row = 0;

    bool isDirectory() const { return kind == RemoteFileKind::Directory; }
    bool isHidden() const { return name().startsWith(u'.'); }
    /// The last component of the path; "/" for the root directory.
    QString name() const;
    /// The path of an entry of this directory.
    QString pathOf(const QString& entryName) const;
};

} // namespace korvane
