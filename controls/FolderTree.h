// The folders below some roots as a tree that is filled while it is opened. The file system is asked on
// threads of its own (PathWorker.h).

#pragma once

#include <QAbstractItemModel>
#include <QIcon>

#include <memory>
#include <vector>

namespace zutools {

struct TFolderRoot {
    QString Name; // as shown
    QString Path;
};

class TFolderTree : public QAbstractItemModel {
    Q_OBJECT

public:
    enum TRole { PathRole = Qt::UserRole };

    explicit TFolderTree(std::vector<TFolderRoot> Roots, QObject* Owner = nullptr);
    ~TFolderTree() override;

    /// Hidden folders too; the tree is read anew.
    void SetShowHidden(bool Value);
    /// The place of a folder that is in the tree already; invalid for any other.
    [[nodiscard]] QModelIndex Find(const QString& Path) const;
    /// Reads the folders on the way to that one, then tells with `Found`.
    void Reach(const QString& Path);
    /// Reads what is in the folder anew.
    void Refresh(const QModelIndex& Folder);

    [[nodiscard]] QModelIndex index(int Row, int Column, const QModelIndex& Parent = {}) const override;
    [[nodiscard]] QModelIndex parent(const QModelIndex& Child) const override;
    [[nodiscard]] int rowCount(const QModelIndex& Parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& Parent = {}) const override;
    [[nodiscard]] bool hasChildren(const QModelIndex& Parent = {}) const override;
    [[nodiscard]] bool canFetchMore(const QModelIndex& Parent) const override;
    void fetchMore(const QModelIndex& Parent) override;
    [[nodiscard]] QVariant data(const QModelIndex& Index, int Role) const override;

signals:
    /// `Reach` came as far as the folder, or as its last parent that is there.
    void Found(const QModelIndex& Folder);
    /// How many folders are being read now.
    void Reading(int Folders);

private:
    enum class TFill { Unread, Asked, Read };
    struct TNode {
        TNode* Parent = nullptr;
        QString Name;
        QString Path;
        TFill Fill = TFill::Unread;
        std::vector<std::unique_ptr<TNode>> Children;
    };

    [[nodiscard]] TNode* NodeOf(const QModelIndex& Index) const;
    [[nodiscard]] QModelIndex IndexOf(const TNode* Node) const;
    [[nodiscard]] TNode* NodeAt(const QString& Path) const;
    void Take(const QString& Path, const QStringList& Names);
    void GoOnReaching();

    TNode FTop;
    bool FShowHidden = false;
    int FReading = 0;
    QString FGoal; // of Reach; empty: none
    QIcon FIcon;
};

/// The roots for one of the shell's special folders, mapped to the desktop's; the home folder and the whole
/// file system for any other number.
[[nodiscard]] std::vector<TFolderRoot> RootsOf(int SpecialFolder);
inline constexpr int WholeComputer = 17;

} // namespace zutools
