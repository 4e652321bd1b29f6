#include "platform/File.h"
#include "platform/ReplaceFile.h"
#include "platform/SettingsFile.h"
#include "platform/Text.h"
#include "platform/TextTools.h"

#include <array>
#include <cstdlib>

namespace zutools::platform {

namespace {

std::u16string Variable(const char* Name) {
    const char* const Value = std::getenv(Name);
    return Value == nullptr || *Value != '/' ? std::u16string() : Utf8ToUtf16(Value);
}

// What the user's desktop calls the places of configuration: the first of the system's, or the user's own.
std::u16string FolderOf(TSettingsRoot Root) {
    if (Root != TSettingsRoot::CurrentUser) {
        const std::u16string Folders = Variable("XDG_CONFIG_DIRS");
        return JoinPath(Folders.empty() ? u"/etc/xdg" : Folders.substr(0, Folders.find(u':')), u"zutools");
    }
    if (const std::u16string Folder = Variable("XDG_CONFIG_HOME"); !Folder.empty())
        return JoinPath(Folder, u"zutools");
    const std::u16string Home = Variable("HOME");
    if (Home.empty())
        throw TSettingsError(u"Cannot tell the user's configuration folder: set XDG_CONFIG_HOME or HOME");
    return JoinPath(Home, u".config/zutools");
}

std::u16string FileOf(TSettingsRoot Root) {
    constexpr std::array<std::u16string_view, 6> Names = {u"CurrentUser", u"LocalMachine", u"CurrentConfig",
                                                          u"ClassesRoot", u"Users",        u"DynData"};
    const std::u16string Folder = FolderOf(Root);
    return JoinPath(Folder, std::u16string(Names[static_cast<std::size_t>(Root)]) + u".ini");
}

// The sections of one key: "Key\Section" in the file of its root. A change is kept at once, as a registry
// does.
class TRegistryFile final : public TSettings {
public:
    TRegistryFile(TSettingsRoot Root, std::u16string_view Key, TSettingsAccess Access)
        : FPath(FileOf(Root))
        , FPrefix(std::u16string(Key) + u"\\")
        , FAccess(Access)
        , FFile(FPath) {}

    std::optional<std::u16string> Read(std::u16string_view Section, std::u16string_view Key) const override {
        return FFile.Read(FPrefix + std::u16string(Section), Key);
    }
    void Write(std::u16string_view Section, std::u16string_view Key, std::u16string_view Value) override {
        Writable();
        if (const std::u16string Reason = SettingsRefusal(Section, Key, Value); !Reason.empty())
            throw TSettingsError(u"Cannot keep [" + FPrefix + std::u16string(Section) + u"] " +
                                 std::u16string(Key) + u": " + Reason);
        FFile.Write(FPrefix + std::u16string(Section), Key, Value);
    }
    void EraseKey(std::u16string_view Section, std::u16string_view Key) override {
        Writable();
        FFile.EraseKey(FPrefix + std::u16string(Section), Key);
    }
    void EraseSection(std::u16string_view Section) override {
        Writable();
        FFile.EraseSection(FPrefix + std::u16string(Section));
    }
    std::vector<std::u16string> Sections() const override {
        std::vector<std::u16string> Names;
        for (std::u16string& Name : FFile.Sections()) {
            if (Name.size() <= FPrefix.size() || !EqualAsciiNoCase(Name.substr(0, FPrefix.size()), FPrefix))
                continue;
            Name.erase(0, FPrefix.size());
            if (Name.find(u'\\') == Name.npos) Names.push_back(std::move(Name));
        }
        return Names;
    }
    std::vector<std::u16string> Keys(std::u16string_view Section) const override {
        return FFile.Keys(FPrefix + std::u16string(Section));
    }
    void Refresh() override { FFile.Refresh(); }
    void Flush() override {
        if (FAccess == TSettingsAccess::Read) return;
        MakeFolders(FPath.substr(0, FPath.rfind(u'/')));
        FFile.Flush();
    }

private:
    void Writable() const {
        if (FAccess == TSettingsAccess::Read)
            throw TSettingsError(u"The settings below \"" + FPrefix + u"\" were opened for reading only");
    }

    std::u16string FPath;
    std::u16string FPrefix;
    TSettingsAccess FAccess;
    TSettingsFile FFile;
};

} // namespace

std::unique_ptr<TSettings> OpenRegistry(TSettingsRoot Root, std::u16string_view Key, TSettingsAccess Access) {
    return std::make_unique<TRegistryFile>(Root, Key, Access);
}

} // namespace zutools::platform
