#include "server/sql/SqlDatabase.h"

#include <QCoreApplication>

#include <clocale>
#include <string>

namespace zutools::server {

namespace {

/// Keeps the C library's number format while Qt takes over the user's locale: Lua and others write numbers
/// with it.
class TNumberFormatKept {
public:
    TNumberFormatKept()
        : FName(std::setlocale(LC_NUMERIC, nullptr)) {}
    ~TNumberFormatKept() { std::setlocale(LC_NUMERIC, FName.c_str()); }
    TNumberFormatKept(const TNumberFormatKept&) = delete;
    TNumberFormatKept& operator=(const TNumberFormatKept&) = delete;

private:
    const std::string FName;
};

/// Where the locale is no UTF-8 one, some versions of Qt switch to one that is, which is what we want, and
/// warn about it on standard error.
class TWarningsDropped {
public:
    TWarningsDropped()
        : FBefore(qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {})) {}
    ~TWarningsDropped() { qInstallMessageHandler(FBefore); }
    TWarningsDropped(const TWarningsDropped&) = delete;
    TWarningsDropped& operator=(const TWarningsDropped&) = delete;

private:
    const QtMessageHandler FBefore;
};

} // namespace

void EnsureQtApplication() {
    static std::mutex Mutex;
    const std::lock_guard Guard(Mutex);
    if (QCoreApplication::instance() != nullptr) return;
    // Qt keeps references to both, and the application stays to the end: drivers may still close when statics
    // die.
    static char Name[] = "zutools";
    static char* Arguments[] = {Name, nullptr};
    static int Count = 1;
    const TNumberFormatKept NumberFormat;
    const TWarningsDropped Warnings;
    new QCoreApplication(Count, Arguments); // reached by instance()
}

TDatabasePool::TDatabasePool(std::u16string_view Url, std::u16string_view BaseFolder,
                             const TSqlTimeouts& Timeouts, bool Confined)
    : FUrl([&] {
        TDatabaseUrl Parsed = ParseDatabaseUrl(Url, BaseFolder);
        Parsed.Confined = Confined;
        return Parsed;
    }())
    , FTimeouts(Timeouts) {
    EnsureQtApplication();
}

TDatabasePool::~TDatabasePool() = default;

TSqlDatabase& TDatabasePool::Get() {
    const auto Self = std::this_thread::get_id();
    {
        const std::lock_guard Guard(FMutex);
        if (const auto Found = FConnections.find(Self); Found != FConnections.end()) return *Found->second;
    }
    // Only this thread adds its entry, so nobody can have added it since.
    auto Opened = std::make_unique<TSqlDatabase>(FUrl, FTimeouts);
    const std::lock_guard Guard(FMutex);
    return *FConnections.emplace(Self, std::move(Opened)).first->second;
}

void TDatabasePool::ReleaseThread() {
    std::unique_ptr<TSqlDatabase> Mine; // closed outside the lock
    const std::lock_guard Guard(FMutex);
    const auto Found = FConnections.find(std::this_thread::get_id());
    if (Found == FConnections.end()) return;
    Mine = std::move(Found->second);
    FConnections.erase(Found);
}

bool TDatabasePool::InTransaction() const {
    const std::lock_guard Guard(FMutex);
    const auto Found = FConnections.find(std::this_thread::get_id());
    return Found != FConnections.end() && Found->second->InTransaction();
}

std::size_t TDatabasePool::OpenConnections() const {
    const std::lock_guard Guard(FMutex);
    return FConnections.size();
}

} // namespace zutools::server
