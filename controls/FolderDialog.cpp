#include "controls/FolderDialog.h"

#include "controls/FolderTree.h"
#include "controls/PathWorker.h"
#include "controls/Zuwaver.h"

#include <QCheckBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileInfo>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTreeView>
#include <QVBoxLayout>

namespace zutools {

namespace {

constexpr unsigned StatusTextFlag = 0x4;
constexpr unsigned EditBoxFlag = 0x10;
constexpr int BusyHeight = 4;
constexpr int CharactersWide = 60;
constexpr int LinesHigh = 24;

class TFolderDialog final : public QDialog, public TFolderBrowserWindow {
public:
    explicit TFolderDialog(const TBrowseInfo& Info)
        : QDialog(Info.Owner)
        , FInfo(Info)
        , FTree(Roots(Info), this) {
        setWindowTitle(Info.Title);
        Build();
        connect(&FTree, &TFolderTree::Found, this, [this](const QModelIndex& Folder) {
            FView->setCurrentIndex(Folder);
            FView->scrollTo(Folder);
        });
        connect(&FTree, &TFolderTree::Reading, FBusy,
                [this](int Folders) { FBusy->setVisible(Folders > 0); });
        connect(FView->selectionModel(), &QItemSelectionModel::currentChanged, this,
                [this](const QModelIndex& Folder) { Selected(Folder); });
        if (FInfo.Callback) FInfo.Callback(*this, bm_Initialized, {}, FInfo.Data);
    }

    void Send(unsigned Message, std::intptr_t Param, const QString& Text) override {
        if (Message == bm_SetStatusText) FStatus->setText(Text);
        if (Message == bm_SetSelection && Param == 1) FTree.Reach(Text);
    }
    [[nodiscard]] TBrowsed Chosen() const {
        return {QDir::toNativeSeparators(FPath),
                QFileInfo(FPath).fileName().isEmpty() ? FPath : QFileInfo(FPath).fileName()};
    }

    // What was typed is looked up off this thread; the dialog ends when the answer is good.
    void accept() override {
        const QString Typed = QDir::fromNativeSeparators(FEdit->text());
        if (Typed.isEmpty()) return;
        FOk->setEnabled(false);
        const bool Asked = AskFileSystem(*this, [this, Typed]() -> std::function<void()> {
            return [this, Typed, There = QFileInfo(Typed).isDir()] { Answered(Typed, There); };
        });
        if (!Asked) FOk->setEnabled(true);
    }

private:
    static std::vector<TFolderRoot> Roots(const TBrowseInfo& Info) {
        if (!Info.RootPath.isEmpty())
            return {{QDir(Info.RootPath).dirName(), QDir::cleanPath(Info.RootPath)}};
        return RootsOf(Info.RootFolder.value_or(-1));
    }

    void Build() {
        auto* Rows = new QVBoxLayout(this);
        FStatus = new QLabel(this);
        FStatus->setObjectName(QStringLiteral("Status"));
        FStatus->setVisible((FInfo.Flags & StatusTextFlag) != 0);
        FView = new QTreeView(this);
        FView->setObjectName(QStringLiteral("Folders"));
        FView->setAccessibleName(TFolderTree::tr("Folders"));
        FView->setHeaderHidden(true);
        FView->setModel(&FTree);
        FBusy = new TZUWavePanel(this);
        FBusy->setFixedHeight(BusyHeight);
        FBusy->setAccessibleName(TFolderTree::tr("Reading folders"));
        FBusy->SetActive(true);
        FBusy->hide();
        FEdit = new QLineEdit(this);
        FEdit->setObjectName(QStringLiteral("Path"));
        FEdit->setAccessibleName(TFolderTree::tr("Path"));
        FEdit->setReadOnly((FInfo.Flags & EditBoxFlag) == 0);
        auto* Hidden = new QCheckBox(TFolderTree::tr("Show &hidden folders"), this);
        connect(Hidden, &QCheckBox::toggled, this, [this](bool On) {
            const QString Path = FPath;
            FTree.SetShowHidden(On);
            FTree.Reach(Path);
        });
        auto* Buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
        FOk = Buttons->button(QDialogButtonBox::Ok);
        FOk->setEnabled(false);
        auto* Make = Buttons->addButton(TFolderTree::tr("&New folder …"), QDialogButtonBox::ActionRole);
        connect(Make, &QPushButton::clicked, this, &TFolderDialog::NewFolder);
        connect(Buttons, &QDialogButtonBox::accepted, this, &TFolderDialog::accept);
        connect(Buttons, &QDialogButtonBox::rejected, this, &TFolderDialog::reject);
        connect(FEdit, &QLineEdit::textEdited, this,
                [this](const QString& Text) { FOk->setEnabled(!Text.isEmpty()); });
        for (QWidget* Row : std::initializer_list<QWidget*>{FStatus, FView, FBusy, FEdit, Hidden, Buttons})
            Rows->addWidget(Row);
        resize(fontMetrics().averageCharWidth() * CharactersWide, fontMetrics().height() * LinesHigh);
        FView->setFocus();
    }

    void Selected(const QModelIndex& Folder) {
        FPath = Folder.data(TFolderTree::PathRole).toString();
        FEdit->setText(QDir::toNativeSeparators(FPath));
        FOk->setEnabled(!FPath.isEmpty());
    }

    void Answered(const QString& Typed, bool There) {
        FOk->setEnabled(true);
        if (There) {
            FPath = Typed;
            return QDialog::accept();
        }
        FStatus->setVisible(true);
        FStatus->setText(TFolderTree::tr("There is no folder %1.").arg(QDir::toNativeSeparators(Typed)));
        const bool Stays =
            !FInfo.Callback || FInfo.Callback(*this, bm_ValidateFailed, Typed, FInfo.Data) != 0;
        if (!Stays) reject();
    }

    void NewFolder() {
        const QModelIndex Parent = FView->currentIndex();
        if (!Parent.isValid()) return;
        const QString Name = QInputDialog::getText(this, TFolderTree::tr("New folder"),
                                                   TFolderTree::tr("Name of the folder in %1:").arg(FPath));
        if (Name.isEmpty()) return;
        const QString Folder = FPath;
        AskFileSystem(*this, [this, Folder, Name]() -> std::function<void()> {
            const bool Plain = !Name.contains(u'/') && !Name.contains(u'\\') && Name != u"." && Name != u"..";
            const bool Made = Plain && QDir(Folder).mkdir(Name);
            return [this, Folder, Name, Made] { FolderMade(Folder, Name, Made); };
        });
    }

    void FolderMade(const QString& Folder, const QString& Name, bool Made) {
        if (!Made) {
            FStatus->setVisible(true);
            FStatus->setText(TFolderTree::tr("The folder %1 could not be made in %2.").arg(Name, Folder));
            return;
        }
        FTree.Refresh(FTree.Find(Folder));
        FTree.Reach(Folder + u'/' + Name);
    }

    const TBrowseInfo& FInfo;
    TFolderTree FTree;
    QString FPath;
    QLabel* FStatus = nullptr;
    QTreeView* FView = nullptr;
    TZUWavePanel* FBusy = nullptr;
    QLineEdit* FEdit = nullptr;
    QPushButton* FOk = nullptr;
};

} // namespace

std::optional<TBrowsed> ShowFolderDialog(const TBrowseInfo& Info) {
    TFolderDialog Dialog(Info);
    if (Dialog.exec() != QDialog::Accepted) return std::nullopt;
    return Dialog.Chosen();
}

} // namespace zutools
