// What several threads may do at once; ThreadSanitizer looks on.

#include "core/Lparams.h"

#include <gtest/gtest.h>

#include <latch>
#include <string>
#include <thread>
#include <vector>

namespace zutools {
namespace {

constexpr int Threads = 4;

template <class TWork>
void RunTogether(const TWork& Work) {
    std::latch Start(Threads);
    std::vector<std::jthread> Running;
    for (int Number = 0; Number < Threads; ++Number)
        Running.emplace_back([&, Number] {
            Start.arrive_and_wait();
            Work(Number);
        });
}

TEST(ParamsListThreads, AListIsFilledAndReadUnderItsLock) {
    TParamsList List;
    RunTogether([&](int Number) {
        for (int Round = 0; Round < 200; ++Round) {
            const std::u16string Name = u"p" + TKXVariant(Round % 50).AsString();
            List.Add(Name, TKXVariant(Number).AsString());
            (void)List.GetAsString();
            if (List.GetCount() > 0) (void)List.GetPLName(0);
            List.Lock();
            EXPECT_NE(List.GetPLValueByName(Name), u"");
            if (Round % 7 == 0) {
                List.DeleteByName(Name);
                List.Add(Name, u"again");
            }
            List.UnLock();
        }
    });
    EXPECT_EQ(List.GetCount(), 50);
}

TEST(ParamsListThreads, ListsThatAreAddedToEachOtherDoNotWaitForOneAnother) {
    TParamsList One;
    TParamsList Other;
    One.SetAsString(u"a=1\r\nb=2");
    Other.SetAsString(u"c=3\r\nd=4");
    RunTogether([&](int Number) {
        for (int Round = 0; Round < 200; ++Round)
            (Number % 2 == 0 ? One : Other).LoadParams(Number % 2 == 0 ? &Other : &One);
    });
    EXPECT_EQ(One.GetCount(), 4);
    EXPECT_EQ(Other.GetCount(), 4);
}

// The checker's filters are read by many threads under the read side of a lock.
TEST(SortedParamsThreads, AListThatStandsStillIsReadByMany) {
    TZUSortedParams List;
    for (int Number = 0; Number < 300; ++Number)
        List.AddParam(u"name" + TKXVariant(Number * 37 % 300).AsString(),
                      u"x"); // positions shift all the time
    List.AddParam(u"stra\u00DFe", u"y");
    RunTogether([&](int) {
        for (int Number = 0; Number < 300; ++Number) {
            const std::u16string Name = u"NAME" + TKXVariant(Number).AsString();
            EXPECT_EQ(List.Param(List.GetParamIndex(Name)), u"name" + TKXVariant(Number).AsString());
            EXPECT_EQ(List.Value(Name), u"x");
            EXPECT_EQ(List.GetParamIndex(u"absent"), -1);
        }
    });
}

} // namespace
} // namespace zutools
