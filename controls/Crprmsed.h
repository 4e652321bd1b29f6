// An editor of the parameters of a crypto engine: the types that an engine library offers, the parameters of
// one of them, values from a file, a sign test.
//
// For the user-interface thread, which a slow engine holds up; with `ProbeInOwnProcess` it does not, and a
// crash stays in that process. What the control does wrong of itself is told in English or translated; the
// captions are English in every language, as they have always been.

#pragma once

#include "crypto/Engine.h"
#include "crypto/ImportFile.h"
#include "crypto/Params.h"

#include <QStringList>
#include <QTimer>
#include <QWidget>

#include <deque>
#include <functional>

class QComboBox;
class QLabel;
class QMessageBox;
class QPushButton;
class QTableView;

namespace zutools {

class TCryptoGridModel;
class TEngineProbe;
class TSecretClipboard;
struct TEngineAnswer;
struct TEngineTask;

/// The functions of the engine library are methods (TCryptoEngine); they call it in this process.
class TCryptoParamsEditor : public QWidget, public TCryptoEngine {
    Q_OBJECT
    Q_CLASSINFO("secrets", "CryptoParams")
    Q_PROPERTY(QString LibName READ LibName WRITE SetLibName NOTIFY LibNameChanged)
    Q_PROPERTY(bool ShowErrorMessage READ ShowErrorMessage WRITE SetShowErrorMessage NOTIFY LookChanged)
    Q_PROPERTY(bool ShowCheckButton READ ShowCheckButton WRITE SetShowCheckButton NOTIFY LookChanged)
    Q_PROPERTY(bool ShowImportButton READ ShowImportButton WRITE SetShowImportButton NOTIFY LookChanged)
    Q_PROPERTY(bool ProbeInOwnProcess READ ProbeInOwnProcess WRITE SetProbeInOwnProcess NOTIFY ProbeChanged)
    Q_PROPERTY(QString ProbeProgram READ ProbeProgram WRITE SetProbeProgram NOTIFY ProbeChanged)
    Q_PROPERTY(int ProbeTimeout READ ProbeTimeout WRITE SetProbeTimeout NOTIFY ProbeChanged)
    Q_PROPERTY(QStringList CryptoParams READ CryptoParams WRITE SetCryptoParams NOTIFY CryptoParamsChanged)
    Q_PROPERTY(QString CryptoEngineType READ GetCryptoEngineType WRITE SetCryptoEngineType NOTIFY
                   CryptoEngineTypeChanged)
    Q_PROPERTY(bool InitCryptoControlsOnCreate READ InitCryptoControlsOnCreate WRITE
                   SetInitCryptoControlsOnCreate NOTIFY LookChanged)

public:
    explicit TCryptoParamsEditor(QWidget* Owner = nullptr);
    ~TCryptoParamsEditor() override;

    [[nodiscard]] QString LibName() const;
    /// Kept on purpose: a library that is loaded stays until FreeLib.
    void SetLibName(const QString& Value);
    [[nodiscard]] bool ShowErrorMessage() const { return FShowErrorMessage; }
    void SetShowErrorMessage(bool Value);
    [[nodiscard]] bool ShowCheckButton() const;
    void SetShowCheckButton(bool Value);
    [[nodiscard]] bool ShowImportButton() const;
    void SetShowImportButton(bool Value);
    [[nodiscard]] bool InitCryptoControlsOnCreate() const { return FInitOnCreate; }
    /// True fills the controls at once.
    void SetInitCryptoControlsOnCreate(bool Value);
    /// Whether the control asks the library through `ProbeProgram`, for at most `ProbeTimeout` milliseconds
    /// an answer. The form goes on meanwhile.
    [[nodiscard]] bool ProbeInOwnProcess() const { return FProbeInOwnProcess; }
    void SetProbeInOwnProcess(bool Value);
    /// "zuhost": beside the application or on the PATH.
    [[nodiscard]] QString ProbeProgram() const { return FProbeProgram; }
    void SetProbeProgram(const QString& Value);
    [[nodiscard]] int ProbeTimeout() const { return FProbeTimeout; }
    void SetProbeTimeout(int Value);

    /// What the grid holds; while it holds nothing, what was set.
    [[nodiscard]] QStringList CryptoParams() const;
    void SetCryptoParams(const QStringList& Value);
    /// Makes CryptoParams what the grid holds, and gives it. Kept on purpose: an empty grid empties it.
    QStringList GetCryptoParams();
    /// What the drop-down shows, which becomes the stored type; while it shows nothing, the stored one.
    QString GetCryptoEngineType();
    void SetCryptoEngineType(const QString& Value);

    /// Fills the drop-down unless it is filled, and the grid.
    void FillCryptoControls();
    void FillCryptoParams() { FillParams(false); }
    /// What the two buttons do.
    void ImportFromFileClickHandler();
    void CheckClickHandler();
    /// Shows what an import of the file would change, and does it when that is accepted. Never blocks.
    void ImportFrom(const QString& FileName);

    /// Undo and redo of values, whole imports and changes of the type.
    void Undo();
    void Redo();

    /// Keeps the message as the last error; shows it, when ShowErrorMessage is set, once the errors before
    /// are closed. The same message is not shown twice meanwhile.
    void HandleError(std::u16string_view Message) override;

signals:
    void LibNameChanged();
    void LookChanged();
    void ProbeChanged();
    void CryptoParamsChanged();
    void CryptoEngineTypeChanged();
    /// The library has answered; nothing is asked at the moment.
    void Answered();

protected:
    bool eventFilter(QObject* Watched, QEvent* Event) override;
    void hideEvent(QHideEvent* Event) override;

private:
    struct TBox {
        int Icon;
        QString Title, Text;
        bool operator==(const TBox&) const = default;
    };
    void MakeActions();
    void FillParams(bool Step);
    [[nodiscard]] TCryptoParams RowsFor(const QString& Type, const TEngineAnswer& Answer) const;
    void Ask(const TEngineTask& Task, std::function<void(const TEngineAnswer& Answer)> Then);
    void SetBusy(bool Value);
    void ShowModel();
    void ShowBox(TBox Box);
    void ShowNextBox();
    void SelectType(const QString& Type);
    void ShowSignature(const TEngineAnswer& Answer);
    void TakeFile(const QByteArray& Bytes);
    void Preview(const QString& Type, const TImportFile& File, const TCryptoParams& Rows);
    void RowChanged();
    void RevealSecret(bool Value);
    void CopyValue();

    bool FShowErrorMessage = true;
    bool FInitOnCreate = false;
    bool FProbeInOwnProcess = false;
    QString FProbeProgram = QStringLiteral("zuhost");
    int FProbeTimeout = 10'000;
    QStringList FStoredParams;
    QString FStoredType;
    TCryptoParamsModel FParams;
    TCryptoGridModel* FGrid;
    TEngineProbe* FProbe;
    TSecretClipboard* FClipboard;
    QComboBox* FTypes;
    QTableView* FTable;
    QPushButton* FImport;
    QPushButton* FCheck;
    QPushButton* FShow;
    QLabel* FStatus;
    QTimer FHideAgain;
    std::deque<TBox> FBoxes; // the first is on the screen when FBox is
    QMessageBox* FBox = nullptr;
};

} // namespace zutools
