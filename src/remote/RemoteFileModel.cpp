#include "remote/RemoteFileModel.h"

#include "foundation/FilePath.h"
#include "remote/SFTPClient.h"

#include <QCollator>
#include <QHash>
#include <QLocale>

#include <algorithm>
#include <utility>

namespace korvane {
namespace {

/// Number of links followed before a waiting listing gets its turn.
constexpr std::size_t linksAtOnce = 256;

/// By name, in natural order.
void sortForPeople(std::vector<RemoteEntry>& entries) {
    // The locale "C" does not compare numbers in names by value.
    const QLocale locale = QLocale::system();
    QCollator collator(locale.language() == QLocale::C ? QLocale(QLocale::English) : locale);
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    collator.setNumericMode(true);
    std::vector<std::pair<QCollatorSortKey, RemoteEntry>> keyed;
    keyed.reserve(entries.size());
    for (RemoteEntry& entry : entries)
        keyed.emplace_back(collator.sortKey(entry.filename), std::move(entry));
    std::sort(keyed.begin(), keyed.end(), [](const auto& one, const auto& other) {
        const int order = one.first.compare(other.first);
        return order != 0 ? order < 0 : one.second.filename < other.second.filename;
    });
    for (std::size_t i = 0; i < keyed.size(); ++i)
        entries[i] = std::move(keyed[i].second);
}

/// Whether the entry is another object than before, although it may have the same name.
bool isReplaced(const RemoteFileNode& child, const RemoteEntry& entry) {
    const bool isSymLink = entry.kind == RemoteFileKind::Link;
    return child.isSymLink != isSymLink || (!isSymLink && child.kind != entry.kind);
}

} // namespace

struct RemoteFileModel::Listing {
    /// Sorted by name.
    std::vector<RemoteEntry> entries;
    /// Why there are no entries; empty if the server answered.
    QString fault;
    bool isDisconnected = false;
};

RemoteFileModel::Listing RemoteFileModel::list(SFTPClient& client, const QString& path,
                                               const std::stop_token& stop) {
    // A lost connection may be noticed only by a request.
    for (const bool isLast : {false, true}) {
        if (stop.stop_requested())
            break;
        if (const Status connected = client.connect(LoginAsked::ByProgram); !connected)
            return {{}, connected.error().userText, true};
        auto result = client.contentsOfDirectoryAtPath(path);
        if (result) {
            Listing listing{std::move(result).value(), {}};
            sortForPeople(listing.entries);
            return listing;
        }
        const bool isDisconnected = !client.isConnected();
        if (isLast || !isDisconnected)
            return {{}, result.error().userText, isDisconnected};
    }
    return {{}, {}, true};
}

RemoteFileModel::RemoteFileModel(std::shared_ptr<SFTPClient> client)
    : client_(std::move(client)), root_(makeRoot(QStringLiteral("/"))),
      generation_(std::make_shared<const bool>(true)),
      queue_(std::make_unique<OperationQueue>("Remote directory listing queue", listingsAtOnce)) {}

RemoteFileModel::~RemoteFileModel() = default;

std::unique_ptr<RemoteFileNode> RemoteFileModel::makeRoot(const QString& path) const {
    auto root = std::make_unique<RemoteFileNode>();
    root->path = path;
    root->client = client_;
    root->kind = RemoteFileKind::Directory;
    return root;
}

void RemoteFileModel::setRootPath(const QString& path) {
    beginResetModel();
    cancel();
    root_ = makeRoot(path);
    endResetModel();
    visit({});
}

void RemoteFileModel::cancel() {
    queue_->cancelAllOperations();
    generation_ = std::make_shared<const bool>(true);
    listings_.clear();
    linkSearches_.clear();
    isReconnecting_ = false;
}

// ---- Finding nodes

RemoteFileNode& RemoteFileModel::nodeOf(const QModelIndex& index) const {
    return index.isValid() ? *static_cast<RemoteFileNode*>(index.internalPointer()) : *root_;
}

QModelIndex RemoteFileModel::indexOf(const RemoteFileNode& node) const {
    return &node == root_.get() ? QModelIndex() : createIndex(node.row, 0, &node);
}

QModelIndex RemoteFileModel::index(int row, int column, const QModelIndex& parent) const {
    if (!hasIndex(row, column, parent))
        return {};
    return indexOf(*(*nodeOf(parent).cachedChildren)[static_cast<std::size_t>(row)]);
}

QModelIndex RemoteFileModel::parent(const QModelIndex& child) const {
    return child.isValid() ? indexOf(*nodeOf(child).parent) : QModelIndex();
}

int RemoteFileModel::rowCount(const QModelIndex& parent) const {
    const auto& children = nodeOf(parent).cachedChildren;
    return children ? static_cast<int>(children->size()) : 0;
}

int RemoteFileModel::columnCount(const QModelIndex&) const {
    return 1;
}

bool RemoteFileModel::hasChildren(const QModelIndex& parent) const {
    return nodeOf(parent).isDirectory();
}

// ---- Listing

void RemoteFileModel::visit(const QModelIndex& directory) {
    RemoteFileNode& node = nodeOf(directory);
    const bool isListed =
        node.listing == RemoteFileNode::Listing::Pending || node.listing == RemoteFileNode::Listing::Done;
    if (node.isDirectory() && !isListed)
        startListing(node);
    if (node.isToBeFollowed)
        followLinks(*node.parent);
}

void RemoteFileModel::refresh(const QModelIndexList& directories) {
    markOutdated(*root_);
    visit({});
    for (const QModelIndex& directory : directories) {
        if (directory.isValid())
            visit(directory);
    }
}

void RemoteFileModel::reconnect(const QModelIndexList& directories) {
    if (std::exchange(isReconnecting_, true))
        return;
    const QList<QPersistentModelIndex> kept(directories.begin(), directories.end());
    queue_->run([client = client_] { return client->connect(LoginAsked::ByUser); })
        .then(std::weak_ptr(generation_), [this, kept](const Status& connected) {
            isReconnecting_ = false;
            connectionFault_ = connected ? QString() : connected.error().userText;
            if (connected)
                refresh(QModelIndexList(kept.begin(), kept.end()));
            Q_EMIT pendingCountChanged();
        });
    Q_EMIT pendingCountChanged();
}

void RemoteFileModel::markOutdated(RemoteFileNode& node) {
    if (node.listing == RemoteFileNode::Listing::Done)
        node.listing = RemoteFileNode::Listing::Outdated;
    if (node.cachedChildren) {
        for (const auto& child : *node.cachedChildren)
            markOutdated(*child);
    }
}

RemoteFileNode* RemoteFileModel::take(Pending& pending, std::uint64_t number) {
    const auto waiting = pending.extract(number);
    return waiting.empty() ? nullptr : waiting.mapped();
}

void RemoteFileModel::startListing(RemoteFileNode& node) {
    node.listing = RemoteFileNode::Listing::Pending;
    const std::uint64_t number = ++lastNumber_;
    listings_[number] = &node;
    queue_
        ->run([client = client_, path = node.path](const std::stop_token& stop) {
            return list(*client, path, stop);
        })
        .then(std::weak_ptr(generation_), [this, number](const Listing& listing) {
            if (RemoteFileNode* waiting = take(listings_, number))
                takeListing(*waiting, listing);
        });
    Q_EMIT pendingCountChanged();
}

void RemoteFileModel::takeListing(RemoteFileNode& node, const Listing& listing) {
    connectionFault_ = listing.isDisconnected ? listing.fault : QString();
    node.fault = listing.fault;
    node.listing =
        listing.fault.isEmpty() ? RemoteFileNode::Listing::Done : RemoteFileNode::Listing::Outdated;
    // Without a connection, the last listing stays.
    if (!listing.isDisconnected)
        merge(node, listing.entries);
    Q_EMIT pendingCountChanged();
    Q_EMIT listed(indexOf(node));
}

void RemoteFileModel::merge(RemoteFileNode& node, const std::vector<RemoteEntry>& entries) {
    // Several names may decode to the same text, if their bytes are not valid.
    QHash<QString, QList<int>> ranks;
    ranks.reserve(static_cast<qsizetype>(entries.size()));
    for (std::size_t rank = entries.size(); rank > 0; --rank)
        ranks[entries[rank - 1].filename].append(static_cast<int>(rank - 1));
    if (node.cachedChildren) {
        for (const auto& child : *node.cachedChildren) {
            QList<int>& left = ranks[child->name()];
            child->nameRank = left.isEmpty() ? -1 : left.takeLast();
        }
    }
    removeChildren(node, [&](const RemoteFileNode& child) {
        return child.nameRank < 0 || isReplaced(child, entries[static_cast<std::size_t>(child.nameRank)]);
    });
    std::vector<bool> isKnown(entries.size());
    if (node.cachedChildren) {
        std::vector<const RemoteFileNode*> changed;
        for (const auto& child : *node.cachedChildren) {
            const auto rank = static_cast<std::size_t>(child->nameRank);
            const RemoteEntry& entry = entries[rank];
            isKnown[rank] = true;
            child->isToBeFollowed = child->isSymLink;
            const bool isSame =
                child->fileSize == entry.fileSize && child->modificationDate == entry.modificationDate;
            if (child->isSymLink || isSame)
                continue;
            child->fileSize = entry.fileSize;
            child->modificationDate = entry.modificationDate;
            changed.push_back(child.get());
        }
        nodesChanged(changed);
    }
    RemoteFileNode::Nodes added;
    for (std::size_t rank = 0; rank < entries.size(); ++rank) {
        if (isKnown[rank])
            continue;
        const RemoteEntry& entry = entries[rank];
        auto child = std::make_unique<RemoteFileNode>();
        child->path = node.pathOf(entry.filename);
        child->client = client_;
        child->kind = entry.kind;
        child->isSymLink = child->isToBeFollowed = entry.kind == RemoteFileKind::Link;
        child->fileSize = entry.fileSize;
        child->modificationDate = entry.modificationDate;
        child->nameRank = static_cast<int>(rank);
        child->parent = &node;
        added.push_back(std::move(child));
    }
    appendChildren(node, std::move(added));
    followLinks(node);
}

void RemoteFileModel::removeChildren(RemoteFileNode& node,
                                     const std::function<bool(const RemoteFileNode&)>& isGone) {
    if (!node.cachedChildren)
        return;
    RemoteFileNode::Nodes& children = *node.cachedChildren;
    // From the last row, so that the rows in front keep their numbers.
    for (auto end = static_cast<int>(children.size()); end > 0;) {
        if (!isGone(*children[static_cast<std::size_t>(end - 1)])) {
            --end;
            continue;
        }
        int first = end - 1;
        while (first > 0 && isGone(*children[static_cast<std::size_t>(first - 1)]))
            --first;
        beginRemoveRows(indexOf(node), first, end - 1);
        for (int row = first; row < end; ++row)
            forget(*children[static_cast<std::size_t>(row)]);
        children.erase(children.begin() + first, children.begin() + end);
        for (auto row = static_cast<std::size_t>(first); row < children.size(); ++row)
            children[row]->row = static_cast<int>(row);
        endRemoveRows();
        end = first;
    }
}

void RemoteFileModel::appendChildren(RemoteFileNode& node, RemoteFileNode::Nodes children) {
    if (!node.cachedChildren)
        node.cachedChildren.emplace();
    if (children.empty())
        return;
    RemoteFileNode::Nodes& all = *node.cachedChildren;
    const int first = static_cast<int>(all.size());
    beginInsertRows(indexOf(node), first, first + static_cast<int>(children.size()) - 1);
    for (auto& child : children) {
        child->row = static_cast<int>(all.size());
        all.push_back(std::move(child));
    }
    endInsertRows();
}

void RemoteFileModel::forget(const RemoteFileNode& node) {
    const auto isOfNode = [&node](const auto& waiting) { return waiting.second == &node; };
    std::erase_if(listings_, isOfNode);
    std::erase_if(linkSearches_, isOfNode);
    if (node.cachedChildren) {
        for (const auto& child : *node.cachedChildren)
            forget(*child);
    }
}

void RemoteFileModel::nodesChanged(const std::vector<const RemoteFileNode*>& siblings) {
    if (siblings.empty())
        return;
    // A proxy that sorts by the changed columns reads all rows between the first and the last one.
    const auto [first, last] = std::ranges::minmax_element(siblings, {}, &RemoteFileNode::row);
    Q_EMIT dataChanged(indexOf(**first), indexOf(**last));
}

// ---- Links

void RemoteFileModel::followLinks(RemoteFileNode& node) {
    const auto isOfNode = [&node](const auto& waiting) { return waiting.second == &node; };
    if (!node.cachedChildren || std::any_of(linkSearches_.begin(), linkSearches_.end(), isOfNode))
        return;
    std::vector<const RemoteFileNode*> links;
    for (const auto& child : *node.cachedChildren) {
        if (child->isToBeFollowed)
            links.push_back(child.get());
    }
    if (links.empty())
        return;
    const auto count = static_cast<std::ptrdiff_t>(std::min(links.size(), linksAtOnce));
    std::ranges::partial_sort(links, links.begin() + count, {}, &RemoteFileNode::nameRank);
    std::vector<QString> paths;
    for (std::ptrdiff_t i = 0; i < count; ++i)
        paths.push_back(links[static_cast<std::size_t>(i)]->path);
    const std::uint64_t number = ++lastNumber_;
    linkSearches_[number] = &node;
    queue_->run([client = client_, paths] { return client->followLinks(paths); })
        .then(std::weak_ptr(generation_), [this, number, paths](const auto& targets) {
            RemoteFileNode* searched = take(linkSearches_, number);
            // Without a connection, links are followed when the directory is refreshed.
            if (!searched || !targets)
                return;
            QHash<QString, const RemoteLinkTarget*> found;
            for (std::size_t i = 0; i < paths.size(); ++i)
                found.insert(paths[i], &targets.value()[i]);
            std::vector<const RemoteFileNode*> changed;
            for (const auto& child : *searched->cachedChildren) {
                const auto target = child->isToBeFollowed ? found.constFind(child->path) : found.cend();
                if (target == found.cend())
                    continue;
                takeTarget(*child, **target);
                changed.push_back(child.get());
            }
            nodesChanged(changed);
            followLinks(*searched);
        });
}

void RemoteFileModel::takeTarget(RemoteFileNode& link, const RemoteLinkTarget& target) {
    if (link.isDirectory() && target.kind != RemoteFileKind::Directory) {
        removeChildren(link, [](const RemoteFileNode&) { return true; });
        forget(link);
        link.listing = RemoteFileNode::Listing::None;
    }
    link.isToBeFollowed = false;
    link.kind = target.kind;
    link.fileSize = target.fileSize;
    link.modificationDate = target.modificationDate;
    if (!link.isDirectory() || link.listing == RemoteFileNode::Listing::None)
        link.fault = target.fault;
}

// ---- Display

QVariant RemoteFileModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid())
        return {};
    const RemoteFileNode& node = nodeOf(index);
    switch (role) {
    case Qt::DisplayRole:
        return displayText(node.name());
    case Qt::ToolTipRole:
        return displayText(node.path);
    case PathRole:
        return node.path;
    case IsDirectoryRole:
        return node.isDirectory();
    case IsFileRole:
        return node.kind == RemoteFileKind::Regular;
    case ImageNameRole:
        // A link keeps its own image, whatever its target.
        if (node.isSymLink)
            return QStringLiteral("symLink");
        return node.isDirectory() ? QStringLiteral("folder2") : QStringLiteral("blank");
    case FileSizeRole:
        return node.fileSize && !node.isDirectory() ? QVariant(*node.fileSize) : QVariant();
    case DateRole:
        return node.modificationDate;
    case FaultRole:
        if (node.kind == RemoteFileKind::Special)
            return tr("“%1” is no regular file.").arg(displayText(node.path));
        return displayText(node.fault);
    default:
        return {};
    }
}

} // namespace korvane
