// A dialog that asks for named values: labels, kinds, what is required, checks.
//
//     TParamsList Answers;
//     Answers.Add(u"Host", u"localhost"); // stands there at first
//     if (TAskValuesDlg::Ask(Answers, "Connect", "Where is the service?",
//                            {{.Name = u"Port", .Kind = TParamKind::Number, .Required = true}}))
//         Connect(Answers);
//
// For the user-interface thread.

#pragma once

#include "controls/ParamFields.h"

#include <QDialog>

#include <vector>

class QDialogButtonBox;
class QFormLayout;
class QLabel;

namespace zutools {

class TParamsList;

class TAskValuesDlg : public QDialog {
    Q_OBJECT
    Q_PROPERTY(QString Text READ Text WRITE SetText NOTIFY TextChanged)
    Q_PROPERTY(bool Valid READ Valid NOTIFY Edited)
    Q_PROPERTY(QString Why READ Why NOTIFY Edited)

public:
    /// Shows the dialog and waits for the answer; runs the event loop meanwhile. Asked are the fields and all
    /// other entries of the list. A parameter that the list does not have begins empty.
    /// @return whether OK was pressed: only then the answers are in the list, which is else as it was.
    static bool Ask(TParamsList& List, const QString& Title, const QString& Text,
                    std::vector<TParamField> Fields = {}, QWidget* Owner = nullptr);

    /// For those who show it themselves: fill it, `open()`, and `StoreTo` when it is accepted.
    explicit TAskValuesDlg(QWidget* Owner = nullptr);
    void SetValues(const TParamsList& List, std::vector<TParamField> Fields);
    void StoreTo(TParamsList& List) const;

    /// Above the values; lines may be broken.
    void SetText(const QString& Value);
    [[nodiscard]] QString Text() const;
    /// Whether OK is possible.
    [[nodiscard]] bool Valid() const { return FWhy.isEmpty(); }
    /// Why it is not: the first fault with the label of its value; empty when it is possible.
    [[nodiscard]] const QString& Why() const { return FWhy; }
    /// The editor of a value, by the parameter's name; null for an unknown one.
    [[nodiscard]] QWidget* Editor(const QString& Name) const;

    /// Nothing while `Why` is not empty.
    void accept() override;

signals:
    void TextChanged();
    void Edited();

private:
    struct TAsked {
        QWidget* Editor;
        QLabel* Mark; // seen while the value has a fault
    };
    void AddRow(const TParamField& Field, const QString& Value);
    void Check();

    QLabel* FText;
    QFormLayout* FForm;
    QLabel* FWhyLabel;
    QDialogButtonBox* FButtons;
    TParamFields FFields;
    std::vector<TAsked> FAsked; // one a field
    QString FWhy;
};

} // namespace zutools
