// A field for the path of a log or data file: macros, browsing, a limit of the size, the settings of a
// logger.
//
// For the user-interface thread. The captions are Russian in every language, as they have always been.

#pragma once

#include "controls/Kxloger.h"
#include "controls/PathMacros.h"

#include <QLineEdit>
#include <QWidget>

#include <functional>

class QCheckBox;
class QComboBox;
class QLabel;
class QPushButton;
class QSpinBox;

namespace zutools {

class TTracerPanel;

/// An edit whose context menu inserts macros: its submenu "Параметры".
class TZUEdit : public QLineEdit {
    Q_OBJECT

public:
    using QLineEdit::QLineEdit;

    /// In place of the selection, at the caret; the caret stands behind it then.
    void InsertMacro(const QString& Name);

protected:
    void contextMenuEvent(QContextMenuEvent* Event) override;
};

/// Chooses in place of the desktop's dialog. @return whether something was chosen; then `Path` is it.
using TCustomChoosedEvent = std::function<bool(QString& Path)>;

class TZUFilePathChoser : public QWidget {
    Q_OBJECT
    Q_PROPERTY(QString FileName READ FileName WRITE SetFileName NOTIFY FileNameChanged USER true)
    Q_PROPERTY(qint64 MaxFileSize READ MaxFileSize WRITE SetMaxFileSize NOTIFY MaxFileSizeChanged)
    Q_PROPERTY(int FileSizeUnit READ FileSizeUnit WRITE SetFileSizeUnit NOTIFY FileSizeUnitChanged)
    Q_PROPERTY(bool ShowSizeLimit READ ShowSizeLimit WRITE SetShowSizeLimit NOTIFY LookChanged)
    Q_PROPERTY(bool ShowSizeUnit READ ShowSizeUnit WRITE SetShowSizeUnit NOTIFY LookChanged)
    Q_PROPERTY(
        bool SizeLimitEnabled READ SizeLimitEnabled WRITE SetSizeLimitEnabled NOTIFY MaxFileSizeChanged)
    Q_PROPERTY(bool ShowTracerParams READ ShowTracerParams WRITE SetShowTracerParams NOTIFY LookChanged)
    Q_PROPERTY(bool DropDown READ DropDown WRITE SetDropDown NOTIFY LookChanged)
    Q_PROPERTY(bool TracerEnabled READ TracerEnabled WRITE SetTracerEnabled NOTIFY TracerChanged)
    Q_PROPERTY(QString LogType READ LogType WRITE SetLogType NOTIFY TracerChanged)
    Q_PROPERTY(QString TraceID READ TraceID WRITE SetTraceID NOTIFY TracerChanged)
    Q_PROPERTY(bool GenerateTraceID READ GenerateTraceID WRITE SetGenerateTraceID NOTIFY TracerChanged)
    Q_PROPERTY(QString TracerHeader READ TracerHeader WRITE SetTracerHeader NOTIFY TracerChanged)
    Q_PROPERTY(QString TimeFormat READ TimeFormat WRITE SetTimeFormat NOTIFY TracerChanged)
    Q_PROPERTY(int AttemptsCount READ AttemptsCount WRITE SetAttemptsCount NOTIFY TracerChanged)
    Q_PROPERTY(int WaitTimeout READ WaitTimeout WRITE SetWaitTimeout NOTIFY TracerChanged)
    Q_PROPERTY(int ErrorHandlerType READ ErrorHandlerType WRITE SetErrorHandlerType NOTIFY TracerChanged)
    Q_PROPERTY(bool WriteImmediately READ WriteImmediately WRITE SetWriteImmediately NOTIFY TracerChanged)
    Q_PROPERTY(bool DisableOnError READ DisableOnError WRITE SetDisableOnError NOTIFY TracerChanged)
    Q_PROPERTY(bool NotUseLogerThread READ NotUseLogerThread WRITE SetNotUseLogerThread NOTIFY TracerChanged)

public:
    explicit TZUFilePathChoser(QWidget* Owner = nullptr);

    /// With its macros, as it was typed.
    [[nodiscard]] QString FileName() const { return GetEditText(); }
    void SetFileName(const QString& Value);
    [[nodiscard]] QString GetEditText() const;
    /// An editable drop-down in place of the plain edit; "%" opens its list of macros.
    void SetDropDown(bool Value);
    [[nodiscard]] bool DropDown() const { return FDropDown; }

    /// Bytes; 0 while there is no limit. Shown in the largest unit that leaves no rest.
    [[nodiscard]] qint64 MaxFileSize() const { return SizeLimitEnabled() ? FMaxFileSize : 0; }
    void SetMaxFileSize(qint64 Value);
    /// 0 bytes to 4 terabytes. The size stays; what is shown of it is rounded down.
    [[nodiscard]] int FileSizeUnit() const;
    void SetFileSizeUnit(int Value);
    [[nodiscard]] bool SizeLimitEnabled() const;
    void SetSizeLimitEnabled(bool Value);
    [[nodiscard]] bool ShowSizeLimit() const { return FShowSizeLimit; }
    void SetShowSizeLimit(bool Value);
    [[nodiscard]] bool ShowSizeUnit() const { return FShowSizeUnit; }
    void SetShowSizeUnit(bool Value);
    [[nodiscard]] bool ShowTracerParams() const { return FShowTracerParams; }
    void SetShowTracerParams(bool Value);

    [[nodiscard]] bool TracerEnabled() const { return Tracer().Enabled; }
    void SetTracerEnabled(bool Value) { Change(&TLogerSettings::Enabled, Value); }
    [[nodiscard]] QString LogType() const { return Tracer().LogType; }
    void SetLogType(const QString& Value) { Change(&TLogerSettings::LogType, Value); }
    [[nodiscard]] QString TraceID() const { return Tracer().TraceID; }
    void SetTraceID(const QString& Value) { Change(&TLogerSettings::TraceID, Value); }
    [[nodiscard]] bool GenerateTraceID() const { return Tracer().GenerateTraceID; }
    void SetGenerateTraceID(bool Value) { Change(&TLogerSettings::GenerateTraceID, Value); }
    [[nodiscard]] QString TracerHeader() const { return Tracer().Header; }
    void SetTracerHeader(const QString& Value) { Change(&TLogerSettings::Header, Value); }
    [[nodiscard]] QString TimeFormat() const { return Tracer().TimeFormat; }
    void SetTimeFormat(const QString& Value) { Change(&TLogerSettings::TimeFormat, Value); }
    [[nodiscard]] int AttemptsCount() const { return Tracer().AttemptsCount; }
    void SetAttemptsCount(int Value) { Change(&TLogerSettings::AttemptsCount, Value); }
    [[nodiscard]] int WaitTimeout() const { return Tracer().WaitTimeout; }
    void SetWaitTimeout(int Value) { Change(&TLogerSettings::WaitTimeout, Value); }
    [[nodiscard]] int ErrorHandlerType() const { return Tracer().ErrorHandlerType; }
    void SetErrorHandlerType(int Value) { Change(&TLogerSettings::ErrorHandlerType, Value); }
    [[nodiscard]] bool WriteImmediately() const { return Tracer().WriteImmediately; }
    void SetWriteImmediately(bool Value) { Change(&TLogerSettings::WriteImmediately, Value); }
    [[nodiscard]] bool DisableOnError() const { return Tracer().DisableOnError; }
    void SetDisableOnError(bool Value) { Change(&TLogerSettings::DisableOnError, Value); }
    [[nodiscard]] bool NotUseLogerThread() const { return Tracer().NotUseLogerThread; }
    void SetNotUseLogerThread(bool Value) { Change(&TLogerSettings::NotUseLogerThread, Value); }

    /// Shows the panel with the logger's settings; `Full` with log type and trace identifier.
    void EditTracer(const TKXLoger& Loger, bool Full);
    /// Writes the same settings back through the logger's setters.
    void CommitTracer(TKXLoger& Loger, bool Full) const;

    /// Lets a person choose the file. @return whether one was chosen.
    bool Choose();
    /// Opens the file, or its folder, with the desktop's program for it. Why it could not stands below the
    /// path.
    void OpenData();
    void ExploreData();

    /// The path with the values of its macros; "" where nothing is expanded.
    [[nodiscard]] QString Preview() const;

    TCustomChoosedEvent OnChoose; // empty: the desktop's file dialog

signals:
    /// `OpenData` or `ExploreData` could not, and why.
    void OpenFailed(const QString& Why);
    void FileNameChanged();
    void MaxFileSizeChanged();
    void FileSizeUnitChanged();
    void LookChanged();
    void TracerChanged();

protected:
    bool eventFilter(QObject* Watched, QEvent* Event) override;

private:
    void PathOnChange();
    void Tell(const QString& Text);
    void Open(const QString& Path);
    void OfferMacros();
    void UpdateMaxFileSize(std::int64_t Size, bool AutoUnit);
    [[nodiscard]] bool ChooseFileHandler(QString& Path);
    [[nodiscard]] TLogerSettings Tracer() const;
    template <class T>
    void Change(T TLogerSettings::* Field, const T& Value);
    void ShowTracer(const TLogerSettings& Settings);

    bool FDropDown = false;
    bool FShowSizeLimit = false;
    bool FShowSizeUnit = true;
    bool FShowTracerParams = false;
    std::int64_t FMaxFileSize = 0;
    TZUEdit* FEdit;
    QComboBox* FCombo;
    QPushButton* FOpen;
    QLabel* FPreview;
    QWidget* FSizeRow;
    QCheckBox* FLimit;
    QSpinBox* FSize;
    QComboBox* FUnit;
    TTracerPanel* FTracer;
};

} // namespace zutools
