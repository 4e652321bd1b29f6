// The actions of a control with keys that a person may change: each has a name of its own, by which its key
// is kept, and no two have one key.
//
// For the user-interface thread.

#pragma once

#include <QAction>
#include <QKeySequence>
#include <QObject>
#include <QStringList>

#include <functional>
#include <vector>

class QWidget;

namespace zutools {

class THotKeys : public QObject {
    Q_OBJECT

public:
    /// The keys hold while `Place`, or what stands on it, has the focus.
    explicit THotKeys(QWidget& Place);

    /// An action of `Place`. `Name` is for the store: letters, the same for ever.
    QAction& Add(const QString& Name, const QString& Text, const QKeySequence& Key, std::function<void()> Do);
    [[nodiscard]] const std::vector<QAction*>& Actions() const { return FActions; }
    /// Null for an unknown name.
    [[nodiscard]] QAction* Find(const QString& Name) const;

    /// Who would answer to the key, or to its beginning, beside `Except`: one of these or any other action of
    /// the window. Its text without the mark of the access key; empty: nobody.
    [[nodiscard]] QString Holder(const QKeySequence& Key, const QAction* Except) const;
    /// The same among the actions of the window outside only.
    [[nodiscard]] QString OutsideHolder(const QKeySequence& Key) const;
    /// @return false, the key as it was: another has it. An empty key is free always.
    bool SetKey(QAction& Action, const QKeySequence& Key);
    [[nodiscard]] QKeySequence UsualKey(const QAction& Action) const;

    /// The keys that are not the usual ones, "name=Ctrl+D" each; "name=" has none.
    [[nodiscard]] QStringList Changes() const;
    /// The usual keys with these changes. Names that are unknown are passed over; a key that an earlier line
    /// took is not given twice, and one that is usually another's is taken from that.
    /// @return the conflicts, a sentence each.
    QStringList SetChanges(const QStringList& Lines);

    /// A dialog in which a person changes them; conflicts are told beside the key. Returns at once.
    void Edit();

signals:
    void Changed();

private:
    [[nodiscard]] QAction* OwnHolder(const QKeySequence& Key, const QAction* Except) const;

    QWidget& FPlace;
    std::vector<QAction*> FActions;
    std::vector<QKeySequence> FUsual; // one an action
};

} // namespace zutools
