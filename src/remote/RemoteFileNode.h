#pragma once

#include <QString>

#include <memory>
#include <optional>
#include <vector>

namespace korvane {

class SFTPClient;

/// One entry of a server's file tree. Made and changed on the main thread.
struct RemoteFileNode {
    using Nodes = std::vector<std::unique_ptr<RemoteFileNode>>;

    /// Absolute.
    QString path;
    /// Lists what is in it.
    std::shared_ptr<SFTPClient> client;
    bool isDirectory = false;
    bool isSymLink = false;
    /// What is in a directory; nothing until it has been listed.
    std::optional<Nodes> cachedChildren = {};
    /// Its listing has been asked for.
    bool isAskedFor = false;
    /// Not owned; null for the root.
    RemoteFileNode* parent = nullptr;
    /// The place among the parent's children.
    int row = 0;

    /// The last component of the path, "/" for the root of all.
    QString name() const;
    /// The path of an entry of this directory.
    QString pathOf(const QString& entryName) const;
};

} // namespace korvane
