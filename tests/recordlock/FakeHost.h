// An application in memory for the blocker: tables, rights and documents, with a counter of calls that can
// raise at any of them. Any thread may call it; tests that look at it while others do, do not.

#pragma once

#include "host/Dictionary.h"
#include "host/ScriptExecutor.h"
#include "host/Security.h"
#include "host/Services.h"
#include "host/Session.h"
#include "host/StringHelpers.h"
#include "host/ThreadContainer.h"
#include "recordlock/Zurecblk.h"
#include "tests/support/RecordingLogger.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace zutools::tests {

struct TNoCaseLess {
    bool operator()(const std::u16string& Left, const std::u16string& Right) const {
        return CompareText(Left, Right) < 0;
    }
};

/// What the application holds, and what it was asked. Its tables keep it: blocks may live longer than their
/// test.
struct TFakeApplication : std::enable_shared_from_this<TFakeApplication> {
    using TRecords = std::map<std::u16string, std::u16string, TNoCaseLess>; // the name in each record

    std::map<std::u16string, TRecords, TNoCaseLess> Tables;
    std::set<std::u16string, TNoCaseLess> Forbidden; // "User Table right", as "Lee Orders 1"
    bool NullTables = false;                         // GetTable gives none
    std::int64_t InsertDocResult = 1000;             // of InsertDoc, unless it raises
    int NewRecords = 0;

    int FailAt = 0;              // the number of the call that raises; 0: none
    bool FailsStrangely = false; // with what is no std::exception
    int Calls = 0;
    std::vector<std::u16string> Log;
    std::function<void(std::u16string_view)> OnCall;
    std::u16string Gone; // keys of the records that were freed, in order

    std::mutex Mutex;

    void Step(const std::u16string& What) {
        bool Fails = false;
        {
            const std::scoped_lock Guard(Mutex);
            Fails = ++Calls == FailAt;
            Log.push_back(What);
        }
        if (OnCall) OnCall(What);
        if (Fails && FailsStrangely) throw 5;
        if (Fails) throw EUserTableError(u"host failed at " + What);
    }
};

class TFakeTable : public TUserTable {
public:
    TFakeTable(TFakeApplication& Application, std::u16string_view Table)
        : FKept(Application.shared_from_this())
        , FApplication(Application)
        , FTable(Table) {}
    ~TFakeTable() override {
        const std::scoped_lock Guard(FApplication.Mutex);
        FApplication.Gone += FID;
    }

    std::u16string TableName() const override { return FTable; }
    bool Open(std::u16string_view ID) override {
        FApplication.Step(u"Open");
        const std::scoped_lock Guard(FApplication.Mutex);
        const auto& Records = FApplication.Tables[FTable];
        const auto Found = Records.find(std::u16string(ID));
        if (Found == Records.end()) return false;
        FID = Found->first;
        FName = FStored = Found->second;
        return true;
    }
    void OpenNew() override { FApplication.Step(u"OpenNew"); }
    std::u16string RecordID() const override {
        FApplication.Step(u"RecordID");
        return FID;
    }
    std::vector<std::u16string> FieldNames() const override { return {u"Name"}; }
    bool HasField(std::u16string_view Name) const override { return SameText(Name, u"Name"); }
    TKXVariant Field(std::u16string_view) const override { return FName; }
    TKXVariant StoredField(std::u16string_view) const override { return FStored; }
    void SetField(std::u16string_view, const TKXVariant& Value) override { FName = Value.AsString(); }
    void Post() override {
        FApplication.Step(u"Post");
        Write();
    }
    void Delete() override {
        FApplication.Step(u"Delete");
        const std::scoped_lock Guard(FApplication.Mutex);
        FApplication.Tables[FTable].erase(FID);
    }
    void Insert() override {
        FApplication.Step(u"Insert");
        WriteNew();
    }
    void Write() {
        const std::scoped_lock Guard(FApplication.Mutex);
        FApplication.Tables[FTable][FID] = FName;
    }
    void WriteNew() {
        {
            const std::scoped_lock Guard(FApplication.Mutex);
            FID = u"New" + TKXVariant(++FApplication.NewRecords).AsString() + u";2";
        }
        Write();
    }

private:
    const std::shared_ptr<TFakeApplication> FKept;
    TFakeApplication& FApplication;
    std::u16string FTable;
    std::u16string FID;
    std::u16string FName;
    std::u16string FStored;
};

class TFakeManager : public TSimpleApplicationManager {
public:
    explicit TFakeManager(TFakeApplication& Application)
        : FApplication(Application) {}
    std::unique_ptr<TUserTable> GetTable(std::u16string_view Name) override {
        FApplication.Step(u"GetTable");
        if (FApplication.NullTables) return nullptr;
        return std::make_unique<TFakeTable>(FApplication, Name);
    }

private:
    TFakeApplication& FApplication;
};

class TFakeSecurity : public TSecurityManager {
public:
    explicit TFakeSecurity(TFakeApplication& Application)
        : FApplication(Application) {}
    TUserInfo RefreshUserInfo(std::u16string_view UserName) override {
        FApplication.Step(u"RefreshUserInfo");
        TUserInfo User;
        User.UserName = UserName;
        return User;
    }
    TTableRights BuildTableRightsFilter(const TUserInfo& User, std::u16string_view Table,
                                        TRecordRight Right) override {
        FApplication.Step(u"BuildTableRightsFilter");
        const std::u16string Asked = User.UserName + u" " + std::u16string(Table) + u" " +
                                     TKXVariant(static_cast<int>(Right)).AsString();
        return {.Granted = !FApplication.Forbidden.contains(Asked), .RecordFilters = {}, .User = User};
    }
    bool CheckRecordRights(const TTableRights& Rights, const TUserTable&) override {
        FApplication.Step(u"CheckRecordRights");
        return Rights.Granted;
    }

private:
    TFakeApplication& FApplication;
};

class TFakeDictionary : public TDictionaryService {
public:
    explicit TFakeDictionary(TFakeApplication& Application)
        : FApplication(Application) {}
    std::int64_t InsertDoc(TUserTable& Record) override {
        FApplication.Step(u"InsertDoc");
        if (FApplication.InsertDocResult >= 0) static_cast<TFakeTable&>(Record).WriteNew();
        return FApplication.InsertDocResult;
    }
    void UpdateDoc(TUserTable& Record) override {
        FApplication.Step(u"UpdateDoc");
        static_cast<TFakeTable&>(Record).Write();
    }
    std::int32_t ClientNumber() override { return 42; }

private:
    TFakeApplication& FApplication;
};

class TFakeExecutor : public TScriptExecutor {
public:
    std::u16string Stack = u"page.lua:12";
    bool Fails = false;
    std::u16string CallStack() override {
        if (Fails) throw Exception(u"no stack");
        return Stack;
    }
};

/// The session of the calling thread for a scope; scopes nest.
class TAs {
public:
    explicit TAs(std::u16string_view SID, std::u16string_view User = {}) {
        auto Session = std::make_unique<TSession>();
        Session->SID = SID;
        Session->USR = User;
        ThreadObjects().Add(SessionObjectName, std::move(Session));
    }
    ~TAs() {
        ThreadObjects().Remove(LastErrorObjectName);
        ThreadObjects().Add(SessionObjectName, std::move(FOuter));
    }
    TAs(const TAs&) = delete;
    TAs& operator=(const TAs&) = delete;

private:
    std::unique_ptr<TObject> FOuter = ThreadObjects().Take(SessionObjectName);
};

/// The application and a blocker on it.
struct TBench {
    const std::shared_ptr<TFakeApplication> Application = std::make_shared<TFakeApplication>();
    TFakeApplication& App = *Application;
    std::shared_ptr<TRecordingLogger> Logger = std::make_shared<TRecordingLogger>();
    TZURecordBlocker Blocker{TServices{.ApplicationManager = std::make_shared<TFakeManager>(App),
                                       .Localizer = nullptr,
                                       .Logger = Logger,
                                       .Security = std::make_shared<TFakeSecurity>(App),
                                       .Dictionary = std::make_shared<TFakeDictionary>(App)}};

    TBench() {
        App.Tables[u"Orders"] = {{u"1", u"one"}, {u"2", u"two"}, {u"3", u"three"}};
        App.Tables[u"Goods"] = {{u"a", u"apple"}, {u"b", u"bread"}};
    }
    [[nodiscard]] std::int32_t Code() const {
        const auto* Error = Blocker.LastError();
        return Error == nullptr ? -1 : Error->LastErrorCode();
    }
    [[nodiscard]] std::u16string Message() const {
        const auto* Error = Blocker.LastError();
        return Error == nullptr ? std::u16string(u"none") : Error->LastErrorMessage();
    }
};

} // namespace zutools::tests
