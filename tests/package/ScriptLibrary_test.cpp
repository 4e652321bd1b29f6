#include "package/ScriptLibrary.h"

#include "platform/Text.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

namespace zutools::tests {
namespace {

std::string LoadError(std::string_view File) {
    try {
        static_cast<void>(LoadScriptLibrary(platform::Utf8ToUtf16(File)));
    } catch (const EScriptLibrary& Error) {
        return Error.what();
    }
    return "loaded";
}

TEST(ScriptLibrary, TellsWhatIsWrongWithAFile) {
    EXPECT_EQ(LoadError(GOOD), "loaded");
    EXPECT_EQ(LoadError(GOOD), "loaded"); // twice is once
    EXPECT_EQ(LoadError(OLD), "library \"" OLD "\" was built with ZuTools 99." +
                                  std::to_string(VersionMinor) + ", and this is " +
                                  platform::Utf16ToUtf8(HeaderVersion) + ": build it anew");
    EXPECT_EQ(LoadError(SILENT),
              "library \"" SILENT "\" is none for scripts: it shows no function ZuScriptLibrary");
    EXPECT_EQ(LoadError("nowhere.so"), "library \"nowhere.so\": there is no such file");

    const TTempFolder Folder;
    const std::string Name = platform::Utf16ToUtf8(Folder.Write(u"text.so", "no library"));
    EXPECT_TRUE(LoadError(Name).starts_with("Cannot load library \"" + Name + "\": ")) << LoadError(Name);
}

} // namespace
} // namespace zutools::tests
