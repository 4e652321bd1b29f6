// A folder of its own for each test, gone with it.

#pragma once

#include <string>
#include <string_view>

namespace zutools::tests {

/// Makes an empty folder below the system's one for temporary files, and removes it with everything in it.
class TTempFolder {
public:
    TTempFolder();
    ~TTempFolder();
    TTempFolder(const TTempFolder&) = delete;
    TTempFolder& operator=(const TTempFolder&) = delete;

    /// Its absolute path with "/" between the parts and none at the end.
    [[nodiscard]] const std::u16string& Path() const { return FPath; }

    /// The path of something in it: `File(u"sub/a.txt")`. Nothing is made.
    [[nodiscard]] std::u16string File(std::u16string_view Name) const;

    /// Writes a file whole, making the folders that its name asks for; returns its path.
    std::u16string Write(std::u16string_view Name, std::string_view Bytes) const;

private:
    std::u16string FPath;
};

} // namespace zutools::tests
