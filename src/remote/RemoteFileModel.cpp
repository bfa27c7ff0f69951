#include "remote/RemoteFileModel.h"

#include "remote/SFTPClient.h"

#include <QCollator>
#include <QLocale>

#include <algorithm>
#include <utility>

namespace korvane {
namespace {

constexpr int listingsAtOnce = 2;

/// Directories first, each kind by name as people sort names.
void sortForPeople(std::vector<SFTPClient::Entry>& entries) {
    // The locale "C" knows no numbers in names.
    const QLocale locale;
    QCollator collator(locale.language() == QLocale::C ? QLocale(QLocale::English) : locale);
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    collator.setNumericMode(true);
    std::vector<std::pair<QCollatorSortKey, SFTPClient::Entry>> keyed;
    keyed.reserve(entries.size());
    for (SFTPClient::Entry& entry : entries)
        keyed.emplace_back(collator.sortKey(entry.filename), std::move(entry));
    std::sort(keyed.begin(), keyed.end(), [](const auto& one, const auto& other) {
        if (one.second.isDirectory != other.second.isDirectory)
            return one.second.isDirectory;
        const int order = one.first.compare(other.first);
        return order != 0 ? order < 0 : one.second.filename < other.second.filename;
    });
    for (std::size_t i = 0; i < keyed.size(); ++i)
        entries[i] = std::move(keyed[i].second);
}

} // namespace

struct RemoteFileModel::Listing {
    std::vector<SFTPClient::Entry> entries;
    /// Why there are none; empty when there was an answer.
    QString fault;
};

RemoteFileModel::Listing RemoteFileModel::list(SFTPClient& client, const QString& path) {
    auto result = client.contentsOfDirectoryAtPath(path);
    if (!result)
        return {{}, result.error().userText};
    Listing listing{std::move(result).value(), {}};
    sortForPeople(listing.entries);
    return listing;
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
    root->isDirectory = true;
    return root;
}

void RemoteFileModel::setRootPath(const QString& path) {
    beginResetModel();
    queue_->cancelAllOperations();
    generation_ = std::make_shared<const bool>(true);
    root_ = makeRoot(path);
    pendingCount_ = 0;
    endResetModel();
    fetchMore({});
}

RemoteFileNode& RemoteFileModel::nodeOf(const QModelIndex& index) const {
    return index.isValid() ? *static_cast<RemoteFileNode*>(index.internalPointer()) : *root_;
}

QModelIndex RemoteFileModel::indexOf(const RemoteFileNode& node) const {
    return &node == root_.get() ? QModelIndex()
                                : createIndex(node.row, 0, const_cast<RemoteFileNode*>(&node));
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
    return nodeOf(parent).isDirectory;
}

bool RemoteFileModel::canFetchMore(const QModelIndex& parent) const {
    const RemoteFileNode& node = nodeOf(parent);
    return node.isDirectory && !node.isAskedFor;
}

void RemoteFileModel::fetchMore(const QModelIndex& parent) {
    if (!canFetchMore(parent))
        return;
    RemoteFileNode& node = nodeOf(parent);
    node.isAskedFor = true;
    ++pendingCount_;
    queue_->run([client = client_, path = node.path] { return list(*client, path); })
        .then(std::weak_ptr(generation_),
              [this, &node](const Listing& listing) { takeListing(node, listing); });
    Q_EMIT pendingCountChanged();
}

void RemoteFileModel::takeListing(RemoteFileNode& node, const Listing& listing) {
    RemoteFileNode::Nodes children;
    children.reserve(listing.entries.size());
    for (const SFTPClient::Entry& entry : listing.entries) {
        auto child = std::make_unique<RemoteFileNode>();
        child->path = node.pathOf(entry.filename);
        child->client = client_;
        child->isDirectory = entry.isDirectory;
        child->isSymLink = entry.isSymLink;
        child->parent = &node;
        child->row = static_cast<int>(children.size());
        children.push_back(std::move(child));
    }
    if (!children.empty())
        beginInsertRows(indexOf(node), 0, static_cast<int>(children.size()) - 1);
    const bool hasChildren = !children.empty();
    node.cachedChildren = std::move(children);
    if (hasChildren)
        endInsertRows();
    --pendingCount_;
    const QString path = node.path;
    Q_EMIT pendingCountChanged();
    if (listing.fault.isEmpty())
        Q_EMIT listed(path);
    else
        Q_EMIT listingFailed(path, listing.fault);
}

QVariant RemoteFileModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid())
        return {};
    const RemoteFileNode& node = nodeOf(index);
    switch (role) {
    case Qt::DisplayRole:
        return node.name();
    case Qt::ToolTipRole:
    case PathRole:
        return node.path;
    case IsDirectoryRole:
        return node.isDirectory;
    case ImageNameRole:
        // A link shows that it is one, wherever it leads.
        if (node.isSymLink)
            return QStringLiteral("symLink");
        return node.isDirectory ? QStringLiteral("folder2") : QStringLiteral("blank");
    default:
        return {};
    }
}

} // namespace korvane
