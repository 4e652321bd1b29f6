// What holds of every control.

#include "controls/Zudlg.h"
#include "controls/Zufpchooser.h"
#include "controls/Zufpsel.h"
#include "controls/Zuprogress.h"
#include "controls/Zuseldir.h"
#include "controls/Zuwaver.h"

#include <gmock/gmock.h>

#include <QApplication>
#include <QMetaProperty>
#include <QTimer>

#include <random>

extern Q_CORE_EXPORT quintptr qtHookData[]; // where Qt tells debuggers of its objects

namespace zutools::tests {

namespace {

template <class T>
std::unique_ptr<QWidget> Make() {
    auto Result = std::make_unique<T>();
    if constexpr (std::is_same_v<T, TZUWavePanel>) Result->OnComplaint = [](const QString&) {};
    return Result;
}

constexpr std::unique_ptr<QWidget> (*AllControls[])() = {
    Make<TBrowseForFolder>, Make<TZUDlg>,      Make<TZUFilePathChoser>,
    Make<TZUFPChooser>,     Make<TZUProgress>, Make<TZUWavePanel>,
};

QString Warnings;
void NoteWarning(QtMsgType Type, const QMessageLogContext& /*Context*/, const QString& Text) {
    // The platform without a display says so of each window.
    if (Type != QtDebugMsg && !Text.contains("propagateSizeHints")) Warnings += Text + u'\n';
}

class TRandomValues {
public:
    explicit TRandomValues(unsigned Seed)
        : FRandom(Seed) {}
    int Any(int From, int To) { return std::uniform_int_distribution(From, To)(FRandom); }

    QString Text() {
        static const QStringList Pieces{
            "",          "&OK", "%Date%",          "%", "a\tb", "/tmp/", "C:\\", "Привет",
            "\u202Eabc", "<b>", QString(300, u'W')};
        return Pieces[Any(0, static_cast<int>(Pieces.size()) - 1)] +
               Pieces[Any(0, static_cast<int>(Pieces.size()) - 1)];
    }
    QVariant For(const QMetaProperty& Property) {
        if (Property.isFlagType()) return Any(0, 0x1fff);
        if (Property.isEnumType())
            return Property.enumerator().value(Any(0, Property.enumerator().keyCount() - 1));
        switch (Property.typeId()) {
        case QMetaType::QColor:
            return QColor::fromRgb(static_cast<QRgb>(FRandom()));
        case QMetaType::QString:
            return Text();
        case QMetaType::QStringList:
            return QStringList{Text(), Text()}.mid(Any(0, 2));
        case QMetaType::QFont:
            return QFont(Text(), Any(1, 60));
        case QMetaType::QPixmap:
            return Any(0, 1) == 0 ? QPixmap() : QPixmap(Any(1, 64), Any(1, 64));
        case QMetaType::Bool:
            return Any(0, 1) == 1;
        default: {
            static constexpr int Extremes[] = {std::numeric_limits<int>::min(), -1, 0, 1,
                                               std::numeric_limits<int>::max()};
            return Any(0, 9) == 0 ? Extremes[Any(0, 4)] : Any(-50, 250);
        }
        }
    }

private:
    std::mt19937 FRandom;
};

// Any property of any control takes any value of its kind, and tells of it or stays as it was.
TEST(AllControls, TakeAnyValueWithoutAWarning) {
    const unsigned Seed = std::random_device()();
    SCOPED_TRACE(Seed);
    TRandomValues Values(Seed);
    Warnings.clear();
    const auto Before = qInstallMessageHandler(NoteWarning);
    for (const auto MakeControl : AllControls) {
        const auto Control = MakeControl();
        const QMetaObject& Meta = *Control->metaObject();
        const int First = QWidget::staticMetaObject.propertyCount();
        ASSERT_GT(Meta.propertyCount(), First) << Meta.className();
        int Told = 0;
        for (int I = First; I < Meta.propertyCount(); ++I) {
            if (!Meta.property(I).hasNotifySignal()) {
                ADD_FAILURE() << Meta.className() << "::" << Meta.property(I).name() << " tells nobody";
            }
        }
        for (int Round = 0; Round < 10'000; ++Round) {
            const QMetaProperty Property = Meta.property(Values.Any(First, Meta.propertyCount() - 1));
            if (!Property.isWritable()) continue;
            EXPECT_TRUE(Property.write(Control.get(), Values.For(Property))) << Property.name();
            Told += 1;
            Control->resize(Values.Any(0, 300), Values.Any(0, 60));
            if (Round % 500 == 0) Control->grab();
        }
        EXPECT_GT(Told, 5'000);
        EXPECT_EQ(Warnings, "") << Meta.className();
        Warnings.clear();
    }
    qInstallMessageHandler(Before);
}

// ---- 10,000 message boxes leave no object behind

std::atomic<qint64> Objects = 0;
void Added(QObject* /*Object*/) {
    ++Objects;
}
void Removed(QObject* /*Object*/) {
    --Objects;
}

TEST(Zudlg, LeavesNothingBehind) {
    constexpr int AddHook = 3; // of Qt's table for debuggers
    constexpr int RemoveHook = 4;
    TZUDlg Dlg;
    Dlg.SetMessage({"Once more?"});
    Dlg.SetIcon(TZUDlg::icConfirmation);
    Dlg.SetButtonsShowGlyph(true);
    const auto ShowOnce = [&Dlg] {
        QTimer::singleShot(0, &Dlg, [&Dlg] { Dlg.Form()->done(0); });
        Dlg.Show();
    };
    for (int I = 0; I < 10; ++I) ShowOnce(); // what Qt keeps for the whole process
    qtHookData[AddHook] = reinterpret_cast<quintptr>(&Added);
    qtHookData[RemoveHook] = reinterpret_cast<quintptr>(&Removed);
    qint64 Most = 0;
    for (int I = 0; I < 10'000; ++I) {
        ShowOnce();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        Most = std::max(Most, Objects.load());
    }
    qtHookData[AddHook] = qtHookData[RemoveHook] = 0;
    EXPECT_LE(Most, 2); // a timer that is being set up
    EXPECT_LE(Objects, 2);
}

} // namespace

} // namespace zutools::tests
