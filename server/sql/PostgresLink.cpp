// PostgreSQL: a connection, through the server's own client library.
//
// A statement travels as one message that parses, binds and runs it and leaves nothing behind on the server;
// a BEGIN travels in front of the first statement of its transaction. We wait for the answer ourselves, so
// that a server that is frozen or out of reach costs no more than its time.

#include "host/DatabaseFault.h"
#include "host/WorkClock.h"
#include "platform/Text.h"
#include "server/sql/Engine.h"
#include "server/sql/Postgres.h"
#include "server/sql/SqlText.h"

#include <QDateTime>

#include <libpq-fe.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <limits>
#include <thread>

namespace zutools::server {

namespace {

using TMilliseconds = std::chrono::milliseconds;
using TMoment = std::chrono::steady_clock::time_point;

// The number says "ZuSchema" in ASCII; nobody else should lock it.
constexpr std::u16string_view SchemaLockNumber = u"6518207722107006305";

// Types by their numbers in pg_type, which never change.
enum TType : Oid {
    TypeBool = 16,
    TypeBytes = 17,
    TypeInt8 = 20,
    TypeInt2 = 21,
    TypeInt4 = 23,
    TypeOid = 26,
    TypeFloat4 = 700,
    TypeFloat8 = 701,
    TypeDate = 1082,
    TypeTime = 1083,
    TypeTimestamp = 1114,
    TypeTimestampZone = 1184,
};

struct TClear {
    void operator()(PGresult* Result) const { PQclear(Result); }
};
using TResult = std::unique_ptr<PGresult, TClear>;

std::string FloatText(double Value) {
    if (Value == std::numeric_limits<double>::infinity()) return "Infinity";
    if (Value == -std::numeric_limits<double>::infinity()) return "-Infinity";
    std::array<char, 32> Digits{};
    return {Digits.data(), std::to_chars(Digits.data(), Digits.data() + Digits.size(), Value).ptr};
}

/// In the server's notation. Its type is left open, so that the place where it stands decides.
std::string ParamText(const TKXVariant& Value) {
    switch (Value.Kind()) {
    case TVariantKind::vkFloat:
        return FloatText(Value.AsFloat());
    case TVariantKind::vkString:
        return std::move(platform::Utf16ToUtf8Strict(Value.StringView()).Text);
    default:
        return std::to_string(Value.AsInt64());
    }
}

std::u16string Wide(const char* Text) {
    return InOneLine(platform::Utf8ToUtf16(Text != nullptr ? Text : ""));
}

/// Without the excerpt of the statement, which is ours to show.
std::u16string ErrorText(const PGresult* Result) {
    std::u16string Text = Wide(PQresultErrorField(Result, PG_DIAG_MESSAGE_PRIMARY));
    if (Text.empty()) return Wide(PQresultErrorMessage(Result)); // of the library itself
    if (const char* const Detail = PQresultErrorField(Result, PG_DIAG_MESSAGE_DETAIL))
        Text += u" DETAIL:  " + Wide(Detail);
    if (const char* const Hint = PQresultErrorField(Result, PG_DIAG_MESSAGE_HINT))
        Text += u" HINT:  " + Wide(Hint);
    return Text;
}

QDateTime ParseMoment(QString Text) {
    if (Text.endsWith(QLatin1String("BC"))) return {};
    // "+02" has no minutes.
    const qsizetype Sign = Text.size() - 3;
    if (Sign > 10 && (Text[Sign] == QLatin1Char('+') || Text[Sign] == QLatin1Char('-')))
        Text += QLatin1String(":00");
    return QDateTime::fromString(Text, Qt::ISODate);
}

std::u16string ShownTime(QTime Value) {
    return FromQt(
        Value.toString(Value.msec() == 0 ? QStringLiteral("HH:mm:ss") : QStringLiteral("HH:mm:ss.zzz")));
}

std::u16string ShownMoment(const QDateTime& Value) {
    return FromQt(Value.date().toString(Qt::ISODate)) + u" " + ShownTime(Value.time());
}

class TPostgresLink final : public TSqlLink {
public:
    explicit TPostgresLink(TDatabaseUrl Url)
        : FUrl(std::move(Url)) {}
    ~TPostgresLink() override { PQfinish(FConnection); }

    void Open(const TSqlTimeouts& Timeouts) override {
        FTimeouts = Timeouts;
        FSilent = false;
        const auto Seconds = [](TMilliseconds Time, TMilliseconds::rep Part = 1) {
            const auto Whole = (Time.count() / Part + 999) / 1000;
            return std::to_string(Time.count() == 0 ? 0 : std::max<TMilliseconds::rep>(Whole, 1));
        };
        std::vector<std::pair<const char*, std::string>> Options{
            {"host", Utf8(FUrl.Host)},
            {"port", FUrl.Port == 0 ? "" : std::to_string(FUrl.Port)},
            {"dbname", Utf8(FUrl.Name)},
            {"user", Utf8(FUrl.User)},
            {"password", Utf8(FUrl.Password)},
            {"sslmode", Utf8(FUrl.SslMode)},
            {"application_name", "ZuTools"},
            {"client_encoding", "UTF8"},
            {"connect_timeout", Seconds(Timeouts.Connect)},
            {"options", SessionOptions()},
        };
        if (Timeouts.Network.count() != 0) {
            // Three probes that nobody answers end an idle connection.
            Options.insert(Options.end(), {{"keepalives_idle", Seconds(Timeouts.Network, 2)},
                                           {"keepalives_interval", Seconds(Timeouts.Network, 6)},
                                           {"keepalives_count", "3"},
                                           {"tcp_user_timeout", std::to_string(Timeouts.Network.count())}});
        }
        std::vector<const char*> Keywords;
        std::vector<const char*> Values;
        for (const auto& [Keyword, Value] : Options) {
            if (Value.empty()) continue; // the library's own
            Keywords.push_back(Keyword);
            Values.push_back(Value.c_str());
        }
        Keywords.push_back(nullptr);
        Values.push_back(nullptr);
        FConnection = PQconnectdbParams(Keywords.data(), Values.data(), 0);
        if (PQstatus(FConnection) != CONNECTION_OK || PQsetnonblocking(FConnection, 1) != 0 ||
            PQenterPipelineMode(FConnection) == 0) {
            const EDatabaseError Error(Wide(PQerrorMessage(FConnection)));
            Close();
            throw Error;
        }
        PQsetNoticeProcessor(FConnection, [](void*, const char*) {}, nullptr); // not to standard error
    }

    void Close() noexcept override {
        PQfinish(FConnection);
        FConnection = nullptr;
        FBeginWaits = false;
    }

    TLoss Loss() const override {
        if (FSilent) return TLoss::Silent;
        return IsLost() ? TLoss::Broken : TLoss::None;
    }

    void SetTimeouts(const TSqlTimeouts& Timeouts) override {
        (void)Send("SELECT set_config('lock_timeout', $1, false), set_config('statement_timeout', $2, false)",
                   {{std::to_string(Timeouts.Lock.count()), std::to_string(Timeouts.Statement.count())}});
        FTimeouts = Timeouts;
    }

    void Begin() override { FBeginWaits = true; }

    void Commit() override {
        if (std::exchange(FBeginWaits, false)) return; // nothing was done
        const TResult Result = Send("COMMIT");
        // So the server answers when a statement had failed before.
        if (std::string_view(PQcmdStatus(Result.get())) != "ROLLBACK") return;
        throw EDatabaseError(u"The transaction was rolled back, because a statement in it had failed");
    }

    void Rollback() override {
        if (std::exchange(FBeginWaits, false)) return;
        (void)Send("ROLLBACK");
    }

    bool TransactionEnded() override { return false; } // it fails everything until the rollback

    std::unique_ptr<TSqlStatement> Prepare(std::u16string_view Text, const TScannedStatement& Scan) override;

    bool LockSchema(TMilliseconds Wait) override {
        // Asked again and again, so that each answer has a statement's time and no longer.
        const TMoment Deadline = std::chrono::steady_clock::now() + Wait;
        for (;;) {
            const TResult Result = Send("SELECT pg_try_advisory_lock(" + Utf8(SchemaLockNumber) + ")");
            if (std::string_view(PQgetvalue(Result.get(), 0, 0)) == "t") return true;
            if (std::chrono::steady_clock::now() > Deadline) return false;
            std::this_thread::sleep_for(TMilliseconds(10));
        }
    }

    void UnlockSchema() noexcept override {
        try {
            (void)Send("SELECT pg_advisory_unlock(" + Utf8(SchemaLockNumber) + ")");
        } catch (const std::exception&) {
            // Lost, and the lock with it.
        }
    }

    /// One statement and its whole result. @throws EDatabaseError for what the server refuses, and when the
    /// connection breaks or the server is silent: then it is lost.
    [[nodiscard]] TResult Send(const std::string& Statement,
                               const std::vector<std::optional<std::string>>& Values = {}) {
        if (FConnection == nullptr || IsLost()) throw EDatabaseError(u"there is no connection");
        ++FRoundTrips;
        const TMoment Deadline = Silence();
        FCancelled.reset();
        int Answers = 1;
        if (std::exchange(FBeginWaits, false)) {
            Queue("BEGIN", {});
            ++Answers;
        }
        Queue(Statement, Values);
        if (PQpipelineSync(FConnection) == 0) Fail();
        TResult Result;
        for (bool Failed = false; Answers > 0; --Answers) {
            TResult Next = Receive(Deadline);
            while (TResult More = Receive(Deadline)) {
                (void)More;
            } // the null that ends one statement's results
            if (!Failed) Result = std::move(Next);
            Failed = !IsGood(Result.get());
        }
        (void)Receive(Deadline); // of the synchronisation
        if (!IsGood(Result.get())) Refuse(Result.get());
        return Result;
    }

private:
    static constexpr std::string_view LockNotAvailable = "55P03";
    static constexpr std::string_view Cancelled = "57014";
    static constexpr TMilliseconds LookEvery{100};    // whether the work's time is over
    static constexpr TMilliseconds AfterCancel{2000}; // for the answer of a statement that was cancelled

    [[nodiscard]] static std::string Utf8(std::u16string_view Text) { return platform::Utf16ToUtf8(Text); }

    /// Settings that the server has from the first statement on, without a message of their own.
    [[nodiscard]] std::string SessionOptions() const {
        const char* const Given = std::getenv("PGOPTIONS");
        return (Given != nullptr ? Given + std::string(" ") : std::string()) +
               "-c standard_conforming_strings=on -c lock_timeout=" + std::to_string(FTimeouts.Lock.count()) +
               " -c statement_timeout=" + std::to_string(FTimeouts.Statement.count());
    }

    [[nodiscard]] bool IsLost() const { return PQstatus(FConnection) != CONNECTION_OK; }

    /// When an answer is no longer waited for.
    [[nodiscard]] TMoment Silence() const {
        if (FTimeouts.Statement.count() == 0 || FTimeouts.Network.count() == 0) return TMoment::max();
        return std::chrono::steady_clock::now() + FTimeouts.Statement + FTimeouts.Network;
    }

    void Queue(const std::string& Statement, const std::vector<std::optional<std::string>>& Values) {
        std::vector<const char*> Texts;
        for (const auto& Value : Values) Texts.push_back(Value ? Value->c_str() : nullptr);
        if (PQsendQueryParams(FConnection, Statement.c_str(), static_cast<int>(Texts.size()), nullptr,
                              Texts.data(), nullptr, nullptr, 0) == 0)
            Fail();
    }

    [[nodiscard]] TResult Receive(TMoment Deadline) {
        while (PQisBusy(FConnection) != 0 && !IsLost()) {
            const int Unsent = PQflush(FConnection);
            if (Unsent < 0) break;
            Wait(static_cast<short>(Unsent > 0 ? POLLIN | POLLOUT : POLLIN), Deadline);
            if (PQconsumeInput(FConnection) == 0) break;
        }
        return TResult(PQgetResult(FConnection));
    }

    void Wait(short Events, TMoment Deadline) {
        for (;;) {
            if (WorkMustEnd()) Deadline = std::min(Deadline, CancelOnce());
            TMilliseconds::rep Rest = CurrentWorkClock() != nullptr ? LookEvery.count() : 60'000;
            if (Deadline != TMoment::max()) {
                const auto Left =
                    std::chrono::duration_cast<TMilliseconds>(Deadline - std::chrono::steady_clock::now());
                if (Left.count() <= 0) GiveUp();
                Rest = std::min(Rest, Left.count() + 1);
            }
            pollfd Socket{PQsocket(FConnection), Events, 0};
            if (poll(&Socket, 1, static_cast<int>(Rest)) > 0) return;
        }
    }

    /// Asks the server to end the statement; until when its answer is waited for.
    [[nodiscard]] TMoment CancelOnce() {
        if (FCancelled) return *FCancelled;
        FCancelled = std::chrono::steady_clock::now() + AfterCancel;
        if (PGcancel* const Cancel = PQgetCancel(FConnection)) {
            std::array<char, 256> Ignored{};
            PQcancel(Cancel, Ignored.data(), static_cast<int>(Ignored.size()));
            PQfreeCancel(Cancel);
        }
        return *FCancelled;
    }

    [[noreturn]] void GiveUp() {
        Close();
        FSilent = true;
        throw EDatabaseError(u"the server gave no answer within " +
                             SecondsText((FTimeouts.Statement + FTimeouts.Network).count()) +
                             u" (the time-outs of a statement and of the network); see whether it is up");
    }

    /// The library could not even begin.
    [[noreturn]] void Fail() {
        const EDatabaseError Error(Wide(PQerrorMessage(FConnection)));
        Close();
        throw Error;
    }

    [[nodiscard]] static bool IsGood(const PGresult* Result) {
        const ExecStatusType Status = PQresultStatus(Result);
        return Status == PGRES_TUPLES_OK || Status == PGRES_COMMAND_OK || Status == PGRES_EMPTY_QUERY;
    }

    void NoteFault(const PGresult* Result) const {
        static constexpr std::pair<std::string_view, TDatabaseFaultKind> Kinds[] = {
            {"23505", TDatabaseFaultKind::Unique}, {"23503", TDatabaseFaultKind::Reference},
            {"23514", TDatabaseFaultKind::Check},  {"23502", TDatabaseFaultKind::Required},
            {"55P03", TDatabaseFaultKind::Busy},   {"40P01", TDatabaseFaultKind::Busy},
            {"40001", TDatabaseFaultKind::Busy}};
        const auto* const Known =
            std::ranges::find(Kinds, FLastState, &std::pair<std::string_view, TDatabaseFaultKind>::first);
        if (Known == std::end(Kinds)) return;
        const auto Field = [Result](int Code) {
            const char* const Text = PQresultErrorField(Result, Code);
            return std::string_view(Text != nullptr ? Text : "");
        };
        std::string_view Column = Field(PG_DIAG_COLUMN_NAME);
        // Of a key only the detail names the columns: "Key (number, kind)=(...) already exists."
        const std::string_view Detail = Field(PG_DIAG_MESSAGE_DETAIL);
        const std::size_t Open = Detail.find('('), Close = Detail.find_first_of(",)", Open);
        if (Column.empty() && Known->second == TDatabaseFaultKind::Unique && Close != Detail.npos)
            Column = Detail.substr(Open + 1, Close - Open - 1);
        NoteDatabaseFault(
            {Known->second, platform::Utf8ToUtf16(Field(PG_DIAG_TABLE_NAME)), platform::Utf8ToUtf16(Column)});
    }

    [[noreturn]] void Refuse(const PGresult* Result) {
        const char* const State = PQresultErrorField(Result, PG_DIAG_SQLSTATE);
        FLastState = State != nullptr ? State : "";
        NoteFault(Result);
        std::u16string Text = ErrorText(Result);
        if (Text.empty()) Text = Wide(PQerrorMessage(FConnection));
        if (FLastState == LockNotAvailable) {
            Text += u": another connection keeps the row or table, for longer than the lock time-out of " +
                    SecondsText(FTimeouts.Lock.count()) + u"; try again when it has ended";
        } else if (FLastState == Cancelled && FCancelled) {
            Text += u": the time of its page is over";
        } else if (FLastState == Cancelled && FTimeouts.Statement.count() != 0) {
            Text += u": a statement may take " + SecondsText(FTimeouts.Statement.count()) +
                    u" (statement_timeout; schema_timeout while the tables are prepared at a start)";
        }
        // The last words of a server that goes, or a copy, which has no end here.
        const ExecStatusType Status = PQresultStatus(Result);
        const bool Copy = Status == PGRES_COPY_IN || Status == PGRES_COPY_OUT || Status == PGRES_COPY_BOTH;
        if (Copy) Text = u"COPY is not supported";
        if (Copy || IsLost()) Close();
        throw EDatabaseError(std::move(Text));
    }

    const TDatabaseUrl FUrl;
    TSqlTimeouts FTimeouts;
    PGconn* FConnection = nullptr;
    bool FSilent = false;              // and closed for that
    bool FBeginWaits = false;          // for the first statement
    std::string FLastState;            // SQLSTATE of the last refusal
    std::optional<TMoment> FCancelled; // the statement that runs was; its answer has until then
};

class TPostgresStatement final : public TSqlStatement {
public:
    TPostgresStatement(TPostgresLink& Link, std::u16string_view Text, const TScannedStatement& Scan)
        : FLink(Link)
        , FText(platform::Utf16ToUtf8(RewriteStatement(Text, Scan, PostgresWords.Syntax))) {
        // On a trigger's or function's body the server knows better, but it stands in quotes here.
        if (Scan.SecondStatement != TScannedStatement::None)
            throw EDatabaseError(u"Only one statement can be run at a time");
        if (SameSqlName(Scan.FirstWord, u"copy")) throw EDatabaseError(u"COPY is not supported");
    }

    void Run(std::span<const TKXVariant> Values) override {
        std::vector<std::optional<std::string>> Texts;
        for (const TKXVariant& Value : Values) {
            Texts.push_back(Value.IsNull() ? std::nullopt : std::optional(ParamText(Value)));
        }
        FRow = -1;
        FResult = FLink.Send(FText, Texts);
    }

    bool Step() override {
        if (FRow + 1 >= PQntuples(FResult.get())) return false;
        ++FRow;
        return true;
    }

    void Finish() noexcept override { FResult.reset(); }

    bool IsWorthKeeping() const override { return true; }

    std::vector<std::u16string> ColumnNames() const override {
        std::vector<std::u16string> Names;
        for (int Column = 0; Column < PQnfields(FResult.get()); ++Column) {
            Names.push_back(platform::Utf8ToUtf16(PQfname(FResult.get(), Column)));
        }
        return Names;
    }

    TKXVariant Value(int Column, std::u16string_view Name) const override {
        if (PQgetisnull(FResult.get(), FRow, Column) != 0) return {};
        const std::string_view Text(PQgetvalue(FResult.get(), FRow, Column),
                                    static_cast<std::size_t>(PQgetlength(FResult.get(), FRow, Column)));
        const QString Latin = QString::fromLatin1(Text.data(), std::min<qsizetype>(std::ssize(Text), 64));
        switch (PQftype(FResult.get(), Column)) {
        case TypeBool:
            return std::int64_t{Text == "t" ? 1 : 0};
        case TypeInt8:
        case TypeInt2:
        case TypeInt4:
        case TypeOid:
            return static_cast<std::int64_t>(Latin.toLongLong());
        case TypeFloat4:
        case TypeFloat8:
            return FloatOf(Text);
        case TypeDate:
            if (const QDate Day = QDate::fromString(Latin, Qt::ISODate); Day.isValid() && Text.size() == 10)
                return FromQt(Day.toString(Qt::ISODate));
            break;
        case TypeTime:
            if (const QTime Time = QTime::fromString(Latin, Qt::ISODate); Time.isValid())
                return ShownTime(Time);
            break;
        case TypeTimestamp:
            if (const QDateTime Moment = ParseMoment(Latin); Moment.isValid()) return ShownMoment(Moment);
            break;
        case TypeTimestampZone:
            if (const QDateTime Moment = ParseMoment(Latin); Moment.isValid())
                return ShownMoment(Moment.toLocalTime());
            break;
        case TypeBytes:
            RefuseField(Name, u"holds binary data; only numbers and text can be read");
        default:
            return platform::Utf8ToUtf16(Text); // the server sends no malformed text
        }
        RefuseField(Name,
                    u"holds a date or time that no calendar of ours has; cast it to text in the statement");
    }

    int RowsAffected() const override { return std::atoi(PQcmdTuples(FResult.get())); }

private:
    [[nodiscard]] static double FloatOf(std::string_view Text) {
        if (Text == "Infinity") return std::numeric_limits<double>::infinity();
        if (Text == "-Infinity") return -std::numeric_limits<double>::infinity();
        double Value = std::numeric_limits<double>::quiet_NaN();
        std::from_chars(Text.data(), Text.data() + Text.size(), Value);
        return Value;
    }

    TPostgresLink& FLink;
    const std::string FText;
    TResult FResult; // whole: reading row by row would lose the rest at the next statement
    int FRow = -1;
};

std::unique_ptr<TSqlStatement> TPostgresLink::Prepare(std::u16string_view Text,
                                                      const TScannedStatement& Scan) {
    return std::make_unique<TPostgresStatement>(*this, Text, Scan);
}

} // namespace

std::unique_ptr<TSqlLink> NewPostgresLink(const TDatabaseUrl& Url) {
    return std::make_unique<TPostgresLink>(Url);
}

} // namespace zutools::server
