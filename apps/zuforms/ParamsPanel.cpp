#include "apps/zuforms/Panel.h"
#include "controls/ParamsRows.h"
#include "controls/Zuaskval.h"
#include "controls/Zuprmgrd.h"
#include "core/Lparams.h"

#include <QAction>
#include <QCoreApplication>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace zutools::zuforms {

namespace {

std::u16string Text(const char* Source) {
    return Translated(Source).toStdU16String();
}

std::vector<TParamField> ServiceFields() {
    return {{.Name = u"Host", .Hint = Text("Where the service runs"), .Required = true},
            {.Name = u"Port",
             .Hint = Text("From 1 to 65535"),
             .Kind = TParamKind::Number,
             .Required = true,
             .Least = 1,
             .Most = 65535},
            {.Name = u"Since", .Kind = TParamKind::Date},
            {.Name = u"Mode", .Kind = TParamKind::Choice, .Choices = {u"fast", u"safe"}},
            {.Name = u"Log", .Kind = TParamKind::File},
            {.Name = u"Color", .Kind = TParamKind::Color},
            {.Name = u"Retry", .Kind = TParamKind::YesNo},
            {.Name = u"Title", .Hint = Text("Without < and >"), .WrongValues = u"<,>"},
            {.Name = u"Password", .Kind = TParamKind::Secret}};
}

constexpr std::u16string_view Service =
    u"Host=orders.example\nPort=8080\nSince=2026-11-21\nMode=safe\nLog=/var/log/orders.log\nColor=#2f7fd1\n"
    u"Retry=True\nTitle=Orders\nPassword=not shown";

} // namespace

TShown MakeParamsPanel(QWidget* Parent) {
    auto* Page = new QWidget(Parent);
    auto* Layout = new QVBoxLayout(Page);
    auto* Grid = new TParamsGrid(Page);
    Grid->setObjectName(QStringLiteral("Grid"));
    Grid->SetFields(ServiceFields());
    Layout->addWidget(Grid);
    const auto Fill = [Grid](std::u16string_view Lines) {
        return [Grid, Lines] {
            Grid->SetOrder(TParamsGrid::orList);
            Grid->SetFilter({});
            Grid->Rows().SetText(Lines);
        };
    };
    Fill(Service)();
    return {
        Page,
        Grid,
        {{Translated("A service"), Fill(Service)},
         {Translated("With faults"),
          Fill(u"Host=\nPort=80800\nport=x\nSince=yesterday\nTitle=<b>\nPassword=not shown")},
         {Translated("10,000 rows"),
          [Grid] {
              std::u16string Lines;
              for (int Row = 0; Row < 10'000; ++Row)
                  Lines +=
                      QStringLiteral("name %1=value %2\n").arg(Row).arg(Row * 7919 % 10'007).toStdU16String();
              Grid->Rows().SetText(Lines);
          }},
         {Translated("Sorted by name"), [Grid] { Grid->SetOrder(TParamsGrid::orName); }}}};
}

TShown MakeAskPanel(QWidget* Parent) {
    auto* Page = new QWidget(Parent);
    auto* Layout = new QVBoxLayout(Page);
    auto* Ask = new QPushButton(Translated("&Ask for values"), Page);
    auto* Answer = new QLabel(Page);
    Answer->setTextFormat(Qt::PlainText);
    Layout->addWidget(Ask);
    Layout->addWidget(Answer);
    Layout->addStretch(1);
    auto* Dialog = new TAskValuesDlg(Page);
    Dialog->setObjectName(QStringLiteral("AskValues"));
    const auto Fill = [Dialog](std::u16string_view Lines) {
        return [Dialog, Lines] {
            TParamsList List;
            TParamsRows Rows;
            Rows.SetText(Lines);
            Rows.Store(List);
            Dialog->setWindowTitle(Translated("Connect"));
            Dialog->SetText(Translated("Which service do you want?"));
            Dialog->SetValues(List, ServiceFields());
        };
    };
    Fill(Service)();
    QObject::connect(Ask, &QPushButton::clicked, Dialog, &QDialog::open);
    QObject::connect(Dialog, &QDialog::accepted, Answer, [Dialog, Answer] {
        TParamsList List;
        Dialog->StoreTo(List);
        List.DeleteByName(u"Password");
        Answer->setText(QString::fromStdU16String(List.GetAsString()));
    });
    return {Page,
            Dialog,
            {{Translated("All pass"), Fill(Service)},
             {Translated("With faults"),
              Fill(u"Host=orders.example\nPort=80800\nTitle=<b>\nPassword=not shown")}},
            [Dialog, Fill] {
                Fill(u"Host=orders.example\nPort=80800\nMode=safe\nRetry=True\nTitle=Orders\nPassword=not "
                     u"shown")();
                Dialog->adjustSize();
                Dialog->show();
                const QPixmap Picture = Dialog->grab();
                Dialog->hide();
                return Picture;
            }};
}

} // namespace zutools::zuforms
