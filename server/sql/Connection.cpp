#include "server/sql/Connection.h"

#include "host/WorkClock.h"
#include "server/sql/SqlText.h"
#include "server/sql/SqlWork.h"

#include <algorithm>
#include <atomic>
#include <exception>

namespace zutools::server {

namespace {

constexpr std::size_t MaxKept = 64;            // statements
constexpr std::size_t MaxKeptText = 32 * 1024; // UTF-16 units of one statement

constexpr std::u16string_view TransactionEnded = u"The transaction has ended, because of a lost connection "
                                                 u"or an earlier error; nothing is done until it is rolled "
                                                 u"back";

std::atomic<std::uint64_t> Statements;
std::atomic<std::uint64_t> Failures;
std::atomic<std::int64_t> Nanoseconds;

/// Counts the time of its life; one that an error ends is a failure.
class TTimed {
public:
    TTimed() = default;
    ~TTimed() {
        if (std::uncaught_exceptions() > FUnderWay) Failures.fetch_add(1, std::memory_order_relaxed);
        const std::chrono::nanoseconds Time = std::chrono::steady_clock::now() - FBegan;
        Nanoseconds.fetch_add(Time.count(), std::memory_order_relaxed);
    }
    TTimed(const TTimed&) = delete;
    TTimed& operator=(const TTimed&) = delete;

private:
    const std::chrono::steady_clock::time_point FBegan = std::chrono::steady_clock::now();
    const int FUnderWay = std::uncaught_exceptions();
};

} // namespace

TSqlWork SqlWorkOfProcess() {
    return {Statements.load(std::memory_order_relaxed), Failures.load(std::memory_order_relaxed),
            std::chrono::nanoseconds(Nanoseconds.load(std::memory_order_relaxed))};
}

TSqlDatabase::TConnection::TConnection(TDatabaseUrl Url, const TSqlTimeouts& Timeouts)
    : FUrl(std::move(Url))
    , FDisplayUrl(FUrl.Display())
    , FTimeouts(Timeouts) {
    Open();
}

TSqlDatabase::TConnection::~TConnection() {
    FKeptByText.clear();
    FKept.clear();
}

void TSqlDatabase::TConnection::Open() {
    try {
        if (!FLink) FLink = Engine().NewLink(FUrl);
        FLink->Open(FTimeouts);
    } catch (const EDatabaseError& Error) {
        throw EDatabaseError(u"Cannot open the database " + FDisplayUrl + u": " + Error.Message());
    }
    ++FGeneration;
    FLost = false;
}

void TSqlDatabase::TConnection::SetTimeouts(const TSqlTimeouts& Timeouts) {
    MakeReady();
    try {
        FLink->SetTimeouts(Timeouts);
    } catch (const EDatabaseError& Error) {
        throw Failure(Error, {});
    }
    FTimeouts = Timeouts;
}

bool TSqlDatabase::TConnection::LockSchema(std::chrono::milliseconds Wait) {
    MakeReady();
    try {
        return FLink->LockSchema(Wait);
    } catch (const EDatabaseError& Error) {
        throw Failure(Error, {});
    }
}

void TSqlDatabase::TConnection::CheckThread() const {
    if (std::this_thread::get_id() != FThread) {
        throw EDatabaseError(u"The database connection belongs to another thread");
    }
}

void TSqlDatabase::TConnection::NoteLoss() {
    if (FLost || FLink->Loss() == TLoss::None) return;
    FLost = true;
    ++FGeneration;
}

void TSqlDatabase::TConnection::MakeReady() {
    CheckThread();
    if (FTransaction == TTransactionState::Ended) throw EDatabaseError(std::u16string(TransactionEnded));
    NoteLoss();
    if (!FLost) return;
    if (InTransaction()) {
        FTransaction = TTransactionState::Ended;
        throw EDatabaseError(std::u16string(TransactionEnded));
    }
    Reconnect();
}

void TSqlDatabase::TConnection::Reconnect() {
    FKeptByText.clear();
    FKept.clear();
    FLink->Close();
    Open();
}

EDatabaseError TSqlDatabase::TConnection::Failure(const EDatabaseError& Error,
                                                  std::u16string_view Statement) {
    std::u16string Text = Error.Message();
    NoteLoss();
    if (FLost) Text = u"The connection to the database " + FDisplayUrl + u" is lost: " + Text;
    if (InTransaction() && (FLost || FLink->TransactionEnded())) FTransaction = TTransactionState::Ended;
    if (!Statement.empty()) Text += u". Statement: " + ShownStatement(Statement);
    return EDatabaseError(std::move(Text));
}

void TSqlDatabase::TConnection::StartTransaction() {
    CheckThread();
    if (InTransaction()) throw EDatabaseError(u"A transaction is open already; transactions do not nest");
    MakeReady();
    try {
        FLink->Begin();
    } catch (const EDatabaseError& Error) {
        throw Failure(Error, u"BEGIN");
    }
    FTransaction = TTransactionState::Begun;
}

void TSqlDatabase::TConnection::Commit() {
    CheckThread();
    if (!InTransaction()) throw EDatabaseError(u"There is no transaction to commit");
    MakeReady();
    const TTimed Timed;
    try {
        FLink->Commit();
    } catch (const EDatabaseError& Error) {
        const EDatabaseError Shown = Failure(Error, u"COMMIT");
        FTransaction = TTransactionState::Ended;
        if (FLost)
            throw EDatabaseError(Shown.Message() + u". Whether the transaction took effect is unknown");
        throw Shown;
    }
    FTransaction = TTransactionState::None;
}

void TSqlDatabase::TConnection::Rollback() {
    CheckThread();
    if (!InTransaction()) throw EDatabaseError(u"There is no transaction to roll back");
    NoteLoss();
    const bool Ended = FTransaction == TTransactionState::Ended || FLost;
    FTransaction = TTransactionState::None;
    if (Ended) return;
    const TWorkClockScope ToTheEnd(nullptr); // whatever the time is
    try {
        FLink->Rollback();
    } catch (const EDatabaseError& Error) {
        throw Failure(Error, u"ROLLBACK");
    }
}

std::unique_ptr<TPrepared> TSqlDatabase::TConnection::Take(std::u16string_view Statement) {
    CheckThread();
    if (const auto Found = FKeptByText.find(Statement); Found != FKeptByText.end()) {
        auto Kept = std::move(*Found->second);
        FKept.erase(Found->second);
        FKeptByText.erase(Found);
        return Kept;
    }
    const auto Refuse = [&](std::u16string Why) {
        throw EDatabaseError(Why + u". Statement: " + ShownStatement(Statement));
    };
    if (Statement.find(u'\0') != Statement.npos) Refuse(u"The statement holds U+0000");
    if (const auto Fault = Engine().FindTextFault(Statement)) {
        Refuse(std::u16string(u"The statement holds ").append(Fault->Reason));
    }
    auto New = std::make_unique<TPrepared>();
    New->Text = Statement;
    New->Scan = ScanStatement(New->Text, Engine().Words().Syntax);
    if (New->Scan.ControlsTransaction)
        Refuse(u"Transactions are started and ended by calls, not by statements");
    if (!New->Scan.ForeignPlaceholder.empty()) {
        Refuse(std::u16string(u"The placeholder ").append(New->Scan.ForeignPlaceholder) +
               u" is not supported; parameters are written :Name");
    }
    return New;
}

void TSqlDatabase::TConnection::Return(std::unique_ptr<TPrepared> Statement) noexcept {
    if (!Statement->Statement) return;
    try {
        Statement->Statement->Finish();
        if (!Statement->Statement->IsWorthKeeping() || Statement->Generation != FGeneration ||
            Statement->Text.size() > MaxKeptText)
            return;
        FKept.push_front(std::move(Statement));
        FKeptByText.emplace(FKept.front()->Text, FKept.begin());
        if (FKept.size() <= MaxKept) return;
        const auto [First, Last] = FKeptByText.equal_range(FKept.back()->Text);
        FKeptByText.erase(
            std::find_if(First, Last, [&](const auto& Entry) { return &*Entry.second == &FKept.back(); }));
        FKept.pop_back();
    } catch (const std::exception&) {
        // Out of memory: then it is not kept.
    }
}

void TSqlDatabase::TConnection::RunOnce(TPrepared& Statement, std::span<const TKXVariant> Values) {
    if (!Statement.Statement || Statement.Generation != FGeneration) { // taken before the connection was lost
        Statement.Statement = FLink->Prepare(Statement.Text, Statement.Scan);
        Statement.Generation = FGeneration;
    }
    Statement.Statement->Run(Values);
}

void TSqlDatabase::TConnection::Run(TPrepared& Statement, std::span<const TKXVariant> Values) {
    if (WorkMustEnd()) {
        throw EDatabaseError(u"The time of the page is over. Statement: " + ShownStatement(Statement.Text));
    }
    MakeReady();
    const TTimed Timed;
    Statements.fetch_add(1, std::memory_order_relaxed);
    try {
        try {
            RunOnce(Statement, Values);
        } catch (const EDatabaseError&) {
            // Nothing was done in the transaction, so a connection that broke while it idled may be replaced.
            if (FTransaction != TTransactionState::Begun || FLink->Loss() != TLoss::Broken) throw;
            Reconnect();
            FLink->Begin();
            RunOnce(Statement, Values);
        }
    } catch (const EDatabaseError& Error) {
        if (FTransaction == TTransactionState::Begun) FTransaction = TTransactionState::Open;
        throw Failure(Error, Statement.Text);
    }
    if (FTransaction == TTransactionState::Begun) FTransaction = TTransactionState::Open;
}

bool TSqlDatabase::TConnection::Step(TPrepared& Statement) {
    const TTimed Timed;
    try {
        return Statement.Statement->Step();
    } catch (const EDatabaseError& Error) {
        throw Failure(Error, Statement.Text);
    }
}

} // namespace zutools::server
