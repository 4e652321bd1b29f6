// Settings files against a copy of their bytes, a plain write of them, and QSettings in its INI form.
//
// Syncs are switched off for everybody by the functions below: they belong to the disk.

#include "platform/SettingsFile.h"
#include "platform/Text.h"

#include <QSettings>
#include <QString>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <unistd.h>

extern "C" int fsync(int /*unused*/) {
    return 0;
}
extern "C" int fdatasync(int /*unused*/) {
    return 0;
}

namespace {

using namespace zutools::platform;
using TClock = std::chrono::steady_clock;

constexpr int Rounds = 15;

template <class TAction>
double Nanoseconds(TAction Action) {
    const auto Begin = TClock::now();
    Action();
    return std::chrono::duration<double, std::nano>(TClock::now() - Begin).count();
}

// The median of each action's times; rounds take turns, so that a busy moment meets all alike.
template <class... TActions>
std::vector<double> Medians(TActions... Actions) {
    std::vector<std::vector<double>> Times(sizeof...(Actions));
    for (int Round = 0; Round < Rounds; ++Round) {
        std::size_t Place = 0;
        (Times[Place++].push_back(Nanoseconds(Actions)), ...);
    }
    std::vector<double> Found;
    for (std::vector<double>& Each : Times) {
        std::nth_element(Each.begin(), Each.begin() + Rounds / 2, Each.end());
        Found.push_back(Each[Rounds / 2]);
    }
    return Found;
}

std::string Keys(int Count) {
    std::string Text;
    for (int Key = 0; Key < Count; ++Key) {
        if (Key % 50 == 0) Text += "[Section" + std::to_string(Key / 50) + "]\r\n";
        Text += "Component" + std::to_string(Key) + "_Width=" + std::to_string(Key * 7) + "\r\n";
    }
    return Text;
}

void Row(const char* Name, double Time, double Floor, const char* Of) {
    std::printf("  %-44s %10.1f us %8.2f x %s\n", Name, Time / 1000, Time / Floor, Of);
}

void Use(const std::string& Text) {
    asm volatile("" : : "r"(Text.data()) : "memory");
}

} // namespace

int main() {
    std::string Folder = (std::filesystem::temp_directory_path() / "zu-settings-XXXXXX").native();
    if (mkdtemp(Folder.data()) == nullptr) return 1;
    const std::u16string Ours = Utf8ToUtf16(Folder + "/ours.ini");
    const QString Theirs = QString::fromStdString(Folder + "/theirs.ini");
    const std::string Large = Keys(10'000);

    std::printf("10,000 keys, %zu bytes\n", Large.size());
    const std::string Plain = Folder + "/plain", Changed = Folder + "/changed.ini";
    std::ofstream(Changed, std::ios::binary) << Large;
    std::vector<std::pair<std::u16string, std::u16string>> LargeKeys;
    for (int Key = 0; Key < 10'000; ++Key) {
        LargeKeys.emplace_back(Utf8ToUtf16("Section" + std::to_string(Key / 50)),
                               Utf8ToUtf16("Component" + std::to_string(Key) + "_Width"));
    }
    int Value = 0;
    const std::vector<double> Big = Medians(
        [&] {
            const std::string Copy(Large.begin(), Large.end());
            Use(Copy);
        },
        [&] { Use(TSettingsText(Large).Read(u"Section199", u"Component9999_Width") ? Large : Plain); },
        [&] {
            const TSettingsText Text(Large);
            for (const auto& [Section, Key] : LargeKeys) Use(Text.Read(Section, Key) ? Large : Plain);
        },
        [&] {
            std::ofstream(Plain + ".new", std::ios::binary | std::ios::trunc) << Large;
            std::filesystem::rename(Plain + ".new", Plain);
        },
        [&] {
            TSettingsText Text = ReadSettingsText(Utf8ToUtf16(Changed));
            Text.Write(u"Section100", u"Component5000_Width", Utf8ToUtf16(std::to_string(++Value)));
            std::ofstream(Changed + ".new", std::ios::binary | std::ios::trunc) << Text.Bytes();
            std::filesystem::rename(Changed + ".new", Changed);
        },
        [&] {
            TSettingsFile File(Utf8ToUtf16(Changed));
            File.Write(u"Section100", u"Component5000_Width", Utf8ToUtf16(std::to_string(++Value)));
            File.Flush();
        });
    Row("copy of the bytes", Big[0], Big[0], "the copy");
    Row("read, and find one key", Big[1], Big[0], "the copy");
    Row("read, and find each of the keys", Big[2], Big[0], "the copy");
    Row("write the bytes beside, rename", Big[3], Big[3], "the write");
    Row("read, change one key, write, rename", Big[4], Big[3], "the write");
    Row("the same with lock, second read and backup", Big[5], Big[3], "the write");

    std::printf("200 properties of a form\n");
    std::vector<std::u16string> OurKeys;
    QStringList TheirKeys;
    for (int Key = 0; Key < 200; ++Key) {
        OurKeys.push_back(Utf8ToUtf16("Component" + std::to_string(Key) + "_Width"));
        TheirKeys += QStringView(OurKeys.back()).toString();
    }
    const auto SaveTo = [&](const std::u16string& Path) {
        TSettingsFile File(Path);
        ++Value;
        for (int Key = 0; Key < 200; ++Key)
            File.Write(u"Form1", OurKeys[static_cast<std::size_t>(Key)],
                       Utf8ToUtf16(std::to_string(Key + Value)));
        File.Flush();
    };
    const auto SaveTheirsTo = [&](const QString& Path) {
        QSettings Settings(Path, QSettings::IniFormat);
        Settings.beginGroup("Form1");
        for (int Key = 0; Key < 200; ++Key) Settings.setValue(TheirKeys[Key], Key + Value);
        Settings.sync();
    };
    const auto Load = [&](const std::u16string& Path) {
        const TSettingsFile File(Path);
        for (const std::u16string& Key : OurKeys) Use(File.Read(u"Form1", Key) ? Large : Plain);
    };
    const auto LoadTheirs = [&](const QString& Path) {
        QSettings Settings(Path, QSettings::IniFormat);
        Settings.beginGroup("Form1");
        for (const QString& Key : TheirKeys) Use(Settings.value(Key).toString().isNull() ? Large : Plain);
    };
    const auto Save = [&] { SaveTo(Ours); };
    const auto SaveTheirs = [&] { SaveTheirsTo(Theirs); };
    Save();
    SaveTheirs();
    // What a program that starts does: Qt keeps what it read of a file for the next time in the same program.
    std::vector<std::u16string> OurCopies, FirstOfOurs;
    QStringList TheirCopies, FirstOfTheirs;
    for (int Round = 0; Round < Rounds; ++Round) {
        const std::string Copy = Folder + "/copy" + std::to_string(Round);
        std::filesystem::copy_file(Folder + "/ours.ini", Copy + "-ours.ini");
        std::filesystem::copy_file(Folder + "/theirs.ini", Copy + "-theirs.ini");
        OurCopies.push_back(Utf8ToUtf16(Copy + "-ours.ini"));
        TheirCopies += QString::fromStdString(Copy + "-theirs.ini");
        std::filesystem::copy_file(Folder + "/ours.ini", Copy + "-first-ours.ini");
        std::filesystem::copy_file(Folder + "/theirs.ini", Copy + "-first-theirs.ini");
        FirstOfOurs.push_back(Utf8ToUtf16(Copy + "-first-ours.ini"));
        FirstOfTheirs += QString::fromStdString(Copy + "-first-theirs.ini");
    }
    std::size_t OurRound = 0, OurSave = 0;
    qsizetype TheirRound = 0, TheirSave = 0;
    const std::vector<double> Form = Medians(
        Save, SaveTheirs, [&] { Load(OurCopies[OurRound++]); },
        [&] { LoadTheirs(TheirCopies[TheirRound++]); }, [&] { Load(Ours); }, [&] { LoadTheirs(Theirs); },
        [&] { SaveTo(FirstOfOurs[OurSave++]); }, [&] { SaveTheirsTo(FirstOfTheirs[TheirSave++]); });
    Row("save, the first of a program", Form[6], Form[7], "QSettings");
    Row("save again in the same program", Form[0], Form[1], "QSettings, which kept what it read");
    Row("load, the first of a program", Form[2], Form[3], "QSettings");
    Row("load again in the same program", Form[4], Form[5], "QSettings, which kept it");
    std::filesystem::remove_all(Folder);
    return 0;
}
