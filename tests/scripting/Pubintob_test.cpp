#include "scripting/Pubintob.h"

#include "host/Exception.h"

#include <gtest/gtest.h>

namespace zutools::tests {
namespace {

class TCounter : public TObject {
public:
    static const TClassInfo& StaticClass() {
        static constexpr TPropInfo Properties[] = {
            {u"Count", TTypeKind::tkInteger, u"Integer",
             [](const TObject& Self) -> TKXVariant { return static_cast<const TCounter&>(Self).Count; },
             nullptr}};
        static constexpr TClassInfo Info{
            .Name = u"TCounter", .Parent = &TObject::StaticClass, .Properties = Properties};
        return Info;
    }
    const TClassInfo& ClassInfo() const override { return StaticClass(); }
    int Count = 7;
};

TEST(Pubintob, ReadsAPropertyOfTheWrappedObjectByName) {
    TCounter Counter;
    TPublishedInterfaceObject Wrapper;
    TKXVariant Result;
    EXPECT_FALSE(Wrapper.GetPropertyInternal(u"count", {}, 0, Result)); // nothing is wrapped
    Wrapper.AObject = Counter.Reference();
    EXPECT_TRUE(Wrapper.GetPropertyInternal(u"count", {}, 0, Result));
    EXPECT_EQ(Result, TKXVariant(7));
    EXPECT_FALSE(Wrapper.GetPropertyInternal(u"Other", {}, 0, Result));
    const TKXVariant Argument(1);
    EXPECT_THROW(Wrapper.GetPropertyInternal(u"Count", {&Argument, 1}, 1, Result), EIObjectError);
}

} // namespace
} // namespace zutools::tests
