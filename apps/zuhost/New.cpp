// zuhost new: a small application to begin with.

#include "apps/zuhost/Commands.h"

#include "host/Exception.h"
#include "platform/Text.h"
#include "platform/TextTools.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace zutools::zuhost {

namespace {

namespace fs = std::filesystem;

constexpr const char* Footer =
    R"(Writes an application into the new folder NAME: a list with search and pages, a
form that takes a record, signing in, two languages, a migration, a style sheet and
tests. It runs on SQLite at once and on PostgreSQL with another URL. NAME is of
a-z, 0-9 and "-".

Examples:
  zuhost new library
  cd library && zuhost serve --dev --config library.toml)";

struct TNewFile {
    const char* Name;
    std::string_view Text;
};

constexpr TNewFile Files[] = {
#include "apps/zuhost/New.inc"
};

std::string Named(std::string_view Text, const std::string& Name) {
    std::string Result(Text);
    constexpr std::string_view Place = "%NAME%";
    for (std::size_t At = Result.find(Place); At != Result.npos; At = Result.find(Place, At + Name.size()))
        Result.replace(At, Place.size(), Name);
    return Result;
}

void WriteNew(const fs::path& File, const std::string& Text) {
    fs::create_directories(File.parent_path());
    std::ofstream Out(File, std::ios::binary);
    Out << Text;
    Out.close();
    if (!Out) throw Exception(u"cannot write " + File.u16string());
}

int New(const TArguments& Names) {
    if (Names.size() != 1) throw EUsage("the name of the application is missing");
    const fs::path Folder(Names.front());
    const std::string Name = Folder.filename().string();
    const bool Good = !Name.empty() && Name.size() <= 60 && platform::IsAsciiLetter(Name.front()) &&
                      std::ranges::all_of(Name, [](char C) {
                          return (C >= 'a' && C <= 'z') || platform::IsAsciiDigit(C) || C == '-';
                      });
    if (!Good) throw EUsage("the name of an application is of a-z, 0-9 and \"-\", and begins with a letter");
    if (fs::exists(Folder)) throw Exception(u"there is a " + Folder.u16string() + u" already");
    for (const TNewFile& File : Files) {
        std::string Path = File.Name;
        if (Path == "app.toml") Path = Name + ".toml";
        if (Path == "gitignore") Path = ".gitignore";
        WriteNew(Folder / Path, Named(File.Text, Name));
    }
    WriteOut(Text("Made " + Folder.string() + ". Next:\n  cd " + Folder.string() +
                  "\n  zuhost test .\n  zuhost serve --dev --config " + Name +
                  ".toml\nand sign in at http://127.0.0.1:8090/ as anna with demo-anna.\n"));
    return ExitGood;
}

} // namespace

TJob DeclareNew(TDeclaration& Takes) {
    Takes.Footer(Footer);
    return New;
}

} // namespace zutools::zuhost
