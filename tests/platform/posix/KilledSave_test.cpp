// A save that is killed at each of its system calls leaves the old file or the new one, and the next save no
// litter.

#include "platform/File.h"
#include "platform/SettingsFile.h"
#include "platform/Text.h"
#include "tests/support/TempFolder.h"

#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>

#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace zutools::platform;
using namespace zutools::tests;

namespace {

void Save(const std::u16string& Path, std::u16string_view Value) {
    TSettingsFile File(Path);
    File.Write(u"S", u"k", Value);
    File.Flush();
}

// Runs a save in a child that is killed when it begins its call number `Last`; whether it came so far.
bool KilledAt(int Last, const std::u16string& Path, std::u16string_view Value) {
    const pid_t Child = fork();
    if (Child == 0) {
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        raise(SIGSTOP);
        try {
            Save(Path, Value);
        } catch (...) {
            _exit(1);
        }
        _exit(0);
    }
    int Status = 0;
    waitpid(Child, &Status, 0);
    for (int Stop = 0; !WIFEXITED(Status) && !WIFSIGNALED(Status); ++Stop) {
        if (Stop / 2 == Last && Stop % 2 == 1)
            kill(Child, SIGKILL); // each call stops at its begin and its end
        ptrace(PTRACE_SYSCALL, Child, nullptr, nullptr);
        waitpid(Child, &Status, 0);
    }
    return WIFSIGNALED(Status);
}

TEST(KilledSave, LeavesTheOldFileOrTheNewOne) {
    const char* const Asked =
        std::getenv("ZU_KILLED_SAVES"); // how many; more than a save has calls begin again
    const int Saves = Asked == nullptr ? 50 : std::atoi(Asked);
    const TTempFolder Folder;
    const std::u16string Path = Folder.File(u"a.prm");
    std::u16string Value = u"0";
    Save(Path, Value);
    int Killed = 0;
    for (int Number = 1, Call = 0; Number <= Saves; ++Number, ++Call) {
        const std::u16string Next = Utf8ToUtf16(std::to_string(Number));
        const bool WasKilled = KilledAt(Call, Path, Next);
        Killed += WasKilled ? 1 : 0;
        const TSettingsFile File(Path);
        const std::u16string Found = File.Read(u"S", u"k").value_or(u"(none)");
        ASSERT_THAT(Found, testing::AnyOf(Value, Next)) << "killed at call " << Call;
        if (!WasKilled) {
            ASSERT_EQ(Found, Next);
            Call = -1;
        }
        Value = Found;
    }
    EXPECT_GT(Killed, Saves / 2);
    Save(Path, u"last");
    EXPECT_THAT(ListFiles(Folder.Path()), testing::ElementsAre(u"a.prm", u"a.prm.bak"));
}

} // namespace
