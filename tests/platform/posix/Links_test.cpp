// What only POSIX has: links, names that are no text, files without a size.

#include "platform/File.h"

#include "tests/support/TempFolder.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <filesystem>
#include <fstream>

#include <sys/stat.h>

using namespace zutools::platform;
using zutools::tests::TTempFolder;

namespace {

namespace fs = std::filesystem;

TEST(Links, FollowedOnlyToFilesInside) {
    const TTempFolder Outside;
    Outside.Write(u"secret", "x");
    const TTempFolder Folder;
    Folder.Write(u"data/real", "x");
    const fs::path Here(Folder.Path());
    fs::create_symlink("data/real", Here / "inside");
    fs::create_symlink(fs::path(Outside.File(u"secret")), Here / "outside");
    fs::create_symlink("nowhere", Here / "broken");
    fs::create_directory_symlink("data", Here / "linked folder");
    fs::create_directory_symlink(".", Here / "circle");
    fs::create_directory_symlink(fs::path(Outside.Path()), Here / "linked outside");
    EXPECT_THAT(ListFiles(Folder.Path()), testing::ElementsAre(u"data/real", u"inside"));
    // The folder itself may be reached by a link.
    EXPECT_THAT(ListFiles(Folder.File(u"linked folder")), testing::ElementsAre(u"real"));
}

TEST(Links, ANameThatIsNoTextIsNoticed) {
    const TTempFolder Folder;
    std::ofstream(fs::path(Folder.Path()) / "bad \xFF name").close();
    Folder.Write(u"good", "x");
    std::vector<std::u16string> NotText;
    EXPECT_THAT(ListFiles(Folder.Path(), &NotText), testing::ElementsAre(u"good"));
    EXPECT_THAT(NotText, testing::ElementsAre(u"bad \uFFFD name"));
}

TEST(Links, OnlyRegularFilesOfTheFolderAreOpenedBelowIt) {
    const TTempFolder Outside;
    const TTempFolder Folder;
    Folder.Write(u"data/real", "text");
    const fs::path Here(Folder.Path());
    fs::create_symlink("data/real", Here / "inside");
    fs::create_symlink(fs::path(Outside.Write(u"secret", "x")), Here / "outside");
    fs::create_directory_symlink(fs::path(Outside.Path()), Here / "linked");
    ASSERT_EQ(mkfifo((Here / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(TReadFile(Folder.Path(), u"inside").ReadAll(), "text");
    EXPECT_EQ(TReadFile(Folder.File(u"data/.."), u"inside").ReadAll(), "text");
    const std::pair<std::u16string_view, int> Refused[] = {{u"outside", EACCES},
                                                           {u"linked/secret", EACCES},
                                                           {u"pipe", ENOTSUP},
                                                           {u"data", EISDIR},
                                                           {u"no", ENOENT}};
    for (const auto& [Name, Code] : Refused) {
        try {
            const TReadFile File(Folder.Path(), Name);
            ADD_FAILURE() << "opened";
        } catch (const TSystemError& Error) {
            EXPECT_EQ(Error.Code(), Code) << Error.what();
        }
    }
}

TEST(ReadFile, SizeIsAHintOnly) {
    TReadFile NoSize(u"/proc/self/status");
    EXPECT_EQ(NoSize.Size(), 0u);
    EXPECT_THAT(NoSize.ReadAll(), testing::HasSubstr("Name:"));

    const TTempFolder Folder;
    const std::u16string Path = Folder.Write(u"grows", "12345");
    TReadFile Growing(Path);
    std::ofstream(fs::path(Path), std::ios::app) << std::string(20'000, 'x');
    EXPECT_EQ(Growing.ReadAll().size(), 20'005u);
    TReadFile Shrinking(Path);
    fs::resize_file(fs::path(Path), 3);
    EXPECT_EQ(Shrinking.ReadAll(), "123");
}

} // namespace
