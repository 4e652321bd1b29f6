// What only POSIX has: links, names that are no text, files without a size.

#include "platform/File.h"

#include "tests/support/TempFolder.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <filesystem>
#include <fstream>

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
    try {
        static_cast<void>(ListFiles(Folder.Path()));
        FAIL() << "not noticed";
    } catch (const TSystemError& Error) {
        EXPECT_EQ(Error.Code(), EILSEQ);
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
