#include "apps/zuforms/Panel.h"
#include "controls/Zudlg.h"

#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

namespace zutools::zuforms {

namespace {

// The box as it appears, taken while it runs.
QPixmap PictureOf(TZUDlg& Dlg) {
    QPixmap Picture;
    QTimer::singleShot(0, &Dlg, [&] {
        QTimer::singleShot(0, &Dlg, [&] {
            Picture = Dlg.Form()->grab();
            Dlg.Form()->done(0);
        });
    });
    Dlg.Show();
    return Picture;
}

void Ask(TZUDlg& Dlg) {
    Dlg.SetTitle(Translated("Orders"));
    Dlg.SetMessage(
        {Translated("Order 1042 was changed by somebody else."), Translated("Save your text over it?")});
    Dlg.SetButtons({Translated("&Save"), Translated("&Discard"), Translated("&Cancel")});
    Dlg.SetDefault(0);
    Dlg.SetCancel(2);
    Dlg.SetIcon(TZUDlg::icConfirmation);
    Dlg.SetWAV(TZUDlg::wavQuestion);
}

void Tell(TZUDlg& Dlg, TZUDlg::TDefaultIcons Icon, const char* Text) {
    Dlg.SetMessage({Translated(Text)});
    Dlg.SetButtons({QStringLiteral("&OK")});
    Dlg.SetDefault(0);
    Dlg.SetCancel(0);
    Dlg.SetIcon(Icon);
}

} // namespace

TShown MakeMessagePanel(QWidget* Parent) {
    auto* Page = new QWidget(Parent);
    auto* Dlg = new TZUDlg(Page);
    Ask(*Dlg);
    Dlg->SetButtonsShowGlyph(true);
    Dlg->SetButtonsGlyph({QStringLiteral("ok"), QStringLiteral("no"), QStringLiteral("cancel")});
    auto* Show = new QPushButton(Translated("S&how the message box"), Page);
    QObject::connect(Show, &QPushButton::clicked, Dlg, [Dlg] { Dlg->Show(); });
    auto* Layout = new QVBoxLayout(Page);
    Layout->addWidget(Show, 0, Qt::AlignCenter);

    return {Page,
            Dlg,
            {{Translated("Question"), [Dlg] { Ask(*Dlg); }},
             {Translated("Warning"), [Dlg] { Tell(*Dlg, TZUDlg::icWarning, "The disk is nearly full."); }},
             {Translated("Error"), [Dlg] { Tell(*Dlg, TZUDlg::icError, "The file could not be written."); }},
             {Translated("Long text"),
              [Dlg] {
                  Tell(*Dlg, TZUDlg::icInformation, "Done.");
                  Dlg->SetMessage(QStringList(200, Translated("The disk is nearly full.")));
              }}},
            [Dlg] { return PictureOf(*Dlg); }};
}

} // namespace zutools::zuforms
