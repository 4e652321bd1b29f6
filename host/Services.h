// The services that the application lends to the package: one small interface each, a plain default beside
// it.
//
// The application hands its own over once, with the start of the library (package/ZuTools.h); every call may
// come from any thread, so implementations guard themselves.

#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace zutools {

class TDatabase;
class TDatabaseOfThread;
class TDictionaryService;
class TSecurityManager;
class TUserTable;

/// Languages and the database of the running application.
class TApplicationManager {
public:
    virtual ~TApplicationManager() = default;
    /// The language of the calling thread's session; the default language when it has none.
    [[nodiscard]] virtual std::u16string GetSessionLanguageID() = 0;
    [[nodiscard]] virtual std::u16string GetDefaultLanguageID() = 0;
    /// The calling thread's database connection, opened at its first call; null when the application has no
    /// database. It is the application manager's, and lives as long as the thread's work.
    /// @throws EDatabaseError when it cannot be opened.
    [[nodiscard]] virtual TDatabase* GetDatabase() { return nullptr; }
    /// Whether the calling thread has a transaction open: then it keeps rows that others wait for, and must
    /// not wait for them in turn. Opens no connection and does not block.
    [[nodiscard]] virtual bool TransactionOpen() { return false; }
    /// The table of that name, not opened on a record yet; null when the application has no user tables.
    /// @throws EUserTableError when there is no such table, EDatabaseError from the database.
    [[nodiscard]] virtual std::unique_ptr<TUserTable> GetTable(std::u16string_view TableName);
};

/// GetDatabase of a manager, which is kept alive.
[[nodiscard]] TDatabaseOfThread DatabaseOf(std::shared_ptr<TApplicationManager> Manager);

/// Texts by key and language.
class TLocalizatorTable {
public:
    virtual ~TLocalizatorTable() = default;
    /// The text of `Key`; the key itself when it is unknown. A text of one U+0000 means "empty on purpose".
    [[nodiscard]] virtual std::u16string GetString(std::u16string_view Key,
                                                   std::u16string_view LanguageID) = 0;
};

enum class TLogLevel { Debug, Info, Warning, Error };

class TLogger {
public:
    virtual ~TLogger() = default;
    /// One entry; line breaks inside it are the implementation's to mask. Never raises.
    virtual void Log(TLogLevel Level, std::u16string_view Text) noexcept = 0;
};

/// Session language from TSession, or one fixed default.
class TSimpleApplicationManager : public TApplicationManager {
public:
    explicit TSimpleApplicationManager(std::u16string DefaultLanguageID = u"en");
    [[nodiscard]] std::u16string GetSessionLanguageID() override;
    [[nodiscard]] std::u16string GetDefaultLanguageID() override;

private:
    const std::u16string FDefault;
};

/// Every key is its own text.
class TEmptyLocalizatorTable : public TLocalizatorTable {
public:
    [[nodiscard]] std::u16string GetString(std::u16string_view Key, std::u16string_view LanguageID) override;
};

/// Drops every entry.
class TNullLogger : public TLogger {
public:
    void Log(TLogLevel Level, std::u16string_view Text) noexcept override;
};

/// The services of the process. Never null: what was not handed over is the plain default.
struct TServices {
    std::shared_ptr<TApplicationManager> ApplicationManager{};
    std::shared_ptr<TLocalizatorTable> Localizer{};
    std::shared_ptr<TLogger> Logger{};
    std::shared_ptr<TSecurityManager> Security{};     // default: everybody may do everything
    std::shared_ptr<TDictionaryService> Dictionary{}; // default: there are no documents
};

/// Sets the services of the process (null members mean the plain defaults), as the start and the stop of the
/// library do. Only while no other thread uses the package.
void SetServices(TServices Services);
/// For constructors that are given none; whoever can be given services takes them as an argument.
[[nodiscard]] const TServices& Services();

} // namespace zutools
