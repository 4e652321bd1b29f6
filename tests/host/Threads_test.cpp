// Per-thread data, the locks, and the services that read the calling thread's session.

#include "host/Locks.h"
#include "host/Services.h"
#include "host/Session.h"
#include "host/ThreadContainer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>

namespace zutools {
namespace {

void OnOtherThread(const std::function<void()>& Work) {
    std::jthread(Work).join();
}

// Counts the living and may call back when it dies.
class TItem : public TThreadContainerParentObject {
public:
    explicit TItem(std::atomic<int>& ALiving, std::function<void()> AtEnd = {})
        : FLiving(ALiving)
        , FAtEnd(std::move(AtEnd)) {
        ++FLiving;
    }
    ~TItem() override {
        --FLiving;
        if (FAtEnd) FAtEnd();
    }

private:
    std::atomic<int>& FLiving;
    std::function<void()> FAtEnd;
};

class TItems : public TThreadContainer {
public:
    std::atomic<int> Made{0};
    std::atomic<int>* Living = nullptr; // null: CreateData gives none
    std::function<void()> AtEnd;

protected:
    std::unique_ptr<TThreadContainerParentObject> CreateData() override {
        if (Living == nullptr) return nullptr;
        ++Made;
        return std::make_unique<TItem>(*Living, AtEnd);
    }
};

TEST(ThreadContainer, GivesEachThreadItsOwnItem) {
    std::atomic<int> Living{0};
    {
        TItems Items;
        EXPECT_EQ(Items.GetData(), nullptr);
        Items.Living = &Living;
        TThreadContainerParentObject* const Mine = Items.GetData();
        ASSERT_NE(Mine, nullptr);
        EXPECT_EQ(Items.GetData(), Mine);
        // The first of these ends without a release: the second must not meet its item.
        for (int Thread = 0; Thread < 2; ++Thread) {
            OnOtherThread([&] {
                const int Before = Items.Made;
                EXPECT_NE(Items.GetData(), Mine);
                EXPECT_EQ(Items.Made, Before + 1);
            });
        }
        EXPECT_EQ(Living, 3);
    }
    EXPECT_EQ(Living, 0);
}

TEST(ThreadContainer, HandsReleasedItemsOnOnlyWhenTold) {
    std::atomic<int> Living{0};
    TItems Items;
    Items.Living = &Living;
    Items.ReleaseThreadData(); // nothing there yet
    TThreadContainerParentObject* const Mine = Items.GetData();
    Items.ReleaseThreadData();
    EXPECT_EQ(Living, 1);
    OnOtherThread([&] {
        EXPECT_EQ(Items.GetData(), Mine);
        Items.ReleaseThreadData();
    });
    Items.SetReuseObjects(false);
    EXPECT_EQ(Living, 0); // the waiting one went
    (void)Items.GetData();
    Items.ReleaseThreadData();
    EXPECT_EQ(Living, 0);
    EXPECT_EQ(Items.Made, 2);
}

TEST(ThreadContainer, DestructorsMayCallBack) {
    std::atomic<int> Living{0};
    TItems Items;
    Items.Living = &Living;
    Items.SetReuseObjects(false);
    Items.AtEnd = [&] { Items.ReleaseThreadData(); };
    (void)Items.GetData();
    Items.ReleaseThreadData();
    EXPECT_EQ(Living, 0);
}

TEST(ThreadObjects, KeepsNamesApartByThread) {
    std::atomic<int> Living{0};
    {
        TThreadObjects Objects;
        EXPECT_EQ(Objects.Get(u"a"), nullptr);
        Objects.Add(u"Alpha", std::make_unique<TItem>(Living));
        TObject* const First = Objects.Get(u"ALPHA");
        ASSERT_NE(First, nullptr);
        OnOtherThread([&] {
            EXPECT_EQ(Objects.Get(u"Alpha"), nullptr);
            Objects.Add(u"alpha", std::make_unique<TItem>(Living));
            EXPECT_NE(Objects.Get(u"Alpha"), First);
            Objects.Clear();
            EXPECT_EQ(Objects.Get(u"Alpha"), nullptr);
        });
        EXPECT_EQ(Living, 1);
        Objects.Add(u"alpha", std::make_unique<TItem>(Living));
        EXPECT_EQ(Living, 1); // the first was freed
        const auto Taken = Objects.Take(u"Alpha");
        EXPECT_NE(Taken, nullptr);
        EXPECT_EQ(Objects.Take(u"Alpha"), nullptr);
        Objects.Remove(u"Alpha");
        Objects.Add(u"Beta", std::make_unique<TItem>(Living));
        Objects.Add(u"beta", nullptr);
        EXPECT_EQ(Objects.Get(u"Beta"), nullptr);
        Objects.Add(u"left", std::make_unique<TItem>(Living));
        EXPECT_EQ(Living, 2);
    }
    EXPECT_EQ(Living, 0);
}

TEST(ThreadObjects, DestructorsMayCallBack) {
    std::atomic<int> Living{0};
    TThreadObjects Objects;
    TObject* Seen = nullptr;
    const auto Look = [&] { Seen = Objects.Get(u"a"); };
    Objects.Add(u"a", std::make_unique<TItem>(Living, Look));
    Objects.Add(u"a", std::make_unique<TItem>(Living, Look));
    EXPECT_EQ(Seen, Objects.Get(u"a")); // the new one stood there already
    Objects.Clear();
    EXPECT_EQ(Seen, nullptr);
    EXPECT_EQ(Living, 0);
}

TEST(ThreadObjects, ANewContainerIsNotMistakenForADeadOne) {
    std::atomic<int> Living{0};
    for (int Round = 0; Round < 3; ++Round) {
        const auto Objects = std::make_unique<TThreadObjects>();
        EXPECT_EQ(Objects->Get(u"a"), nullptr);
        Objects->Add(u"a", std::make_unique<TItem>(Living));
        EXPECT_NE(Objects->Get(u"a"), nullptr);
    }
}

TEST(ThreadObjects, ManyThreadsComeAndGo) {
    TThreadObjects Objects;
    std::atomic<int> Living{0};
    {
        std::vector<std::jthread> Threads;
        for (int Thread = 0; Thread < 4; ++Thread) {
            Threads.emplace_back([&] {
                for (int Round = 0; Round < 200; ++Round) {
                    Objects.Add(u"a", std::make_unique<TItem>(Living));
                    if (Objects.Get(u"A") == nullptr) ADD_FAILURE();
                    if (Round % 10 == 9) Objects.Clear();
                }
            });
        }
    }
    EXPECT_EQ(Living, 0);
}

TEST(Session, StandsInTheContainerOfItsThread) {
    EXPECT_EQ(CurrentSession(), nullptr);
    auto Session = std::make_unique<TSession>();
    Session->SID = u"id";
    TSession* const Expected = Session.get();
    ThreadObjects().Add(SessionObjectName, std::move(Session));
    EXPECT_EQ(CurrentSession(), Expected);
    OnOtherThread([] { EXPECT_EQ(CurrentSession(), nullptr); });

    const TPropInfo* const Property = TSession::StaticClass().FindProperty(u"sid");
    ASSERT_NE(Property, nullptr);
    EXPECT_EQ(Property->Get(*Expected), TKXVariant(u"id"));
    EXPECT_EQ(Property->Set, nullptr);

    TSimpleApplicationManager Manager(u"ru");
    EXPECT_EQ(Manager.GetSessionLanguageID(), u"ru");
    Expected->LanguageID = u"de";
    EXPECT_EQ(Manager.GetSessionLanguageID(), u"de");
    EXPECT_EQ(Manager.GetDefaultLanguageID(), u"ru");
    ThreadObjects().Clear();
    EXPECT_EQ(Manager.GetSessionLanguageID(), u"ru");

    ThreadObjects().Add(SessionObjectName, std::make_unique<TObject>()); // something else under the name
    EXPECT_EQ(CurrentSession(), nullptr);
    ThreadObjects().Clear();
}

TEST(Services, FallBackToPlainDefaults) {
    TServices Given;
    Given.ApplicationManager = std::make_shared<TSimpleApplicationManager>(u"be");
    SetServices(Given);
    EXPECT_EQ(Services().ApplicationManager, Given.ApplicationManager);
    EXPECT_EQ(Services().Localizer->GetString(u"KEY", u"ru"), u"KEY");
    SetServices({});
    EXPECT_EQ(Services().ApplicationManager->GetSessionLanguageID(), u"en");
    Services().Logger->Log(TLogLevel::Error, u"dropped");
}

TEST(Locks, GuardAcrossThreads) {
    const TKXThreadSafetyClass Lock;
    const TKXThreadRWSafetyClass ReadWrite;
    int Locked = 0;
    int Written = 0; // twice a write: a reader that sees an odd number came in between
    {
        std::vector<std::jthread> Threads;
        for (int Thread = 0; Thread < 3; ++Thread) {
            Threads.emplace_back([&] {
                for (int Round = 0; Round < 500; ++Round) {
                    {
                        const std::scoped_lock Outer(Lock);
                        const std::scoped_lock Inner(Lock); // the owner may take it again
                        if (Lock.Depth() != 2) ADD_FAILURE();
                        ++Locked;
                    }
                    {
                        const std::scoped_lock Scope(ReadWrite);
                        ++Written;
                        std::this_thread::yield();
                        ++Written;
                    }
                    const std::shared_lock Scope(ReadWrite);
                    if (Written % 2 != 0) ADD_FAILURE();
                }
            });
        }
    }
    EXPECT_EQ(Locked, 1500);
    EXPECT_EQ(Lock.Depth(), 0u);
    EXPECT_EQ(Written, 3000);
}

TEST(Locks, ReadersShareAndRemainAlone) {
    const TKXThreadRWSafetyClass ReadWrite;
    const std::shared_lock Mine(ReadWrite);
    OnOtherThread([&] { const std::shared_lock Shared(ReadWrite); }); // would never end if it excluded
}

TEST(Locks, AWriterWaitsForReaders) {
    const TKXThreadRWSafetyClass ReadWrite;
    std::atomic<bool> Asked = false;
    std::atomic<bool> Written = false;
    std::shared_lock Mine(ReadWrite);
    std::jthread Writer([&] {
        Asked = true;
        const std::scoped_lock Scope(ReadWrite);
        Written = true;
    });
    while (!Asked) std::this_thread::yield();
    for (int Round = 0; Round < 1000; ++Round) std::this_thread::yield();
    EXPECT_FALSE(Written);
    Mine.unlock();
    Writer.join();
    EXPECT_TRUE(Written);
}

} // namespace
} // namespace zutools
