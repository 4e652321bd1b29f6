// QObjects as components: named objects with published properties, so that whatever stores properties or lets
// scripts reach them takes Qt's as its own.
//
//     TComponent& Edit = QtComponent(*Ui.EditName);
//     Edit.ClassInfo().FindProperty(u"text")->Get(Edit);
//
// Published are a class's Q_PROPERTYs and a few things that Qt keeps in functions only (`ExtraProperties` in
// QtExtras.h lists them: the sizes of a splitter, the sections of a header, the lines of an editor):
//
//     bool             Boolean                    QStringList            string list, live
//     int, uint, ...   Integer; 64 bits Int64     pointer to a QObject   component, by its name
//     float, double    Single, Double             QVariant               Variant
//     enum, flags      enumeration, set           QSize, QPoint, QRect   string "1,2" or "1,2,3,4"
//     QString and what QVariant turns into a text and back (fonts, colours, dates)   string
//
// For the user-interface thread.

#pragma once

#include "host/Components.h"

#include <QObject>

#include <map>
#include <memory>

namespace zutools {

class TQtClass;

/// What components and forms of Qt have in common: an object and its properties by index.
class TQtObject {
public:
    explicit TQtObject(QObject& Object);
    virtual ~TQtObject();
    TQtObject(const TQtObject&) = delete;
    TQtObject& operator=(const TQtObject&) = delete;

    [[nodiscard]] QObject& Object() const { return FObject; }
    /// Of the object's class as it is now: while an object is being destroyed, less and less.
    [[nodiscard]] const TQtClass& Class(const TClassInfo& (*Parent)()) const;
    [[nodiscard]] TKXVariant Read(const TQtClass& Class, int Index) const;
    /// @throws Exception naming the property, the class and the value that it does not take.
    void Write(const TQtClass& Class, int Index, const TKXVariant& Value);

private:
    class TLines;
    QObject& FObject;
    mutable const QMetaObject* FMeta = nullptr;
    mutable const TQtClass* FClass = nullptr;              // of FMeta
    mutable std::map<int, std::unique_ptr<TLines>> FLines; // string lists that were asked for
};

/// `TBase`, which is a TComponent, over a QObject. Its name is the objectName.
template <class TBase>
class TQtAdapter : public TBase, public TQtObject {
public:
    TQtAdapter(QObject& Object, TComponent* Owner)
        : TBase(Owner)
        , TQtObject(Object) {}
    [[nodiscard]] const TClassInfo& ClassInfo() const override;
    [[nodiscard]] std::u16string Name() const override { return Object().objectName().toStdU16String(); }
    void SetName(std::u16string_view Value) override {
        Object().setObjectName(QStringView(Value).toString());
    }
    /// Below the object, the nearest first; what stands on another form is that form's.
    [[nodiscard]] TComponent* FindComponent(std::u16string_view ComponentName) const override;

    [[nodiscard]] TKXVariant ReadProperty(int Index) const;
    void WriteProperty(int Index, const TKXVariant& Value);
};

/// The component of an object, made when it is asked for first. It belongs to the form that the object stands
/// on, if that is known (QtForm.h), and dies with the object.
[[nodiscard]] TComponent& QtComponent(QObject& Object);

/// The object behind a component of Qt; null for others.
[[nodiscard]] QObject* QtObjectOf(const TObject* Component);

// For those that make components of their own kind (QtForm.h): from now on `Component` stands for the object,
// or none does.
void RegisterQtComponent(QObject& Object, TComponent& Component);
void ForgetQtComponent(const QObject& Object);
[[nodiscard]] TComponent* KnownQtComponent(const QObject* Object);

} // namespace zutools
