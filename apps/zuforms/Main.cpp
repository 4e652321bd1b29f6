// zuforms: a gallery of the controls.
//
// Exits with 0 when all is good, 1 when the job failed, 2 for wrong usage.

#include "apps/zuforms/Gallery.h"
#include "apps/zuforms/Look.h"
#include "apps/zuforms/Panel.h"
#include "apps/zuforms/Script.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QSysInfo>

#include <cstdio>
#include <variant>

namespace zutools::zuforms {

namespace {

enum TExit { Good = 0, Failed = 1, WrongUsage = 2 };

TExit Refuse(TExit Exit, const QString& Text) {
    std::fprintf(stderr, "zuforms: %s\n", qUtf8Printable(Text));
    return Exit;
}

QString PanelNames() {
    QStringList Names;
    for (const TPanel& Panel : Panels()) Names += QLatin1String(Panel.Name);
    return Names.join(QStringLiteral(", "));
}

// "640x480"; empty for anything else.
QSize SizeFrom(const QString& Text) {
    const QStringList Sides = Text.split(u'x');
    if (Sides.size() != 2) return {};
    const QSize Size(Sides[0].toInt(), Sides[1].toInt());
    return Size.width() > 0 && Size.height() > 0 && Size.width() <= 8192 && Size.height() <= 8192 ? Size
                                                                                                  : QSize();
}

int TakePicture(const TPanel& Panel, const QString& File, QSize Size) {
    QWidget Page;
    const TShown Shown = Panel.Make(&Page);
    Shown.Widget->resize(Size.isEmpty() ? Shown.Widget->sizeHint() : Size);
    Page.resize(Shown.Widget->size());
    Page.show();
    const QPixmap Picture = Shown.Picture ? Shown.Picture() : Shown.Widget->grab();
    if (!Picture.save(File, "PNG"))
        return Refuse(Failed, QStringLiteral("%1: the picture cannot be written there").arg(File));
    return Good;
}

void AddOptions(QCommandLineParser& Parser) {
    Parser.setApplicationDescription(QStringLiteral(
        "The controls of ZuTools, alive: their states, properties, events and a sample of each.\n\n"
        "  zuforms --panel wave\n"
        "  zuforms --shot progress progress.png --dark --scale 2\n"
        "  zuforms --script ask.lua"));
    Parser.addHelpOption();
    Parser.addOptions({
        {QStringLiteral("language"), QStringLiteral("Texts in that language: ru or en."),
         QStringLiteral("ID")},
        {QStringLiteral("store"),
         QStringLiteral("The settings file that keeps the window; zuforms.ini by itself."),
         QStringLiteral("FILE")},
        {QStringLiteral("panel"), QStringLiteral("Begin with that panel."), QStringLiteral("NAME")},
        {QStringLiteral("list"), QStringLiteral("The names of the panels, a line each.")},
        {QStringLiteral("shot"),
         QStringLiteral("A picture of that panel as PNG, without a display: --shot PANEL FILE.png."),
         QStringLiteral("PANEL")},
        {QStringLiteral("script"),
         QStringLiteral(
             "Run that Lua script in place of the gallery; what stands behind it is the script's. It "
             "asks with zu.ask_values, on the terminal where there is no display."),
         QStringLiteral("FILE.lua")},
        {QStringLiteral("size"), QStringLiteral("Of the picture, such as 640x480."), QStringLiteral("WxH")},
        {QStringLiteral("dark"), QStringLiteral("Light texts on a dark ground.")},
        {QStringLiteral("contrast"), QStringLiteral("White texts on black, as for weak eyes.")},
        {QStringLiteral("scale"), QStringLiteral("Pixels a point, 1 to 4."), QStringLiteral("N")},
        {QStringLiteral("rtl"), QStringLiteral("From right to left.")},
    });
    Parser.addPositionalArgument(QStringLiteral("FILE.png"), QStringLiteral("Where --shot writes."),
                                 QStringLiteral("[FILE.png]"));
}

/// What the arguments ask for.
struct TWish {
    const TPanel* Panel = nullptr; // null: the first
    QString Picture;               // empty: the gallery itself
    QString Script;                // in its place; empty: none
    QStringList ScriptArguments;
    QSize Size;
    QString Language;
    QString Store;
    TColors Colors = TColors::Desktop;
    bool RightToLeft = false;
};

// The wish, or the exit code when the arguments ask for nothing to show.
std::variant<TWish, TExit> Understand(const QStringList& Arguments) {
    QCommandLineParser Parser;
    AddOptions(Parser);
    if (!Parser.parse(Arguments)) return Refuse(WrongUsage, Parser.errorText());
    if (Parser.isSet(QStringLiteral("help"))) {
        std::fputs(qUtf8Printable(Parser.helpText()), stdout);
        return Good;
    }
    if (Parser.isSet(QStringLiteral("list"))) {
        for (const TPanel& Panel : Panels()) std::printf("%s\n", Panel.Name);
        return Good;
    }
    const bool Shot = Parser.isSet(QStringLiteral("shot"));
    const QStringList Files = Parser.positionalArguments();
    if (Shot && Files.size() != 1)
        return Refuse(WrongUsage, QStringLiteral("--shot PANEL FILE.png: one file is wanted"));
    const bool Script = Parser.isSet(QStringLiteral("script"));
    if (Script && Shot)
        return Refuse(WrongUsage, QStringLiteral("--script and --shot: one of them is wanted"));
    if (!Shot && !Script && !Files.isEmpty())
        return Refuse(WrongUsage, QStringLiteral("%1: unknown argument").arg(Files.first()));

    TWish Wish;
    const QString Name = Parser.value(Shot ? QStringLiteral("shot") : QStringLiteral("panel"));
    Wish.Panel = FindPanel(Name);
    if (!Wish.Panel && (Shot || Parser.isSet(QStringLiteral("panel"))))
        return Refuse(WrongUsage,
                      QStringLiteral("no panel is called \"%1\"; there are %2").arg(Name, PanelNames()));
    const QString Size = Parser.value(QStringLiteral("size"));
    Wish.Size = SizeFrom(Size);
    if (Parser.isSet(QStringLiteral("size")) && Wish.Size.isEmpty())
        return Refuse(WrongUsage,
                      QStringLiteral("--size %1: WxH in pixels is wanted, such as 640x480").arg(Size));
    const QString Scale = Parser.value(QStringLiteral("scale"));
    if (Parser.isSet(QStringLiteral("scale"))) {
        if (!(Scale.toDouble() >= 1 && Scale.toDouble() <= 4))
            return Refuse(WrongUsage,
                          QStringLiteral("--scale %1: a number from 1 to 4 is wanted").arg(Scale));
        qputenv("QT_SCALE_FACTOR", Scale.toLatin1()); // read when the application starts
    }
    Wish.Language = Parser.value(QStringLiteral("language"));
    if (Parser.isSet(QStringLiteral("language")) && !Languages().contains(Wish.Language))
        return Refuse(WrongUsage, QStringLiteral("--language %1: %2 is wanted")
                                      .arg(Wish.Language, Languages().join(QStringLiteral(" or "))));
    if (Shot) Wish.Picture = Files.first();
    if (Script) {
        Wish.Script = Parser.value(QStringLiteral("script"));
        Wish.ScriptArguments = Files;
    }
    Wish.Store = Parser.isSet(QStringLiteral("store")) ? Parser.value(QStringLiteral("store"))
                                                       : QStringLiteral("zuforms.ini");
    const bool Dark = Parser.isSet(QStringLiteral("dark"));
    const bool Contrast = Parser.isSet(QStringLiteral("contrast"));
    if (Dark && Contrast)
        return Refuse(WrongUsage, QStringLiteral("--dark and --contrast: one of them is wanted"));
    if (Dark) Wish.Colors = TColors::Dark;
    if (Contrast) Wish.Colors = TColors::Contrast;
    Wish.RightToLeft = Parser.isSet(QStringLiteral("rtl"));
    return Wish;
}

int Fulfil(QApplication& Application, const TWish& Wish) {
    UseLanguage(Application, Wish.Language);
    UseColors(Application, Wish.Colors);
    if (Wish.RightToLeft) QApplication::setLayoutDirection(Qt::RightToLeft);
    if (!Wish.Script.isEmpty())
        return RunScript(Wish.Script, Wish.ScriptArguments, TAskedOn::Screen) ? Good : Failed;
    if (!Wish.Picture.isEmpty()) return TakePicture(*Wish.Panel, Wish.Picture, Wish.Size);
    TGallery Gallery(Wish.Store);
    Gallery.show(); // which brings back the panel of the last time
    if (Wish.Panel) Gallery.Open(*Wish.Panel);
    return QApplication::exec();
}

// Whether windows can be shown; a platform that was asked for by name is taken at its word.
bool HasDisplay() {
    const auto IsSet = [](const char* Name) { return qEnvironmentVariableIsSet(Name); };
    return QSysInfo::kernelType() != u"linux" || IsSet("DISPLAY") || IsSet("WAYLAND_DISPLAY") ||
           IsSet("QT_QPA_PLATFORM");
}

int Run(int argc, char** argv) {
    QStringList Arguments;
    for (int I = 0; I < argc; ++I) Arguments += QString::fromLocal8Bit(argv[I]);
    const auto Understood = Understand(Arguments);
    if (const auto* Exit = std::get_if<TExit>(&Understood)) return *Exit;
    const TWish& Wish = std::get<TWish>(Understood);
    if (!Wish.Picture.isEmpty()) {
        if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
        QApplication::setStyle(QStringLiteral("Fusion"));
    } else if (!HasDisplay()) {
        if (!Wish.Script.isEmpty()) {
            QCoreApplication Application(argc, argv);
            UseLanguage(Application, Wish.Language);
            return RunScript(Wish.Script, Wish.ScriptArguments, TAskedOn::Terminal) ? Good : Failed;
        }
        return Refuse(
            Failed, QStringLiteral("there is no display for the gallery; --shot takes pictures without one"));
    }
    QApplication Application(argc, argv);
    return Fulfil(Application, Wish);
}

} // namespace

} // namespace zutools::zuforms

int main(int argc, char** argv) {
    return zutools::zuforms::Run(argc, argv);
}
