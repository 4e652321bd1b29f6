#include "server/rights/Users.h"

#include "host/Format.h"
#include "host/StringHelpers.h"
#include "platform/Random.h"
#include "platform/Text.h"
#include "server/rights/RecordFilter.h"

#include <algorithm>
#include <limits>
#include <span>

namespace zutools::server {

namespace {

// Milliseconds.
constexpr std::int64_t FirstWait = 5'000;
constexpr std::int64_t LongestWait = 15 * 60'000;
constexpr std::int64_t ForgottenAfter = 60 * 60'000;

[[nodiscard]] std::int64_t WaitAfter(std::int64_t Failures) {
    if (Failures < TUsers::FreeFailures) return 0;
    const std::int64_t Doublings = std::min<std::int64_t>(Failures - TUsers::FreeFailures, 10);
    return std::min(FirstWait << Doublings, LongestWait);
}

[[nodiscard]] TKXVariant OrNull(std::u16string_view Text) {
    return Text.empty() ? TKXVariant() : TKXVariant(Text);
}

[[nodiscard]] std::u16string HashText(const TPasswordHasher& Hasher, const TPasswordText& Password) {
    return platform::Utf8ToUtf16(Hasher.Hash(Password));
}

/// One that no session has.
[[nodiscard]] std::int64_t NewStamp() {
    std::int64_t Stamp = 0;
    platform::FillRandom(std::as_writable_bytes(std::span(&Stamp, 1)));
    return Stamp & std::numeric_limits<std::int64_t>::max();
}

/// What a change of a user adds to its assignments.
[[nodiscard]] std::u16string EndsSessions() {
    return Format(u", SessionStamp = %d", {NewStamp()});
}

/// Names whose last failure is forgotten. Skips the rows that others are at, so that nobody waits in a ring.
void SweepTries(TSqlDatabase& Database, std::int64_t Now) {
    ExecRights(Database,
               Format(u"DELETE FROM ZuSignIns WHERE NameKey IN (SELECT NameKey FROM ZuSignIns WHERE "
                      u"LastFailure < :Before LIMIT 1000%s)",
                      {Database.Engine().Words().SkipLocked}),
               {{u"Before", Now - ForgottenAfter}});
}

void ForgetTries(TSqlDatabase& Database, std::u16string_view Key) {
    ExecRights(Database, u"DELETE FROM ZuSignIns WHERE NameKey = :Key", {{u"Key", Key}});
}

} // namespace

TUsers::TUsers(TDatabaseOfThread Database, const platform::TClock& Clock, THashCost Cost, unsigned Places)
    : FDatabase(std::move(Database))
    , FClock(Clock)
    , FHasher(Cost)
    , FThreads(Places) {}

std::int64_t TUsers::Now() const {
    return std::chrono::duration_cast<std::chrono::milliseconds>(FClock.Wall().time_since_epoch()).count();
}

/// Counts a try as a failure, which a good password takes back. False when the name has to wait.
bool TUsers::CountTry(TSqlDatabase& Database, std::u16string_view Key) {
    const std::int64_t Time = Now();
    SweepTries(Database, Time);
    TTransaction Transaction(Database);
    ExecRights(Database,
               u"INSERT INTO ZuSignIns (NameKey, Failures, LastFailure) VALUES (:Key, 0, :Now) "
               u"ON CONFLICT (NameKey) DO NOTHING",
               {{u"Key", Key}, {u"Now", Time}});
    const auto Query =
        OpenRights(Database,
                   Format(u"SELECT Failures, LastFailure FROM ZuSignIns WHERE NameKey = :Key%s",
                          {Database.Engine().Words().LockRows}),
                   {{u"Key", Key}});
    std::int64_t Failures = 0;
    std::int64_t Last = Time;
    if (Query->Step()) {
        Failures = Query->FieldAsInt64(u"Failures");
        Last = Query->FieldAsInt64(u"LastFailure");
    }
    Query->Close();
    // A clock that was set back must not make anybody wait until it has caught up.
    const bool SetBack = Last > Time;
    const bool Waits = SetBack ? WaitAfter(Failures) > 0 : Time - Last < WaitAfter(Failures);
    if (!Waits || SetBack) {
        ExecRights(Database,
                   u"UPDATE ZuSignIns SET Failures = :Failures, LastFailure = :Now WHERE NameKey = :Key",
                   {{u"Failures", Waits ? Failures : Failures + 1}, {u"Now", Time}, {u"Key", Key}});
    }
    Transaction.Commit();
    return !Waits;
}

TSignInResult TUsers::SignIn(std::u16string_view Name, std::u16string_view Password, TSignedInUser& Who) {
    Who = {};
    TSqlDatabase& Connection = Database();
    if (Connection.InTransaction()) {
        throw ERightsError(u"Nobody can sign in inside a transaction; end it first.");
    }
    const auto Place = FThreads.TryEnter();
    if (!Place) return TSignInResult::Wait;
    Place->Run([this] { FHasher.PrepareNobody(); }); // at the first sign-in, whoever it is
    const TPasswordText Given(Password);
    const auto Nobody = [&] {
        Place->Run([&] { FHasher.VerifyNobody(Given); });
        return TSignInResult::Refused;
    };
    const auto Key = UserKey(Name);
    if (!Key) return Nobody();
    if (!CountTry(Connection, *Key)) return TSignInResult::Wait;

    const auto Query = OpenRights(
        Connection, u"SELECT Name, PasswordHash, Disabled, SessionStamp FROM ZuUsers WHERE NameKey = :Key",
        {{u"Key", *Key}});
    if (!Query->Step()) {
        Query->Close();
        return Nobody();
    }
    const TSignedInUser Stored{Query->FieldAsString(u"Name"), Query->FieldAsInt64(u"SessionStamp")};
    const std::u16string Hash = Query->FieldAsString(u"PasswordHash");
    const bool Disabled = Query->FieldAsInteger(u"Disabled") != 0;
    Query->Close(); // nothing is held while the hash is computed

    TPasswordMatch Match = TPasswordMatch::No;
    std::u16string NewHash;
    Place->Run([&] {
        Match = FHasher.Verify(platform::Utf16ToUtf8(Hash), Given);
        if (Match == TPasswordMatch::YesButRehash && Given.IsUsable()) NewHash = HashText(FHasher, Given);
    });
    if (Match == TPasswordMatch::No || !Given.IsUsable() || Disabled) return TSignInResult::Refused;
    ForgetTries(Connection, *Key);
    if (Match == TPasswordMatch::YesButRehash) {
        // Unless somebody gave the user another password meanwhile.
        ExecRights(Connection,
                   u"UPDATE ZuUsers SET PasswordHash = :New WHERE NameKey = :Key AND PasswordHash = :Old",
                   {{u"New", NewHash}, {u"Key", *Key}, {u"Old", Hash}});
    }
    Who = Stored;
    return TSignInResult::Ok;
}

std::optional<std::int64_t> TUsers::SessionStamp(std::u16string_view Name) const {
    const auto Key = UserKey(Name);
    if (!Key) return std::nullopt;
    const auto Query =
        OpenRights(Database(), u"SELECT SessionStamp FROM ZuUsers WHERE NameKey = :Key AND Disabled = 0",
                   {{u"Key", *Key}});
    if (!Query->Step()) return std::nullopt;
    return Query->FieldAsInt64(u"SessionStamp");
}

void TUsers::RequireProfile(TSqlDatabase& Connection, std::u16string_view Profile) const {
    if (Profile.empty()) return;
    if (OpenRights(Connection, u"SELECT Name FROM ZuProfiles WHERE Name = :Name", {{u"Name", Profile}})
            ->Step())
        return;
    throw ERightsError(
        Format(u"There is no profile \"%s\"; make it first, by granting it a right.", {Profile}));
}

void TUsers::Add(std::u16string_view Name, std::u16string_view Password, std::u16string_view Profile,
                 bool Administrator) {
    RequireGoodName(u"user", Name);
    const TPasswordText Given(Password);
    Given.RequireGood();
    TSqlDatabase& Connection = Database();
    RequireProfile(Connection, Profile);
    const std::u16string Key = UserKey(Name).value();
    const std::u16string Hash = HashText(FHasher, Given);
    TTransaction Change(Connection, TTransaction::TWithin::Any);
    const int Added = ExecRights(
        Connection,
        u"INSERT INTO ZuUsers (NameKey, Name, PasswordHash, Profile, Administrator, Disabled, SessionStamp) "
        u"VALUES (:Key, :Name, :Hash, :Profile, :Administrator, 0, :Stamp) ON CONFLICT (NameKey) DO NOTHING",
        {{u"Key", Key},
         {u"Name", Name},
         {u"Hash", Hash},
         {u"Profile", OrNull(Profile)},
         {u"Administrator", Administrator ? 1 : 0},
         {u"Stamp", NewStamp()}});
    if (Added == 0) {
        throw ERightsError(
            Format(u"There is a user \"%s\" already; choose another name, or change that user.", {Name}));
    }
    ForgetTries(Connection, Key);
    Change.Commit();
}

bool TUsers::Remove(std::u16string_view Name) {
    const auto Key = UserKey(Name);
    // The attributes go with the user, by their foreign key.
    return Key && ExecRights(Database(), u"DELETE FROM ZuUsers WHERE NameKey = :Key", {{u"Key", *Key}}) > 0;
}

bool TUsers::Update(std::u16string_view Name, std::u16string_view Assignment, const TKXVariant& Value) {
    const auto Key = UserKey(Name);
    return Key && ExecRights(Database(),
                             u"UPDATE ZuUsers SET " + std::u16string(Assignment) + u" WHERE NameKey = :Key",
                             {{u"Value", Value}, {u"Key", *Key}}) > 0;
}

bool TUsers::SetPassword(std::u16string_view Name, std::u16string_view Password) {
    const TPasswordText Given(Password);
    Given.RequireGood();
    TSqlDatabase& Connection = Database();
    const std::u16string Hash = HashText(FHasher, Given);
    TTransaction Change(Connection, TTransaction::TWithin::Any);
    if (!Update(Name, u"PasswordHash = :Value" + EndsSessions(), Hash)) return false;
    ForgetTries(Connection, UserKey(Name).value());
    Change.Commit();
    return true;
}

bool TUsers::SetProfile(std::u16string_view Name, std::u16string_view Profile) {
    RequireProfile(Database(), Profile);
    return Update(Name, u"Profile = :Value", OrNull(Profile));
}

bool TUsers::SetAdministrator(std::u16string_view Name, bool Administrator) {
    return Update(Name, u"Administrator = :Value", Administrator ? 1 : 0);
}

bool TUsers::SetDisabled(std::u16string_view Name, bool Disabled) {
    return Update(Name, u"Disabled = :Value" + (Disabled ? EndsSessions() : std::u16string()),
                  Disabled ? 1 : 0);
}

bool TUsers::SetAttribute(std::u16string_view Name, std::u16string_view Attribute,
                          std::u16string_view Value) {
    if (Attribute.size() > MaxRightsName || !IsRecordFilterName(Attribute) ||
        SameText(Attribute, u"UserName") || SameText(Attribute, u"Profile")) {
        throw ERightsError(Format(
            u"\"%s\" cannot be an attribute: take a word of letters, digits and \"_\" other than UserName "
            u"and Profile, of at most %d characters.",
            {Attribute.substr(0, MaxRightsName), static_cast<int>(MaxRightsName)}));
    }
    const auto Key = UserKey(Name);
    TSqlDatabase& Connection = Database();
    TTransaction Change(Connection, TTransaction::TWithin::Any);
    if (!Key ||
        !OpenRights(Connection, u"SELECT Name FROM ZuUsers WHERE NameKey = :Key", {{u"Key", *Key}})->Step()) {
        return false;
    }
    ExecRights(Connection,
               u"INSERT INTO ZuUserAttributes (NameKey, AttributeKey, Attribute, Value) "
               u"VALUES (:Key, :AttributeKey, :Attribute, :Value) ON CONFLICT (NameKey, AttributeKey) "
               u"DO UPDATE SET Attribute = excluded.Attribute, Value = excluded.Value",
               {{u"Key", *Key},
                {u"AttributeKey", LowerCase(Attribute)},
                {u"Attribute", Attribute},
                {u"Value", Value}});
    Change.Commit();
    return true;
}

bool TUsers::RemoveAttribute(std::u16string_view Name, std::u16string_view Attribute) {
    const auto Key = UserKey(Name);
    return Key &&
           ExecRights(Database(),
                      u"DELETE FROM ZuUserAttributes WHERE NameKey = :Key AND AttributeKey = :Attribute",
                      {{u"Key", *Key}, {u"Attribute", LowerCase(Attribute)}}) > 0;
}

std::vector<TStoredUser> TUsers::Read(std::u16string_view Where, TRightsParams Params) const {
    const auto Query =
        OpenRights(Database(),
                   u"SELECT u.NameKey AS NameKey, u.Name AS Name, u.Profile AS Profile, "
                   u"u.Administrator AS Administrator, u.Disabled AS Disabled, a.Attribute AS Attribute, "
                   u"a.Value AS Value FROM ZuUsers u LEFT JOIN ZuUserAttributes a ON a.NameKey = u.NameKey" +
                       std::u16string(Where) + u" ORDER BY u.NameKey, a.AttributeKey",
                   Params);
    std::vector<TStoredUser> Users;
    while (Query->Step()) {
        const std::u16string Name = Query->FieldAsString(u"Name");
        if (Users.empty() || Users.back().Name != Name) {
            Users.push_back({.Name = Name,
                             .Profile = Query->FieldAsString(u"Profile"),
                             .Administrator = Query->FieldAsInteger(u"Administrator") != 0,
                             .Disabled = Query->FieldAsInteger(u"Disabled") != 0,
                             .Attributes = {}});
        }
        if (Query->FieldIsNull(u"Attribute")) continue;
        Users.back().Attributes[Query->FieldAsString(u"Attribute")] = Query->FieldAsString(u"Value");
    }
    return Users;
}

std::optional<TStoredUser> TUsers::Find(std::u16string_view Name) const {
    const auto Key = UserKey(Name);
    if (!Key) return std::nullopt;
    auto Found = Read(u" WHERE u.NameKey = :Key", {{u"Key", *Key}});
    if (Found.empty()) return std::nullopt;
    return std::move(Found.front());
}

std::vector<TStoredUser> TUsers::List() const {
    return Read(u"", {});
}

} // namespace zutools::server
