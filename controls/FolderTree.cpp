#include "controls/FolderTree.h"

#include "controls/PackageIcons.h"
#include "controls/PathWorker.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

#include <algorithm>

namespace zutools {

namespace {

QStringList FoldersIn(const QString& Path, bool Hidden) {
    QDir::Filters Filters = QDir::Dirs | QDir::NoDotAndDotDot;
    if (Hidden) Filters |= QDir::Hidden;
    return QDir(Path).entryList(Filters, QDir::Name | QDir::IgnoreCase | QDir::LocaleAware);
}

QString Joined(const QString& Folder, const QString& Name) {
    return Folder.endsWith(u'/') ? Folder + Name : Folder + u'/' + Name;
}

bool Contains(const QString& Folder, const QString& Path) {
    return Path == Folder || Path.startsWith(Folder.endsWith(u'/') ? Folder : Folder + u'/');
}

} // namespace

TFolderTree::TFolderTree(std::vector<TFolderRoot> Roots, QObject* Owner)
    : QAbstractItemModel(Owner)
    , FIcon(PackageIcon(u"FILEOPEN")) {
    FTop.Fill = TFill::Read;
    for (TFolderRoot& Root : Roots) {
        auto Node = std::make_unique<TNode>();
        Node->Parent = &FTop;
        Node->Name = std::move(Root.Name);
        Node->Path = std::move(Root.Path);
        FTop.Children.push_back(std::move(Node));
    }
}

TFolderTree::~TFolderTree() = default;

TFolderTree::TNode* TFolderTree::NodeOf(const QModelIndex& Index) const {
    return Index.isValid() ? static_cast<TNode*>(Index.internalPointer()) : const_cast<TNode*>(&FTop);
}

QModelIndex TFolderTree::IndexOf(const TNode* Node) const {
    if (!Node || Node == &FTop) return {};
    const auto& Siblings = Node->Parent->Children;
    const auto Place = std::ranges::find(Siblings, Node, [](const auto& Each) { return Each.get(); });
    return createIndex(static_cast<int>(Place - Siblings.begin()), 0, Node);
}

QModelIndex TFolderTree::index(int Row, int Column, const QModelIndex& Parent) const {
    if (!hasIndex(Row, Column, Parent)) return {};
    return createIndex(Row, Column, NodeOf(Parent)->Children[static_cast<std::size_t>(Row)].get());
}

QModelIndex TFolderTree::parent(const QModelIndex& Child) const {
    return Child.isValid() ? IndexOf(NodeOf(Child)->Parent) : QModelIndex();
}

int TFolderTree::rowCount(const QModelIndex& Parent) const {
    return static_cast<int>(NodeOf(Parent)->Children.size());
}

int TFolderTree::columnCount(const QModelIndex& /*Parent*/) const {
    return 1;
}

// A folder that was not read yet may have some.
bool TFolderTree::hasChildren(const QModelIndex& Parent) const {
    const TNode& Node = *NodeOf(Parent);
    return Node.Fill != TFill::Read || !Node.Children.empty();
}

bool TFolderTree::canFetchMore(const QModelIndex& Parent) const {
    return NodeOf(Parent)->Fill == TFill::Unread;
}

void TFolderTree::fetchMore(const QModelIndex& Parent) {
    TNode& Node = *NodeOf(Parent);
    if (Node.Fill != TFill::Unread) return;
    const bool Asked =
        AskFileSystem(*this, [this, Path = Node.Path, Hidden = FShowHidden]() -> std::function<void()> {
            return [this, Path, Hidden, Names = FoldersIn(Path, Hidden)] {
                emit Reading(--FReading);
                if (Hidden == FShowHidden) Take(Path, Names);
            };
        });
    if (!Asked) return; // the threads all wait for the file system: the next expanding asks again
    Node.Fill = TFill::Asked;
    emit Reading(++FReading);
}

void TFolderTree::Take(const QString& Path, const QStringList& Names) {
    TNode* Node = NodeAt(Path);
    if (!Node || Node->Fill != TFill::Asked) return;
    if (!Names.isEmpty()) beginInsertRows(IndexOf(Node), 0, static_cast<int>(Names.size()) - 1);
    for (const QString& Name : Names) {
        auto Child = std::make_unique<TNode>();
        Child->Parent = Node;
        Child->Name = Name;
        Child->Path = Joined(Path, Name);
        Node->Children.push_back(std::move(Child));
    }
    Node->Fill = TFill::Read;
    if (!Names.isEmpty())
        endInsertRows();
    else
        emit dataChanged(IndexOf(Node), IndexOf(Node));
    GoOnReaching();
}

// The deepest folder of the tree on the way to the path, or the folder itself.
TFolderTree::TNode* TFolderTree::NodeAt(const QString& Path) const {
    TNode* Best = nullptr;
    for (const auto& Root : FTop.Children)
        if (Contains(Root->Path, Path) && (!Best || Root->Path.size() > Best->Path.size())) Best = Root.get();
    while (Best && Best->Path != Path) {
        const auto Next = std::ranges::find_if(
            Best->Children, [&](const auto& Child) { return Contains(Child->Path, Path); });
        if (Next == Best->Children.end()) break;
        Best = Next->get();
    }
    return Best;
}

QModelIndex TFolderTree::Find(const QString& Path) const {
    const TNode* Node = NodeAt(QDir::cleanPath(Path));
    return Node && Node->Path == QDir::cleanPath(Path) ? IndexOf(Node) : QModelIndex();
}

void TFolderTree::Reach(const QString& Path) {
    FGoal = QDir::cleanPath(QDir::fromNativeSeparators(Path));
    GoOnReaching();
}

void TFolderTree::GoOnReaching() {
    if (FGoal.isEmpty()) return;
    TNode* Node = NodeAt(FGoal);
    if (!Node) {
        FGoal.clear();
        return;
    }
    if (Node->Path != FGoal && Node->Fill == TFill::Unread) fetchMore(IndexOf(Node));
    if (Node->Path != FGoal && Node->Fill != TFill::Read) return;
    FGoal.clear();
    emit Found(IndexOf(Node));
}

void TFolderTree::Refresh(const QModelIndex& Folder) {
    TNode& Node = *NodeOf(Folder);
    if (&Node == &FTop) return;
    if (!Node.Children.empty()) {
        beginRemoveRows(Folder, 0, static_cast<int>(Node.Children.size()) - 1);
        Node.Children.clear();
        endRemoveRows();
    }
    Node.Fill = TFill::Unread;
    fetchMore(Folder);
}

void TFolderTree::SetShowHidden(bool Value) {
    if (Value == FShowHidden) return;
    FShowHidden = Value;
    beginResetModel();
    for (const auto& Root : FTop.Children) {
        Root->Children.clear();
        Root->Fill = TFill::Unread;
    }
    endResetModel();
}

QVariant TFolderTree::data(const QModelIndex& Index, int Role) const {
    const TNode& Node = *NodeOf(Index);
    switch (Role) {
    case Qt::DisplayRole:
        return Node.Fill == TFill::Asked ? tr("%1 (reading …)").arg(Node.Name) : Node.Name;
    case Qt::DecorationRole:
        return FIcon;
    case Qt::ToolTipRole:
    case PathRole:
        return Node.Path;
    default:
        return {};
    }
}

std::vector<TFolderRoot> RootsOf(int SpecialFolder) {
    const auto Standard = [](QStandardPaths::StandardLocation Location) {
        return std::vector{
            TFolderRoot{QStandardPaths::displayName(Location), QStandardPaths::writableLocation(Location)}};
    };
    const auto Drives = [] {
        std::vector<TFolderRoot> Result;
        for (const QFileInfo& Drive : QDir::drives()) Result.push_back({Drive.path(), Drive.path()});
        return Result;
    };
    switch (SpecialFolder) {
    case 2:
    case 22:
    case 23:
    case 11:
        return Standard(QStandardPaths::ApplicationsLocation);
    case 5:
        return Standard(QStandardPaths::DocumentsLocation);
    case 16:
    case 25:
        return Standard(QStandardPaths::DesktopLocation);
    case WholeComputer:
        return Drives();
    case 20:
        return Standard(QStandardPaths::FontsLocation);
    case 21:
        return {{TFolderTree::tr("Templates"), QDir::homePath() + QStringLiteral("/Templates")}};
    case 24:
    case 7:
        return {
            {TFolderTree::tr("Startup"), QStandardPaths::writableLocation(QStandardPaths::ConfigLocation) +
                                             QStringLiteral("/autostart")}};
    case 26:
        return Standard(QStandardPaths::AppDataLocation);
    default:
        break;
    }
    std::vector<TFolderRoot> Result = Standard(QStandardPaths::HomeLocation);
    for (TFolderRoot& Drive : Drives()) Result.push_back(std::move(Drive));
    return Result;
}

} // namespace zutools
