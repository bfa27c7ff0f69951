#pragma once

#include <QString>

#include <memory>
#include <utility>
#include <vector>

namespace korvane {

class BookmarkEntry;

/// One row of the outline of bookmarks, with the rows below it. Main thread.
class BookmarkTreeNode {
public:
    virtual ~BookmarkTreeNode() = default;
    BookmarkTreeNode(const BookmarkTreeNode&) = delete;
    BookmarkTreeNode& operator=(const BookmarkTreeNode&) = delete;

    const QString& name() const { return name_; }
    /// The name of the image beside the text; empty for none.
    const QString& nodeImg() const { return nodeImg_; }
    /// Whether it is one of the two categories.
    virtual bool isGroup() const { return false; }
    /// Whether the node represents one bookmark.
    bool isFileEntry() const { return representedObject_ != nullptr; }
    /// The bookmark, null for all other nodes.
    const std::shared_ptr<BookmarkEntry>& representedObject() const { return representedObject_; }

    using Nodes = std::vector<std::unique_ptr<BookmarkTreeNode>>;
    const Nodes& children() const { return children_; }
    /// Null at the top.
    const BookmarkTreeNode* parent() const { return parent_; }
    /// Its index among its parent's children; 0 at the top.
    int row() const { return row_; }

    /// Adds the child at the end; returns it.
    template <typename Node>
    Node& addChild(std::unique_ptr<Node> child) {
        Node& added = *child;
        child->parent_ = this;
        child->row_ = static_cast<int>(children_.size());
        children_.push_back(std::move(child));
        return added;
    }

protected:
    explicit BookmarkTreeNode(QString name, QString nodeImg = {},
                              std::shared_ptr<BookmarkEntry> representedObject = nullptr)
        : name_(std::move(name)), nodeImg_(std::move(nodeImg)),
          representedObject_(std::move(representedObject)) {}

private:
    const QString name_;
    const QString nodeImg_;
    const std::shared_ptr<BookmarkEntry> representedObject_;
    Nodes children_;
    const BookmarkTreeNode* parent_ = nullptr;
    int row_ = 0;
};

class BookmarkCategoryNode : public BookmarkTreeNode {
public:
    explicit BookmarkCategoryNode(QString name) : BookmarkTreeNode(std::move(name)) {}
    bool isGroup() const override { return true; }
};

class BookmarkServerGroupNode : public BookmarkTreeNode {
public:
    explicit BookmarkServerGroupNode(QString name)
        : BookmarkTreeNode(std::move(name), QStringLiteral("server_group")) {}
};

class BookmarkServerNode : public BookmarkTreeNode {
public:
    explicit BookmarkServerNode(QString name) : BookmarkTreeNode(std::move(name), QStringLiteral("server")) {}
};

class BookmarkFileNode : public BookmarkTreeNode {
public:
    BookmarkFileNode(QString name, std::shared_ptr<BookmarkEntry> entry)
        : BookmarkTreeNode(std::move(name), QStringLiteral("file"), std::move(entry)) {}
};

} // namespace korvane
