#include "controls/SystemSounds.h"

#include <QLibrary>
#include <QSysInfo>
#include <QThreadPool>

#include <cstdint>

namespace zutools {

namespace {

struct TSoundNames {
    const char* Theme;    // of the desktop's sound theme
    unsigned int Windows; // of MessageBeep
};

TSoundNames NamesOf(TSystemSound Sound) {
    switch (Sound) {
    case TSystemSound::Asterisk:
        return {"dialog-information", 0x40};
    case TSystemSound::Exclamation:
        return {"dialog-warning", 0x30};
    case TSystemSound::Question:
        return {"dialog-question", 0x20};
    case TSystemSound::Beep:
        break;
    }
    return {"bell", 0};
}

void PlayByWindows(unsigned int Sound) {
    using TMessageBeep = int(unsigned int);
    if (auto* Beep =
            reinterpret_cast<TMessageBeep*>(QLibrary::resolve(QStringLiteral("user32"), "MessageBeep")))
        Beep(Sound);
}

// The sound theme's own player, loaded when it is there: a form needs no sound library to be installed.
class TThemePlayer {
public:
    static TThemePlayer& Instance() {
        static TThemePlayer Result;
        return Result;
    }
    void Play(const char* Name) {
        if (FContext) FPlay(FContext, 0, "event.id", Name, "canberra.cache-control", "volatile", nullptr);
    }

private:
    using TCreate = int(void** Context);
    using TPlay = int(void* Context, std::uint32_t Id, ...);

    TThemePlayer() {
        QLibrary Library(QStringLiteral("canberra"), 0);
        auto* Create = reinterpret_cast<TCreate*>(Library.resolve("ca_context_create"));
        FPlay = reinterpret_cast<TPlay*>(Library.resolve("ca_context_play"));
        if (Create && FPlay && Create(&FContext) != 0) FContext = nullptr;
    }

    TPlay* FPlay = nullptr;
    void* FContext = nullptr; // lives as long as the process: a sound may outlast the form
};

} // namespace

void PlaySystemSound(TSystemSound Sound) {
    const TSoundNames Names = NamesOf(Sound);
    QThreadPool::globalInstance()->start([Names] {
        if (QSysInfo::productType() == QLatin1String("windows"))
            PlayByWindows(Names.Windows);
        else
            TThemePlayer::Instance().Play(Names.Theme);
    });
}

} // namespace zutools
