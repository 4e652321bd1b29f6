// 10,000 rows of a parameter list in the grid's model, against QStandardItemModel behind a
// QSortFilterProxyModel doing the same, which has neither undo nor checks: filling, filtering, pasting,
// reading what a screen shows.

#include "bench/support/Ratio.h"
#include "controls/ParamsModel.h"

#include <QGuiApplication>
#include <QHash>
#include <QSortFilterProxyModel>
#include <QStandardItemModel>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <utility>

namespace zutools {
namespace {

constexpr int Rows = 10'000;
constexpr int OnAScreen = 40;

QString Table(QChar Between, int Salt) {
    QString Text;
    for (int Row = 0; Row < Rows; ++Row)
        Text += QStringLiteral("Parameter %1%2value number %3\n")
                    .arg(Row)
                    .arg(Between)
                    .arg((Row + Salt) * 7919 % 10'007);
    return Text;
}

class TPeer {
public:
    TPeer() {
        FProxy.setSourceModel(&FModel);
        FProxy.setFilterKeyColumn(-1);
        FProxy.setFilterCaseSensitivity(Qt::CaseInsensitive);
    }
    void Fill(const QString& Text) {
        FModel.clear();
        for (const QString& Line : Text.split(u'\n', Qt::SkipEmptyParts))
            Add(Line.section(u'=', 0, 0), Line.section(u'=', 1));
    }
    void Paste(const QString& Text) {
        QHash<QString, int> Known;
        for (int Row = 0; Row < FModel.rowCount(); ++Row)
            Known.insert(FModel.item(Row)->text().toLower(), Row);
        for (const QString& Line : Text.split(u'\n', Qt::SkipEmptyParts)) {
            const QStringList Cells = Line.split(u'\t');
            const auto At = Known.constFind(Cells[0].toLower());
            if (At != Known.constEnd())
                FModel.item(*At, 1)->setText(Cells[1]);
            else
                Add(Cells[0], Cells[1]);
        }
    }
    QSortFilterProxyModel& Shown() { return FProxy; }

private:
    void Add(const QString& Name, const QString& Value) {
        FModel.appendRow({new QStandardItem(Name), new QStandardItem(Value)});
    }
    QStandardItemModel FModel;
    QSortFilterProxyModel FProxy;
};

class TOurs {
public:
    void Fill(const QString& Text) { FModel.Rows().SetText(Text.toStdU16String()); }
    void Paste(const QString& Text) {
        FModel.Rows().Paste(CellsFromText(Text.toStdU16String()), 0, TParamColumn::Name, {});
    }
    TParamsModel& Shown() { return FModel; }

private:
    TParamsModel FModel;
};

void Filter(TPeer& Model, const QString& Text) {
    Model.Shown().setFilterFixedString(Text);
}
void Filter(TOurs& Model, const QString& Text) {
    Model.Shown().Rows().SetFilter(Text.toStdU16String());
}

// Each run differs from the one before, so that no work is saved.
template <class TModel>
void Fill(benchmark::State& State) {
    const QString Texts[] = {Table(u'=', 0), Table(u'=', 1)};
    TModel Model;
    bool Odd = false;
    for (auto _ : State) Model.Fill(Texts[Odd = !Odd]);
}

template <class TModel>
void Paste(benchmark::State& State) {
    const QString Texts[] = {Table(u'\t', 2), Table(u'\t', 3)};
    TModel Model;
    Model.Fill(Table(u'=', 0));
    bool Odd = false;
    for (auto _ : State) Model.Paste(Texts[Odd = !Odd]);
}

template <class TModel>
void FilterAsTyped(benchmark::State& State) {
    TModel Model;
    Model.Fill(Table(u'=', 0));
    const QString Typed[] = {QStringLiteral("n"), QStringLiteral("nu"), QStringLiteral("num"),
                             QStringLiteral("number 7"), QString()};
    std::size_t Key = 0;
    for (auto _ : State) {
        Filter(Model, Typed[Key++ % std::size(Typed)]);
        benchmark::DoNotOptimize(Model.Shown().rowCount());
    }
}

// What a view asks for when it paints one screen.
template <class TModel>
void ReadAScreen(benchmark::State& State) {
    TModel Model;
    Model.Fill(Table(u'=', 0));
    const QAbstractItemModel& Shown = Model.Shown();
    int From = 0;
    for (auto _ : State) {
        From = (From + OnAScreen) % (Rows - OnAScreen);
        for (int Row = From; Row < From + OnAScreen; ++Row)
            for (int Column = 0; Column < 2; ++Column)
                for (const int Role : {int{Qt::DisplayRole}, int{Qt::DecorationRole}, int{Qt::CheckStateRole},
                                       int{Qt::FontRole}, int{Qt::TextAlignmentRole}, int{Qt::ForegroundRole},
                                       int{Qt::BackgroundRole}})
                    benchmark::DoNotOptimize(Shown.index(Row, Column).data(Role));
    }
}

void UndoAndRedoOfAPaste(benchmark::State& State) {
    TOurs Model;
    Model.Fill(Table(u'=', 0));
    Model.Paste(Table(u'\t', 2));
    for (auto _ : State) {
        Model.Shown().Rows().Undo();
        Model.Shown().Rows().Redo();
    }
}

void FaultsOfAllRows(benchmark::State& State) {
    TOurs Model;
    Model.Fill(Table(u'=', 0));
    bool Odd = false;
    for (auto _ : State) {
        Model.Shown().Rows().SetName(5000, (Odd = !Odd) ? u"a" : u"b");
        benchmark::DoNotOptimize(Model.Shown().Rows().CountOfFaults());
    }
}

BENCHMARK(Fill<TOurs>)->Unit(benchmark::kMillisecond);
BENCHMARK(Fill<TPeer>)->Unit(benchmark::kMillisecond);
BENCHMARK(Paste<TOurs>)->Unit(benchmark::kMillisecond);
BENCHMARK(Paste<TPeer>)->Unit(benchmark::kMillisecond);
BENCHMARK(FilterAsTyped<TOurs>)->Unit(benchmark::kMillisecond);
BENCHMARK(FilterAsTyped<TPeer>)->Unit(benchmark::kMillisecond);
BENCHMARK(ReadAScreen<TOurs>)->Unit(benchmark::kMillisecond);
BENCHMARK(ReadAScreen<TPeer>)->Unit(benchmark::kMillisecond);
BENCHMARK(UndoAndRedoOfAPaste)->Unit(benchmark::kMillisecond);
BENCHMARK(FaultsOfAllRows)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace zutools

int main(int argc, char** argv) {
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication Application(argc, argv);
    benchmark::Initialize(&argc, argv);
    zutools::TRatioReporter Times;
    benchmark::RunSpecifiedBenchmarks(&Times);
    std::printf("\n10,000 rows, times of QStandardItemModel divided by ours:\n");
    for (const char* Name : {"Fill", "Paste", "FilterAsTyped", "ReadAScreen"}) {
        const double Ours = Times.Best(std::string(Name) + "<TOurs>");
        if (Ours > 0) std::printf("  %-14s %5.2f\n", Name, Times.Best(std::string(Name) + "<TPeer>") / Ours);
    }
    return 0;
}
