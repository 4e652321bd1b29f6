#include "controls/QtObjects.h"

#include "controls/QtExtras.h"
#include "host/Exception.h"
#include "host/Format.h"
#include "host/StringHelpers.h"
#include "host/Strings.h"
#include "host/Variant.h"
#include "persistence/Forms.h"

#include <QMetaProperty>
#include <QPoint>
#include <QRect>
#include <QSize>

#include <algorithm>
#include <deque>
#include <unordered_map>
#include <utility>

namespace zutools {

namespace {

constexpr std::size_t MostFlags = 32; // that a set can hold

struct TMember {
    QMetaProperty Declared;
    const TQtExtra* Extra = nullptr; // in place of a declared one
    TTypeKind Kind = TTypeKind::tkUnknown;
    std::vector<std::uint64_t> Values{}; // of the identifiers of an enumeration or set

    [[nodiscard]] QVariant Get(const QObject& Object) const {
        return Extra != nullptr ? Extra->Get(Object) : Declared.read(&Object);
    }
    [[nodiscard]] bool Set(QObject& Object, const QVariant& Value) const {
        if (Extra == nullptr) return Declared.write(&Object, Value);
        Extra->Set(Object, Value);
        return true;
    }
};

// Texts are of the kind that is kept and read when it is empty too: an empty editor is what a form begins
// with.
struct TType {
    TTypeKind Kind = TTypeKind::tkUnknown;
    std::u16string_view Name{};
};

TType TypeOf(const QMetaProperty& Property) {
    const QMetaType Type = Property.metaType();
    if (Property.isFlagType()) return {TTypeKind::tkSet, u""};
    if (Property.isEnumType()) return {TTypeKind::tkEnumeration, u""};
    switch (Type.id()) {
    case QMetaType::Bool:
        return {TTypeKind::tkEnumeration, u"Boolean"};
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
        return {TTypeKind::tkInteger, u"Integer"};
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return {TTypeKind::tkInt64, u"Int64"};
    case QMetaType::Float:
        return {TTypeKind::tkFloat, u"Single"};
    case QMetaType::Double:
        return {TTypeKind::tkFloat, u"Double"};
    case QMetaType::QChar:
        return {TTypeKind::tkWChar, u"WideChar"};
    case QMetaType::QStringList:
        return {TTypeKind::tkClass, u"TStrings"};
    case QMetaType::QVariant:
        return {TTypeKind::tkVariant, u"Variant"};
    case QMetaType::QSize:
    case QMetaType::QPoint:
    case QMetaType::QRect:
    case QMetaType::QByteArray:
        return {TTypeKind::tkLString, u"string"};
    default:
        break;
    }
    if ((Type.flags() & QMetaType::PointerToQObject) != 0) return {TTypeKind::tkClass, u"TComponent"};
    const QMetaType Text = QMetaType::fromType<QString>();
    if (QMetaType::canConvert(Type, Text) && QMetaType::canConvert(Text, Type))
        return {TTypeKind::tkLString, u"string"};
    return {};
}

// ---- texts of types that have none

QString JoinedNumbers(std::initializer_list<int> Numbers) {
    QStringList Words;
    for (const int Number : Numbers) Words += QString::number(Number);
    return Words.join(u',');
}

QString TextOf(const QVariant& Value) {
    switch (Value.typeId()) {
    case QMetaType::QSize:
        return JoinedNumbers({Value.toSize().width(), Value.toSize().height()});
    case QMetaType::QPoint:
        return JoinedNumbers({Value.toPoint().x(), Value.toPoint().y()});
    case QMetaType::QRect: {
        const QRect Rect = Value.toRect();
        return JoinedNumbers({Rect.x(), Rect.y(), Rect.width(), Rect.height()});
    }
    case QMetaType::QByteArray:
        return QString::fromLatin1(Value.toByteArray().toBase64());
    default:
        return Value.toString();
    }
}

// Invalid when the text is none of the type.
QVariant ValueOf(const QString& Text, QMetaType Type) {
    const int Id = Type.id();
    if (Id == QMetaType::QByteArray) {
        const auto Bytes =
            QByteArray::fromBase64Encoding(Text.toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
        return Bytes ? QVariant(*Bytes) : QVariant();
    }
    const bool IsRect = Id == QMetaType::QRect;
    if (!IsRect && Id != QMetaType::QSize && Id != QMetaType::QPoint) {
        QVariant Value(Text);
        return Value.convert(Type) ? Value : QVariant();
    }
    const QStringList Words = Text.split(u',');
    if (Words.size() != (IsRect ? 4 : 2)) return {};
    int Numbers[4] = {};
    for (int Place = 0; Place < Words.size(); ++Place) {
        bool IsNumber = false;
        Numbers[Place] = Words[Place].trimmed().toInt(&IsNumber);
        if (!IsNumber) return {};
    }
    if (IsRect) return QRect(Numbers[0], Numbers[1], Numbers[2], Numbers[3]);
    if (Id == QMetaType::QSize) return QSize(Numbers[0], Numbers[1]);
    return QPoint(Numbers[0], Numbers[1]);
}

} // namespace

// ---- a class

/// The class info of a QMetaObject over `Parent`, and how each property is reached.
class TQtClass {
public:
    TQtClass(const QMetaObject& Meta, const TClassInfo& (*Parent)());

    TClassInfo Info;
    std::vector<TMember> Members; // as Info.Properties

private:
    using TGetter = TKXVariant (*)(const TObject&, int);
    using TSetter = void (*)(TObject&, const TKXVariant&, int);

    void Add(std::u16string Name, TType Type, TMember Member, bool Writable);
    void AddIdentifiers(TMember& Member);

    TGetter FGet;
    TSetter FSet;
    std::deque<std::u16string> FTexts; // that the views below look at
    std::deque<std::vector<std::u16string_view>> FIdentifiers;
    std::vector<TPropInfo> FProperties;
};

namespace {

template <class TBase>
TKXVariant ReadAt(const TObject& Self, int Index) {
    return static_cast<const TQtAdapter<TBase>&>(Self).ReadProperty(Index);
}
template <class TBase>
void WriteAt(TObject& Self, const TKXVariant& Value, int Index) {
    static_cast<TQtAdapter<TBase>&>(Self).WriteProperty(Index, Value);
}

} // namespace

TQtClass::TQtClass(const QMetaObject& Meta, const TClassInfo& (*Parent)())
    : FGet(Parent == &TForm::StaticClass ? ReadAt<TForm> : ReadAt<TComponent>)
    , FSet(Parent == &TForm::StaticClass ? WriteAt<TForm> : WriteAt<TComponent>) {
    // The most derived declaration of a name wins.
    for (int Index = Meta.propertyCount() - 1; Index >= 0; --Index) {
        const QMetaProperty Property = Meta.property(Index);
        const TType Type = TypeOf(Property);
        if (!Property.isReadable() || Type.Kind == TTypeKind::tkUnknown) continue;
        TMember Member{.Declared = Property, .Kind = Type.Kind};
        Add(QString::fromLatin1(Property.name()).toStdU16String(), Type, std::move(Member),
            Property.isWritable());
    }
    for (const TQtExtra& Extra : ExtraProperties()) {
        if (!Meta.inherits(Extra.Class)) continue;
        const TType Type =
            Extra.Lines ? TType{TTypeKind::tkClass, u"TStrings"} : TType{TTypeKind::tkLString, u"string"};
        Add(std::u16string(Extra.Name), Type, {.Declared = {}, .Extra = &Extra, .Kind = Type.Kind}, true);
    }
    Info.Name = FTexts.emplace_back(QString::fromLatin1(Meta.className()).toStdU16String());
    Info.Parent = Parent;
    Info.Properties = FProperties;
}

void TQtClass::Add(std::u16string Name, TType Type, TMember Member, bool Writable) {
    const bool Overridden =
        std::any_of(FProperties.begin(), FProperties.end(),
                    [&Name](const TPropInfo& Known) { return SameText(Known.Name, Name); });
    if (Overridden) return;
    const int Index = static_cast<int>(Members.size());
    TPropInfo Property{.Name = FTexts.emplace_back(std::move(Name)),
                       .Kind = Type.Kind,
                       .TypeName = Type.Name,
                       .Get = {FGet, Index},
                       .Set = nullptr};
    if (Writable) Property.Set = {FSet, Index};
    if (Type.Name.empty()) {
        AddIdentifiers(Member);
        Property.EnumNames = FIdentifiers.back();
        Property.TypeName =
            FTexts.emplace_back(QString::fromLatin1(Member.Declared.enumerator().name()).toStdU16String());
    }
    FProperties.push_back(Property);
    Members.push_back(std::move(Member));
}

// An enumeration has all of its keys. A set has the keys of one bit, and behind them those of several bits
// that are not the sum of others: no more than fit.
void TQtClass::AddIdentifiers(TMember& Member) {
    std::vector<std::u16string_view>& Names = FIdentifiers.emplace_back();
    const QMetaEnum Keys = Member.Declared.enumerator();
    const bool IsSet = Member.Kind == TTypeKind::tkSet;
    const auto Take = [&](int Key, std::uint64_t Value) {
        Names.push_back(FTexts.emplace_back(QString::fromLatin1(Keys.key(Key)).toStdU16String()));
        Member.Values.push_back(Value);
    };
    std::uint64_t Covered = 0;
    for (const bool Single : {true, false}) {
        for (int Key = 0; Key < Keys.keyCount(); ++Key) {
            const std::uint64_t Value = static_cast<std::uint32_t>(Keys.value(Key));
            if (!IsSet && Single) Take(Key, Value);
            if (!IsSet || std::has_single_bit(Value) != Single || (Value & ~Covered) == 0) continue;
            if (Names.size() == MostFlags) return;
            Covered |= Value;
            Take(Key, Value);
        }
    }
}

// ---- string lists

/// The lines of a property: shows them, and puts every change back into it.
class TQtObject::TLines final : public TStringList {
public:
    TLines(QObject& Object, const TMember& Member)
        : FObject(Object)
        , FMember(Member) {}

    void Refresh() {
        const QStringList Lines = FMember.Get(FObject).toStringList();
        const bool Same = Lines.size() == Count() && [&] {
            for (int Index = 0; Index < Count(); ++Index) {
                if (QStringView(Strings(Index)) != Lines[Index]) return false;
            }
            return true;
        }();
        if (Same) return;
        TStringList::Clear();
        for (const QString& Line : Lines) TStringList::Add(Line.toStdU16String());
    }
    void BeginUpdate() override { ++FUpdates; }
    void EndUpdate() override {
        if (--FUpdates == 0) PutBack();
    }
    void SetStrings(int Index, std::u16string_view Line) override {
        TStringList::SetStrings(Index, Line);
        PutBack();
    }
    int Add(std::u16string_view Line) override {
        const int Index = TStringList::Add(Line);
        PutBack();
        return Index;
    }
    void Insert(int Index, std::u16string_view Line) override {
        TStringList::Insert(Index, Line);
        PutBack();
    }
    void Delete(int Index) override {
        TStringList::Delete(Index);
        PutBack();
    }
    void Clear() override {
        TStringList::Clear();
        PutBack();
    }

private:
    void PutBack() {
        if (FUpdates != 0) return;
        QStringList Lines;
        for (int Index = 0; Index < Count(); ++Index) Lines += QStringView(Strings(Index)).toString();
        static_cast<void>(FMember.Set(FObject, Lines));
    }

    QObject& FObject;
    const TMember& FMember;
    int FUpdates = 0;
};

// ---- an object

TQtObject::TQtObject(QObject& Object)
    : FObject(Object) {}

TQtObject::~TQtObject() = default;

const TQtClass& TQtObject::Class(const TClassInfo& (*Parent)()) const {
    const QMetaObject* const Meta = FObject.metaObject();
    if (Meta == FMeta) return *FClass;
    static std::map<std::pair<const QMetaObject*, const void*>, TQtClass> Known;
    const auto Key = std::pair(Meta, reinterpret_cast<const void*>(Parent));
    auto Found = Known.find(Key);
    if (Found == Known.end()) {
        Found = Known.emplace(std::piecewise_construct, std::tuple(Key), std::tuple(std::cref(*Meta), Parent))
                    .first;
    }
    FMeta = Meta;
    FClass = &Found->second;
    FLines.clear();
    return *FClass;
}

TKXVariant TQtObject::Read(const TQtClass& Class, int Index) const {
    if (Index >= static_cast<int>(Class.Members.size())) return {}; // of the class that the object was
    const TMember& Member = Class.Members[static_cast<std::size_t>(Index)];
    const QVariant Value = Member.Get(FObject);
    switch (Member.Kind) {
    case TTypeKind::tkEnumeration: {
        if (Member.Values.empty()) return Value.toBool();
        const auto Ordinal =
            std::find(Member.Values.begin(), Member.Values.end(), static_cast<std::uint32_t>(Value.toInt()));
        return Ordinal == Member.Values.end() ? -1 : static_cast<int>(Ordinal - Member.Values.begin());
    }
    case TTypeKind::tkSet: {
        const std::uint64_t Bits = static_cast<std::uint32_t>(Value.toInt());
        std::uint32_t Members = 0;
        for (std::size_t Place = 0; Place < Member.Values.size(); ++Place) {
            if ((Bits & Member.Values[Place]) == Member.Values[Place]) Members |= 1U << Place;
        }
        return static_cast<int>(Members);
    }
    case TTypeKind::tkInteger:
        return static_cast<int>(Value.toLongLong());
    case TTypeKind::tkInt64:
        return std::int64_t{Value.toLongLong()};
    case TTypeKind::tkFloat:
        return Value.toDouble();
    case TTypeKind::tkWChar:
        return Value.toChar().unicode();
    case TTypeKind::tkClass:
        if (Member.Extra == nullptr && Member.Declared.typeId() != QMetaType::QStringList) {
            auto* const Held = Value.value<QObject*>();
            return PointerAsLVar(Held == nullptr ? nullptr : &QtComponent(*Held));
        }
        {
            std::unique_ptr<TLines>& Lines = FLines[Index];
            if (!Lines) Lines = std::make_unique<TLines>(FObject, Member);
            Lines->Refresh();
            return PointerAsLVar(Lines.get());
        }
    default:
        return TextOf(Value).toStdU16String();
    }
}

void TQtObject::Write(const TQtClass& Class, int Index, const TKXVariant& Value) {
    if (Index >= static_cast<int>(Class.Members.size())) return;
    const TMember& Member = Class.Members[static_cast<std::size_t>(Index)];
    const auto Taken = [&]() -> QVariant {
        const std::size_t Count = Member.Values.size();
        switch (Member.Kind) {
        case TTypeKind::tkEnumeration: {
            if (Count == 0) return Value.AsBoolean();
            const std::int64_t Ordinal = Value.AsInt64();
            if (Ordinal < 0 || Ordinal >= static_cast<std::int64_t>(Count)) return {};
            return static_cast<int>(
                static_cast<std::uint32_t>(Member.Values[static_cast<std::size_t>(Ordinal)]));
        }
        case TTypeKind::tkSet: {
            const auto Members = static_cast<std::uint64_t>(Value.AsInt64());
            std::uint64_t Bits = 0;
            for (std::size_t Place = 0; Place < Count; ++Place) {
                if ((Members >> Place & 1) != 0) Bits |= Member.Values[Place];
            }
            return static_cast<int>(static_cast<std::uint32_t>(Bits));
        }
        case TTypeKind::tkInteger: {
            // The bits of an unsigned one.
            const QVariant Number(Value.AsInteger());
            if (Member.Declared.typeId() == QMetaType::UInt) return static_cast<quint32>(Number.toInt());
            return Number;
        }
        case TTypeKind::tkInt64:
            return qlonglong{Value.AsInt64()};
        case TTypeKind::tkFloat:
            return Value.AsFloat();
        case TTypeKind::tkWChar:
            return QChar(Value.AsWideChar());
        case TTypeKind::tkClass: {
            if (auto* const Lines = ObjectCast<TStrings>(Value.AsObject())) {
                QStringList Texts;
                for (int Line = 0; Line < Lines->Count(); ++Line)
                    Texts += QStringView(Lines->Strings(Line)).toString();
                return Texts;
            }
            return QVariant::fromValue(QtObjectOf(Value.AsObject()));
        }
        case TTypeKind::tkVariant:
            return QStringView(Value.AsString()).toString();
        default: {
            const QString Text = QString::fromStdU16String(Value.AsString());
            return Member.Extra != nullptr ? QVariant(Text) : ValueOf(Text, Member.Declared.metaType());
        }
        }
    };
    const QVariant New = Taken();
    if (New.isValid() && Member.Set(FObject, New)) return;
    const std::u16string Text =
        Value.Kind() == TVariantKind::vkObject ? std::u16string(u"this object") : Value.AsString();
    throw Exception(
        Format(u"Property '%s' of class '%s' does not take %s",
               {Class.Info.Properties[static_cast<std::size_t>(Index)].Name, Class.Info.Name, Text}));
}

// ---- adapters

namespace {

std::unordered_map<const QObject*, TComponent*>& Components() {
    static auto& Known =
        *new std::unordered_map<const QObject*, TComponent*>; // components of statics die later
    return Known;
}

class TQtComponent final : public TQtAdapter<TComponent> {
public:
    TQtComponent(QObject& Object, TComponent* Owner)
        : TQtAdapter(Object, Owner) {
        RegisterQtComponent(Object, *this);
        FGone = QObject::connect(&Object, &QObject::destroyed, [this] { delete this; });
    }
    ~TQtComponent() override {
        QObject::disconnect(FGone);
        ForgetQtComponent(Object());
    }

private:
    QMetaObject::Connection FGone;
};

// The form that the object stands on; null when it stands on none that is known.
TComponent* FormOf(const QObject& Object) {
    for (const QObject* Above = Object.parent(); Above != nullptr; Above = Above->parent()) {
        if (TComponent* const Known = ObjectCast<TForm>(KnownQtComponent(Above))) return Known;
    }
    return nullptr;
}

} // namespace

void RegisterQtComponent(QObject& Object, TComponent& Component) {
    Components()[&Object] = &Component;
}

void ForgetQtComponent(const QObject& Object) {
    Components().erase(&Object);
}

TComponent* KnownQtComponent(const QObject* Object) {
    const auto Found = Components().find(Object);
    return Found == Components().end() ? nullptr : Found->second;
}

TComponent& QtComponent(QObject& Object) {
    if (TComponent* const Known = KnownQtComponent(&Object)) return *Known;
    return *new TQtComponent(Object, FormOf(Object)); // dies with the object, or with the form
}

QObject* QtObjectOf(const TObject* Component) {
    const auto* const Adapter = dynamic_cast<const TQtObject*>(Component);
    return Adapter == nullptr ? nullptr : &Adapter->Object();
}

template <class TBase>
const TClassInfo& TQtAdapter<TBase>::ClassInfo() const {
    return Class(&TBase::StaticClass).Info;
}

template <class TBase>
TKXVariant TQtAdapter<TBase>::ReadProperty(int Index) const {
    return Read(Class(&TBase::StaticClass), Index);
}

template <class TBase>
void TQtAdapter<TBase>::WriteProperty(int Index, const TKXVariant& Value) {
    Write(Class(&TBase::StaticClass), Index, Value);
}

template <class TBase>
TComponent* TQtAdapter<TBase>::FindComponent(std::u16string_view ComponentName) const {
    std::deque<const QObject*> Waiting{&Object()};
    for (; !Waiting.empty(); Waiting.pop_front()) {
        for (QObject* const Child : Waiting.front()->children()) {
            if (SameText(Child->objectName().toStdU16String(), ComponentName)) return &QtComponent(*Child);
            if (ObjectCast<TForm>(KnownQtComponent(Child)) == nullptr) Waiting.push_back(Child);
        }
    }
    // Components of ours stand on it too: a form's storage.
    return TBase::FindComponent(ComponentName);
}

template class TQtAdapter<TComponent>;
template class TQtAdapter<TForm>;

} // namespace zutools
