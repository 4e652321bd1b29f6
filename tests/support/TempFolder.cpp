#include "tests/support/TempFolder.h"

#include "platform/File.h"
#include "platform/UniqueId.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace zutools::tests {

namespace fs = std::filesystem;

TTempFolder::TTempFolder() {
    const fs::path Path = fs::temp_directory_path() / (u"zutools-test-" + platform::NewUniqueId());
    fs::create_directories(Path);
    FPath = Path.generic_u16string();
}

TTempFolder::~TTempFolder() {
    std::error_code Ignored; // a file that somebody still holds must not end the test program
    fs::remove_all(fs::path(FPath), Ignored);
}

std::u16string TTempFolder::File(std::u16string_view Name) const {
    return platform::JoinPath(FPath, Name);
}

std::u16string TTempFolder::Write(std::u16string_view Name, std::string_view Bytes) const {
    const std::u16string Path = File(Name);
    fs::create_directories(fs::path(Path).parent_path());
    std::ofstream Stream(fs::path(Path), std::ios::binary);
    Stream.write(Bytes.data(), static_cast<std::streamsize>(Bytes.size()));
    Stream.close();
    if (!Stream) throw std::runtime_error("cannot write a test file");
    return Path;
}

} // namespace zutools::tests
