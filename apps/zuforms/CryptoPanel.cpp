#include "apps/zuforms/Panel.h"
#include "controls/Crprmsed.h"

#include <QCoreApplication>
#include <QDir>
#include <QLabel>
#include <QVBoxLayout>

namespace zutools::zuforms {

namespace {

// The first of the files that is there, seen from this program; empty when none is.
QString FirstBuilt(const QStringList& Files) {
    const QDir Place(QCoreApplication::applicationDirPath());
    for (const QString& File : Files)
        if (Place.exists(File)) return QDir::cleanPath(Place.filePath(File));
    return {};
}

QString SampleEngine() {
    QStringList Files;
    for (const char* Folder : {"", "../../examples/cryptengine/"}) // the second in the build tree
        for (const char* Name : {"CryptCore2x.so", "CryptCore2x.dll"})
            Files += QLatin1String(Folder) + QLatin1String(Name);
    return FirstBuilt(Files);
}

// Sets what a form of an application would have stored.
void Load(TCryptoParamsEditor& Editor, const QString& Type, const QStringList& Params) {
    Editor.SetProbeInOwnProcess(false);
    Editor.SetCryptoEngineType(Type);
    Editor.SetCryptoParams(Params);
    Editor.FillCryptoControls();
}

void AskInOwnProcess(TCryptoParamsEditor& Editor, const char* Fault) {
    Editor.SetProbeInOwnProcess(true);
    qputenv("ZU_SAMPLE_FAULT", Fault); // for the process that this starts
    Editor.CheckClickHandler();
    qunsetenv("ZU_SAMPLE_FAULT");
}

} // namespace

TShown MakeCryptoPanel(QWidget* Parent) {
    auto* Page = new QWidget(Parent);
    auto* Layout = new QVBoxLayout(Page);
    auto* Editor = new TCryptoParamsEditor(Page);
    Editor->setObjectName(QStringLiteral("CryptoParams"));
    const QString Engine = SampleEngine();
    if (Engine.isEmpty()) {
        auto* Missing = new QLabel(
            Translated(
                "The sample engine CryptCore2x was not built: it needs libsodium. Put the path of another "
                "engine into LibName, then ask it."),
            Page);
        Missing->setWordWrap(true);
        Layout->addWidget(Missing);
        Layout->addWidget(Editor);
        return {Page, Editor, {{Translated("Ask the engine"), [Editor] { Editor->FillCryptoControls(); }}}};
    }
    Layout->addWidget(Editor);
    Editor->SetLibName(Engine);
    const QStringList Commented{QStringLiteral("Comment=") + Translated("For the orders")};
    const auto WithKey = [Editor, Commented] { Load(*Editor, QStringLiteral("TypeB"), Commented); };
    WithKey();
    std::vector<TState> States{{Translated("With a private key"), WithKey},
                               {Translated("With a PIN"), [Editor] {
                                    Load(*Editor, QStringLiteral("TypeA"), {QStringLiteral("PIN=1234")});
                                }}};
    if (const QString Probe = FirstBuilt({QStringLiteral("zuhost"), QStringLiteral("../zuhost/zuhost")});
        !Probe.isEmpty()) {
        Editor->SetProbeProgram(Probe);
        States.push_back({Translated("In its own process"), [Editor] { AskInOwnProcess(*Editor, ""); }});
        States.push_back({Translated("An engine that crashes there"),
                          [Editor] { AskInOwnProcess(*Editor, "crash@SignData"); }});
    }
    return {Page, Editor, States};
}

} // namespace zutools::zuforms
