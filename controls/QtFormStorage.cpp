#include "controls/QtFormStorage.h"

#include "controls/QtApplication.h"
#include "controls/QtForm.h"
#include "host/Exception.h"

#include <QIcon>
#include <QMetaMethod>
#include <QStyle>

namespace zutools {

namespace {

QString ToText(std::u16string_view Text) {
    return QStringView(Text).toString();
}

} // namespace

/// Finds its components when they are needed first: by then the form's constructor has made them.
class TQtFormStorage::TStorage final : public TKXFormStorage {
public:
    explicit TStorage(TForm* Form)
        : TKXFormStorage(Form, TQtApplication::Instance()) {
        SetEvents();
    }
    void SaveProperties() override {
        Find();
        TKXFormStorage::SaveProperties();
    }
    void RestoreProperties() override {
        Find();
        TKXFormStorage::RestoreProperties();
    }
    void Forget() { FFound = false; }

private:
    void Find() {
        if (!std::exchange(FFound, true)) Loaded();
    }
    bool FFound = false;
};

TQtFormStorage::TQtFormStorage(QWidget* Form)
    : TFormComponent(Form) {
    TForm* const Owner = Designing() || Form == nullptr ? nullptr : &QtForm(*Form->window());
    auto* const Own = new TStorage(Owner);
    FStorage = Own->Reference();
    if (Designing()) setOptions({fpState, fpPosition});
    Own->OnSaveProperties = [this](TObject&) { Q_EMIT OnSaveProperties(); };
    Own->OnRestoreProperties = [this](TObject&) { Q_EMIT OnRestoreProperties(); };
    Own->OnNotice = [this](std::u16string_view Text) {
        static const QMetaMethod Notice = QMetaMethod::fromSignal(&TQtFormStorage::OnNotice);
        if (!isSignalConnected(Notice)) qWarning().noquote() << ToText(Text);
        Q_EMIT OnNotice(ToText(Text));
    };
}

TQtFormStorage::TQtFormStorage(QWidget* Form, const QStringList& StoredProps)
    : TQtFormStorage(Form) {
    setStoredProps(StoredProps);
    setStoredPlacement(true);
    setActive(true);
}

TQtFormStorage::~TQtFormStorage() {
    delete FStorage.Get();
}

TKXFormStorage& TQtFormStorage::Storage() const {
    auto* const Own = static_cast<TStorage*>(FStorage.Get());
    if (Own == nullptr) throw Exception(u"The form of this storage is gone");
    return *Own;
}

QString TQtFormStorage::IniFileName() const {
    return ToText(Storage().IniFileName());
}

void TQtFormStorage::setIniFileName(const QString& Value) {
    Storage().SetIniFileName(Value.toStdU16String());
}

QString TQtFormStorage::IniSection() const {
    return ToText(Storage().IniSection());
}

void TQtFormStorage::setIniSection(const QString& Value) {
    Storage().SetIniSection(Value.toStdU16String());
}

QStringList TQtFormStorage::StoredProps() const {
    QStringList Entries;
    const TStrings& Own = Storage().StoredProps();
    for (int Index = 0; Index < Own.Count(); ++Index) Entries += ToText(Own.Strings(Index));
    return Entries;
}

void TQtFormStorage::setStoredProps(const QStringList& Value) {
    TStringList Entries;
    for (const QString& Entry : Value) Entries.Add(Entry.toStdU16String());
    Storage().SetStoredProps(Entries);
    static_cast<TStorage&>(Storage()).Forget();
}

TQtFormStorage::RegistryRoot TQtFormStorage::GetRegistryRoot() const {
    return static_cast<enum RegistryRoot>(Storage().RegistryRoot());
}

void TQtFormStorage::setRegistryRoot(enum RegistryRoot Value) {
    Storage().SetRegistryRoot(static_cast<TPlacementRegRoot>(Value));
}

TQtFormStorage::PlacementOptions TQtFormStorage::Options() const {
    return PlacementOptions(static_cast<int>(Storage().Options().Bits()));
}

void TQtFormStorage::setOptions(PlacementOptions Value) {
    Storage().SetOptions(TPlacementOptions(static_cast<unsigned>(Value.toInt())));
}

void TQtFormStorage::setHost(TQtFormStorage* Value) {
    Storage().SetHost(Value == nullptr ? nullptr : &Value->Storage());
}

QIcon TQtFormStorage::Picture() const {
    return style()->standardIcon(QStyle::SP_DialogSaveButton);
}

} // namespace zutools
